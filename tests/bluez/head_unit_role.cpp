// A head-unit process that uses the host's Bluetooth classes as LinkAppCommon does.
//
// Commands, with NUMBER the device's and UUID the service's: register, unregister, registered UUID; wait UUID...;
// connect, disconnect, auto, stop-auto NUMBER UUID; send NUMBER UUID BYTES (the pattern's next ones, in one call);
// fill NUMBER UUID BYTES (the same again until it is refused; answers how many were accepted); list (asks for notice
// 6); devices, results, problems; received, text NUMBER UUID; manager, no-manager (adds and removes its observer); end
// (ends the singletons).
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "VQBluetooth/VQSBtApps.h"
#include "VQBluetooth/VQSBtManager.h"
#include "VQFramework/Singleton/VQSingletonFinalizer.h"
#include "tests/bluez/notices.h"
#include "tests/support/roles.h"
#include "tools/bluez_sim/pattern.h"

namespace bluez_test {
namespace {

using test_support::answer;
using test_support::hear;

class HeadUnitProcess {
 public:
  HeadUnitProcess() : apps_(*VQSingleton<VQSBtApps>::getInstance()) {
    apps_.AddObserver(&appsObserver_);
    apps_.getSppInfomation();
  }
  ~HeadUnitProcess() {
    removeManager();
    if (VQSBtApps* const apps = VQSingleton<VQSBtApps>::peekInstance()) {
      apps->RemoveObserver(&appsObserver_);
    }
  }
  HeadUnitProcess(const HeadUnitProcess&) = delete;
  HeadUnitProcess& operator=(const HeadUnitProcess&) = delete;

  std::string obey(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "register" || command == "unregister" || command == "registered" || command == "wait") {
      return offer(command, words);
    }
    if (command == "devices") {
      return notices_.devices();
    }
    if (command == "results") {
      return notices_.results();
    }
    if (command == "problems") {
      return notices_.problems();
    }
    if (command == "list") {
      return apps_.getSppInfomation() ? "true" : "false";
    }
    if (command == "manager") {
      return VQSBtManager::getInstance()->AddObserver(&managerObserver_) ? "true" : "false";
    }
    if (command == "no-manager") {
      removeManager();
      return "true";
    }
    if (command == "end") {
      VQSingleton<VQSBtApps>::destroy();
      return "true";
    }
    return useLink(command, words);
  }

 private:
  void removeManager() { VQSBtManager::getInstance()->RemoveObserver(&managerObserver_); }

  std::string offer(const std::string& command, std::istringstream& words) {
    std::vector<std::string> uuids;
    for (std::string uuid; words >> uuid;) {
      uuids.push_back(uuid);
    }
    if (command == "wait") {
      return apps_.registerWaitUuid(uuids) ? "true" : "false";
    }
    const std::string uuid = uuids.empty() ? "" : uuids[0];
    const bool isDone = command == "register"     ? apps_.registerUuid(uuid)
                        : command == "unregister" ? apps_.unregisterUuid(uuid)
                                                  : apps_.isRegisteredUuid(uuid);
    return isDone ? "true" : "false";
  }

  std::string useLink(const std::string& command, std::istringstream& words) {
    unsigned int number = 0;
    std::string uuid;
    std::size_t size = 0;
    words >> number >> uuid >> size;
    const auto device = static_cast<unsigned char>(number);
    if (command == "received") {
      return notices_.received(linkName(number, uuid));
    }
    if (command == "text") {
      return notices_.text(linkName(number, uuid));
    }
    if (command == "send") {
      return send(device, uuid, size) ? "true" : "false";
    }
    if (command == "fill") {
      unsigned int accepted = 0;
      while (send(device, uuid, size)) {
        ++accepted;
      }
      return std::to_string(accepted);
    }
    if (command == "connect" || command == "disconnect" || command == "auto" || command == "stop-auto") {
      sent_.erase(linkName(device, uuid));
      const bool isDone = command == "connect"      ? apps_.connectSpp(device, uuid)
                          : command == "disconnect" ? apps_.disconnectSpp(device, uuid)
                          : command == "auto"       ? apps_.startAutoConnectSpp(device, uuid)
                                                    : apps_.stopAutoConnectSpp(device, uuid);
      return isDone ? "true" : "false";
    }
    return "unknown command: " + command;
  }

  bool send(unsigned char device, const std::string& uuid, std::size_t size) {
    std::size_t& sent = sent_[linkName(device, uuid)];
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
      bytes[i] = bluez_sim::patternByte(sent + i);
    }
    const bool isAccepted = apps_.sendData(device, uuid, bytes.data(), static_cast<unsigned int>(size));
    sent += isAccepted ? size : 0;
    return isAccepted;
  }

  VQSBtApps& apps_;
  Notices notices_;
  VQObserver<Notices> appsObserver_{&notices_, &Notices::onApps};
  VQObserver<Notices> managerObserver_{&notices_, &Notices::onManager};
  std::map<std::string, std::size_t> sent_;  // bytes of the pattern, since the link was asked for
};

}  // namespace

TEST_ROLE(head_unit) {
  HeadUnitProcess process;
  while (const auto line = hear()) {
    answer(process.obey(*line));
  }
  return 0;
}

}  // namespace bluez_test
