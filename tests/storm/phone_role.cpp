// Role "storm_phone NUMBER INCARNATION SEED": the device-side process with a phone that opens a session at each launch
// request, takes every message with a success as its result, and answers it with one of its own.
#include <map>
#include <memory>
#include <mutex>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "tests/process/listener.h"
#include "tests/storm/member.h"

namespace storm {
namespace {

constexpr std::uint32_t kFirstSession = 100;
constexpr std::uint32_t kRepeatEvery = 20;
constexpr std::uint32_t kOverUsb = 0;
constexpr std::uint32_t kSessionsNameApps = 1;

class Phone {
 public:
  explicit Phone(const test_support::Arguments& args)
      : self_(args),
        registryListener_([this](unsigned int, void*, unsigned int) { announce(1); }),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        server_(1) {
    server_.AddObserver(listener_.observer());
    // Behind the server's own: when an app hears the announcement, the server knows it.
    VQSingleton<iOSAppCommonUtil>::getInstance()->AddObserver(registryListener_.observer());
    self_.becomeReady();
    announce(0);  // sessions of a predecessor are none of this one's
    announce(1);
  }

  [[noreturn]] void run() {
    for (std::uint32_t sequence = 0;; ++sequence) {
      if (Member::phase() != Phase::kTurns) {
        tellText(sequence);
      }
      keepUpWithPhase();
      self_.napUpTo(10000);
    }
  }

 private:
  void tellText(std::uint32_t sequence) {
    self_.waitForFollower();
    self_.journal().beginStep("notifyPlaybakAppInfo");
    server_.notifyPlaybakAppInfo(textOf(self_.incarnation(), sequence));
    if (sequence % kRepeatEvery == 0) {
      repeat();
    }
    self_.journal().endStep();
  }

  void keepUpWithPhase() {
    const Phase phase = Member::phase();
    self_.journal().setState(phase == Phase::kStorm  ? State::kReady
                             : phase == Phase::kCalm ? State::kCalmDone
                                                     : State::kSettled);
  }

  // The second message restores the true state of those whose session is open already.
  void announce(std::uint32_t status) {
    iosapp_def_::ConnectInfo connection = {0, status, kOverUsb, kSessionsNameApps};
    server_.notifyConnectionState(connection);
    repeat();
  }

  // For apps whose observer was not there yet when their client heard the announcement.
  void repeat() {
    iOSAppExtBluetoothConnectionStatus handsFree;
    server_.notifyBluetoothConnectionStatus(&handsFree);
  }

  void onNotification(unsigned int id, void* data) {
    if (id == 0) {
      const auto& request = *static_cast<const iOSAppLaunchRequest*>(data);
      server_.notifySessionOpen(request.appId, sessionOf(request.appId));
      appOf_[request.launchString] = request.appId;
    } else if (id == 1) {
      onData(*static_cast<const iosapp_def_::CommData*>(data));
    }
  }

  static std::uint16_t sessionOf(std::uint32_t appId) { return static_cast<std::uint16_t>(kFirstSession + appId); }

  void onData(const iosapp_def_::CommData& data) {
    const std::unique_ptr<std::uint8_t[]> owned(data.data);
    const std::optional<Stamp> stamp = self_.noteReceived(kFromHU, data.data, data.size);
    if (!stamp) {
      return;
    }
    if (data.sessionId == 0) {
      reopen(*stamp);
    } else {
      server_.notifySendResult(data.sessionId, iosapp_def_::SENDRESULT_SUCCESS);
      answer(data.sessionId, *stamp);
    }
  }

  // An app that registered while this process's registry was made may stand in the table twice, and a session that was
  // opened before its second copy came is not found. Opening it once more sets both.
  void reopen(const Stamp& stamp) {
    const std::string launchString =
        "launch app" + std::to_string(stamp.sender) + "-" + std::to_string(100000 + stamp.incarnation);
    const auto app = appOf_.find(launchString);
    if (app != appOf_.end()) {
      server_.notifySessionOpen(app->second, sessionOf(app->second));
      answer(sessionOf(app->second), stamp);
    }
  }

  void answer(std::uint16_t session, const Stamp& stamp) {
    Event event;
    event.kind = EventKind::kSending;
    event.ring = kFromDevice;
    event.stamp = {self_.number(), self_.incarnation(), ++sent_,       sizeFor(stamp),
                   stamp.sender,   stamp.incarnation,   stamp.sequence};
    event.time = nanoseconds();
    const std::vector<std::uint8_t> bytes = messageOf(event.stamp);
    self_.journal().write(event);
    server_.sendDataFromDevice(session, bytes.data(), event.stamp.size);
  }

  // Another than that of the message itself.
  static std::uint32_t sizeFor(const Stamp& stamp) {
    const std::uint32_t span = kLargestMessage - kSmallestMessage;
    return stamp.sequence % 4 == 0 ? kLargestMessage - stamp.size % span : kSmallestMessage + stamp.sequence % 300;
  }

  Member self_;
  std::map<std::string, std::uint32_t> appOf_;  // by launch string; delivery thread only
  std::uint32_t sent_ = 0;                      // the same
  Listener registryListener_;
  Listener listener_;
  iOSAppCommonServer server_;
};

TEST_ROLE(storm_phone) {
  Journal::own().beginStep("construct the server");
  Phone phone(args);
  Journal::own().endStep();
  phone.run();
}

}  // namespace
}  // namespace storm
