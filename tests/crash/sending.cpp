// Processes that die while they send.
#include <algorithm>
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "tests/crash/operation.h"
#include "tests/crash/sending.h"
#include "tests/crash/shared_state.h"
#include "tests/process/message_pattern.h"

namespace crash {
namespace {

constexpr unsigned int kFromHUId = 2;
constexpr unsigned int kFromDeviceId = 3;
constexpr unsigned int kStatusId = 4;
constexpr std::uint32_t kDataBytes = 1500;  // copied in many small steps, not by one string instruction
constexpr std::size_t kRecord = 4;          // behind the size word

std::vector<std::uint8_t> victimsMessage() {
  return patternBytes(kDataBytes, 99);
}

std::uint32_t wordAt(const std::vector<unsigned char>& bytes) {
  return bytes.size() < 4 ? 0 : bytes[0] | bytes[1] * 256U | bytes[2] * 65536U | bytes[3] * 16777216U;
}

// The first message of a ring that was empty.
std::string outcomeOfWrite(const Aftermath& aftermath, const SegmentName& ring, unsigned int id) {
  const std::vector<std::uint8_t> expected = victimsMessage();
  const std::vector<unsigned char> data = bytesOf(ring, kRecord, kDataBytes);
  const std::uint32_t size = wordAt(bytesOf(ring, kRecord + iOSAppCommonDataList::kSlotBytes, 4));
  const std::string fate = fateOfMessage(aftermath, id);
  const bool isWhole = data == expected && size == kDataBytes;
  const bool isPart =
      data.size() == expected.size() && (size == 0 || size == kDataBytes) &&
      std::equal(data.begin(), data.end(), expected.begin(),
                 [](unsigned char found, unsigned char wanted) { return found == 0 || found == wanted; });
  if (!fate.empty()) {
    return isWhole ? fate : throw NotAllowed("an announced slot that is not whole");
  }
  if (!isPart) {
    throw NotAllowed("a slot with foreign bytes");
  }
  const bool isEmpty = size == 0 && std::count(data.begin(), data.end(), 0) == static_cast<long>(data.size());
  return isEmpty ? "nothing written" : isWhole ? "slot whole, not announced" : "part of a slot, not announced";
}

constexpr const char* kWritingIsAllowedTo =
    "No byte, a part of a slot, or a whole slot that is not announced: nobody reads a slot before its announcement, "
    "and "
    "the next writer takes it. Announced: the slot is whole, and the message reaches whoever was there, once; where "
    "the "
    "writer died before it woke the sleepers, with the next message of anybody.";

}  // namespace

std::unique_ptr<iOSAppCommonClient> clientInSession(const std::string& name) {
  auto client = std::make_unique<iOSAppCommonClient>("", name, "launch-" + name);
  // As the announcements of a server would leave it. It is the only app.
  client->addConnectInfoToList({1, 1, 0, 1});
  client->addSessionInfoToList({1, 1, 1});
  client->launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
  return client;
}

Operation writeFromClient() {
  Operation operation;
  operation.name = "ring write from a client";
  operation.allowed = kWritingIsAllowedTo;
  operation.victim = [](Victim& victim) {
    const std::unique_ptr<iOSAppCommonClient> client = clientInSession("victim");
    const std::vector<std::uint8_t> bytes = victimsMessage();
    victim.perform([&] { client->sendDataFromHU(bytes.data(), kDataBytes); });
  };
  operation.finished = "sent and delivered";
  operation.outcome = [](const Aftermath& aftermath) { return outcomeOfWrite(aftermath, kFromHU, kFromHUId); };
  return operation;
}

Operation writeFromServer() {
  Operation operation;
  operation.name = "ring write from the server";
  operation.allowed = "As above.";
  operation.apps = 1;
  operation.victim = [](Victim& victim) {
    constexpr unsigned short kSession = 7;
    iOSAppCommonServer server(1);
    server.setSessionIdToAppList(1, kSession);
    const std::vector<std::uint8_t> bytes = victimsMessage();
    victim.perform([&] { server.sendDataFromDevice(kSession, bytes.data(), kDataBytes); });
  };
  operation.finished = "sent and delivered";
  operation.outcome = [](const Aftermath& aftermath) { return outcomeOfWrite(aftermath, kFromDevice, kFromDeviceId); };
  return operation;
}

Operation statusSend() {
  Operation operation;
  operation.name = "connection-status send";
  operation.allowed =
      "Not sent, or sent and delivered whole and once; where the sender died before it woke the sleepers, with the "
      "next "
      "message of anybody.";
  operation.victim = [](Victim& victim) {
    iOSAppCommonServer server(1);
    iosapp_def_::ConnectInfo info = {0, 0, 1, 1};
    victim.perform([&] { server.notifyConnectionState(info); });
  };
  operation.finished = "sent and delivered";
  operation.outcome = [](const Aftermath& aftermath) {
    const std::string fate = fateOfMessage(aftermath, kStatusId);
    return fate.empty() ? "not sent" : fate;
  };
  return operation;
}

}  // namespace crash
