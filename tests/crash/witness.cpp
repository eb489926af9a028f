#include "tests/crash/witness.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/support/wait_until.h"

namespace crash {
namespace {

constexpr double kForever = 1e6;  // whoever asks has a deadline

void writeDown(Board& board, unsigned int id, const void* data, unsigned int size) {
  const std::uint32_t place = board.seenCount;
  if (place < Board::kMostSeen) {
    board.seen[place] = {id, size, hashOf(data, size)};
  }
  board.seenCount = place + 1;
  if (board.witnessMustTell != 0) {
    tell(board, board.seenCount, place + 1);
  }
}

void registerApps(iOSAppCommonLocalMem_AppInfo& table, unsigned int apps) {
  for (unsigned int app = 1; app <= apps; ++app) {
    const std::string name = "witness" + std::to_string(app);
    std::atomic<std::uint32_t> appId{0};
    table.registAppInfo("", name, "launch-" + name, appId);
  }
}

void waitForApp(iOSAppCommonServer& server, unsigned int appId) {
  const bool isThere = test_support::waitUntil([&] { return !server.getLaunchStringFromAppList(appId).empty(); });
  static_cast<void>(isThere);  // who asked for it notices
}

void sendFromDevice(iOSAppCommonServer& server) {
  waitForApp(server, 1);
  server.setSessionIdToAppList(1, kWitnessSession);
  const std::vector<std::uint8_t> bytes = patternBytes(kWitnessMessageBytes, 1);
  server.sendDataFromDevice(kWitnessSession, bytes.data(), kWitnessMessageBytes);
}

void serve(Board& board, iOSAppCommonServer& server) {
  bool isSent = false;
  bool isFound = false;
  const auto somethingIsAsked = [&] {
    return board.witnessMustEnd != 0 || (!isSent && board.witnessMaySend != 0) ||
           (!isFound && board.witnessMustFind != 0);
  };
  while (waitFor(board, somethingIsAsked, kForever) && board.witnessMustEnd == 0) {
    if (!isSent && board.witnessMaySend != 0) {
      sendFromDevice(server);
      isSent = true;
      tell(board, board.witnessHasSent);
    } else {
      waitForApp(server, board.witnessMustFind);
      isFound = true;
      tell(board, board.witnessHasFound);
    }
  }
}

}  // namespace

void runWitness(Board& board, unsigned int apps) {
  Listener witness([&board](unsigned int id, void* data, unsigned int size) { writeDown(board, id, data, size); });
  // The one observer of a server releases what it is given.
  Listener owner([](unsigned int id, void* data, unsigned int /*size*/) {
    if (id == 1) {
      const std::unique_ptr<std::uint8_t[]> bytes(static_cast<iosapp_def_::CommData*>(data)->data);
    }
  });
  iOSAppCommonLocalMem_ConnectStatus status;
  iOSAppCommonLocalMem fromHU("iOSAppMem_Device1_From_HU", 1, 2);
  iOSAppCommonLocalMem fromDevice("iOSAppMem_Device1_From_Device", 1, 3);
  iOSAppCommonLocalMem_AppInfo table;
  status.AddObserver(witness.observer());
  fromHU.AddObserver(witness.observer());
  fromDevice.AddObserver(witness.observer());
  table.AddObserver(witness.observer());
  registerApps(table, apps);
  iOSAppCommonServer server(1);
  server.AddObserver(owner.observer());
  tell(board, board.witnessIsReady);

  serve(board, server);
  server.RemoveObserver(owner.observer());
}

}  // namespace crash
