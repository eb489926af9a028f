// Role "spp [USER]": a head-unit process on the SPP service itself.
//
// It says
//   ready
//   link DEVICE UUID STATE
//   status DEVICE SPP-STATUS        what a device status reports, before this role sees the same notice
// and hears, answered by the result ("1" = true),
//   register UUID | unregister UUID | is-registered UUID | standby UUID
//   connect DEVICE UUID | disconnect DEVICE UUID | auto-start DEVICE UUID | auto-stop DEVICE UUID
//   send DEVICE UUID SIZE SEED      one sendData
//   stream DEVICE UUID SIZE SEED    as many as it takes, waiting where one is refused: "sent", or "stuck at BYTES"
//   fill DEVICE UUID SEED           sendData of 4096 bytes until one is refused: how many bytes were accepted
//   results                         "GOOD BAD": how many sends were told to be sent, and how many not
//   received                        SIZE:HASH of all bytes that came
//   forget                          starts that anew
//   number-of ADDRESS               the number of a device that is listed and available, else "none"
//   vendor-of ADDRESS               the vendor in four hex digits, else "none"
//   devices                         NUMBER/ADDRESS/VENDOR/AVAILABLE of all entries, in their order
#include <stdio.h>

#include <condition_variable>
#include <mutex>

#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "VQBluetooth/VQSBtApps.h"
#include "VQFramework/Observer/VQObserver.h"
#include "tests/bluez_vm/user.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

using Lock = std::unique_lock<std::mutex>;

constexpr std::uint32_t kPiece = 4096;
constexpr std::chrono::seconds kStuck{20};

std::string hex(std::uint16_t number) {
  char text[8];
  snprintf(text, sizeof text, "%04x", number);
  return text;
}

class SayingStatusListener final : public VQSLinkAppDeviceStatusListener {
 public:
  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo info) override {
    say("status " + std::to_string(info.deviceId) + " " + std::to_string(info.btSpp.status));
  }
};

class SppUser {
 public:
  SppUser() : status_("spp"), apps_(VQSingleton<VQSBtApps>::getInstance()), observer_(this, &SppUser::onNotice) {
    status_.setListener(&statusListener_);  // first, so that it hears first
    apps_->AddObserver(&observer_);
    apps_->getSppInfomation();
  }

  std::string obey(const std::vector<std::string>& words) {
    const auto word = [&words](std::size_t index) { return index < words.size() ? words[index] : ""; };
    const auto device = static_cast<unsigned char>(numberOf(word(1)));
    const std::string command = word(0);
    if (command == "send") {
      const std::vector<std::uint8_t> bytes = patternBytes(numberOf(word(3)), numberOf(word(4)));
      return std::to_string(send(device, word(2), bytes.data(), bytes.size()));
    }
    if (command == "stream") {
      return stream(device, word(2), patternBytes(numberOf(word(3)), numberOf(word(4))));
    }
    if (command == "fill") {
      return std::to_string(fill(device, word(2), patternBytes(kPiece, numberOf(word(3)))));
    }
    return words.size() > 2 ? askForLink(command, device, word(2)) : askForRest(command, word(1));
  }

 private:
  std::string askForLink(const std::string& command, unsigned char device, const std::string& uuid) {
    if (command == "connect") {
      return std::to_string(apps_->connectSpp(device, uuid));
    }
    if (command == "disconnect") {
      return std::to_string(apps_->disconnectSpp(device, uuid));
    }
    if (command == "auto-start") {
      return std::to_string(apps_->startAutoConnectSpp(device, uuid));
    }
    if (command == "auto-stop") {
      return std::to_string(apps_->stopAutoConnectSpp(device, uuid));
    }
    return "unknown command";
  }

  std::string askForRest(const std::string& command, const std::string& text) {
    if (command == "register") {
      return std::to_string(apps_->registerUuid(text));
    }
    if (command == "unregister") {
      return std::to_string(apps_->unregisterUuid(text));
    }
    if (command == "is-registered") {
      return std::to_string(apps_->isRegisteredUuid(text));
    }
    if (command == "standby") {
      return std::to_string(apps_->registerWaitUuid({text}));
    }
    return tell(command, text);
  }

  std::string tell(const std::string& command, const std::string& text) {
    const Lock lock(mutex_);
    if (command == "results") {
      return std::to_string(good_) + " " + std::to_string(bad_);
    }
    if (command == "received") {
      return describe(received_);
    }
    if (command == "forget") {
      received_.clear();
      return "ok";
    }
    std::string all;
    for (const VQSBtAppsDef::SppInformationImpl& device : devices_) {
      if (device.btAddress == text && device.available != 0) {
        return command == "vendor-of" ? hex(device.vendorId) : std::to_string(device.deviceId);
      }
      all += std::to_string(device.deviceId) + "/" + device.btAddress + "/" + hex(device.vendorId) + "/" +
             std::to_string(device.available) + " ";
    }
    return command == "devices" ? all : "none";
  }

  bool send(unsigned char device, const std::string& uuid, const std::uint8_t* data, std::size_t size) {
    return apps_->sendData(device, uuid, data, static_cast<unsigned int>(size));
  }

  std::string stream(unsigned char device, const std::string& uuid, const std::vector<std::uint8_t>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const std::size_t size = std::min<std::size_t>(kPiece, bytes.size() - done);
      const unsigned int before = endedSends();
      if (send(device, uuid, bytes.data() + done, size)) {
        done += size;
      } else if (!waitForEndedSend(before)) {
        return "stuck at " + std::to_string(done);
      }
    }
    return "sent";
  }

  std::size_t fill(unsigned char device, const std::string& uuid, const std::vector<std::uint8_t>& piece) {
    std::size_t accepted = 0;
    while (send(device, uuid, piece.data(), piece.size())) {
      accepted += piece.size();
    }
    return accepted;
  }

  unsigned int endedSends() {
    const Lock lock(mutex_);
    return good_ + bad_;
  }

  bool waitForEndedSend(unsigned int before) {
    Lock lock(mutex_);
    return changed_.wait_for(lock, kStuck, [&] { return good_ + bad_ != before; });
  }

  unsigned int onNotice(unsigned int id, void* data, unsigned int /*size*/) {
    const Lock lock(mutex_);
    switch (id) {
      case VQSBtAppsNtf::NOTIFYID_SPPCONNECTIONSTATE: {
        const auto& record = *static_cast<const VQSBtAppsNtf::SppConnectionState*>(data);
        say("link " + std::to_string(record.deviceId) + " " + record.uuid + " " + std::to_string(record.state));
        break;
      }
      case VQSBtAppsNtf::NOTIFYID_SPPRECEIVEDDATA: {
        const VQBinary& bytes = static_cast<const VQSBtAppsNtf::SppReceivedData*>(data)->data;
        received_.insert(received_.end(), bytes.getBuffer(), bytes.getBuffer() + bytes.getSize());
        break;
      }
      case VQSBtAppsNtf::NOTIFYID_SPPDATASENDRESULT:
        ++(static_cast<const VQSBtAppsNtf::SppDataSendResult*>(data)->result ? good_ : bad_);
        break;
      case VQSBtAppsNtf::NOTIFYID_SPPINFORMATION:
        devices_ = static_cast<const VQSBtAppsNtf::SppInformation*>(data)->devices;
        break;
      default:
        break;
    }
    changed_.notify_all();
    return 0;
  }

  SayingStatusListener statusListener_;
  VQSLinkAppDeviceStatus status_;
  VQSBtApps* const apps_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::vector<VQSBtAppsDef::SppInformationImpl> devices_;
  std::vector<std::uint8_t> received_;
  unsigned int good_ = 0;
  unsigned int bad_ = 0;
  VQObserver<SppUser> observer_;  // last: its destructor waits for calls
};

TEST_ROLE(spp) {
  becomeUser(args.empty() ? "" : args[0]);
  SppUser user;
  say("ready");
  while (const auto line = hear()) {
    answer(user.obey(wordsOf(*line)));
  }
  return 0;
}

}  // namespace
