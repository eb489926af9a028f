// Role "storm_watcher NUMBER INCARNATION SEED": a client without an app, which hears playback texts, and a notifier of
// its own, which hears the bare messages. Starting it sets both rings back, like every client.
// Role "storm_poster NUMBER INCARNATION SEED": posts bare messages in bursts and receives nothing.
#include <cstring>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/process/listener.h"
#include "tests/storm/member.h"

namespace storm {
namespace {

constexpr std::uint32_t kLargestBurst = 48;

class Watcher {
 public:
  explicit Watcher(const test_support::Arguments& args)
      : self_(args),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        bareListener_([this](unsigned int, void* data, unsigned int size) { onBare(data, size); }),
        notifier_(false),
        client_("", "", "") {
    client_.AddObserver(listener_.observer());
    notifier_.AddObserver(bareListener_.observer(), &kBareId, 1);
    self_.becomeReady();
  }

  [[noreturn]] void run() {
    for (;;) {
      const Phase phase = Member::phase();
      self_.journal().setState(phase == Phase::kStorm  ? State::kReady
                               : phase == Phase::kCalm ? State::kCalmDone
                                                       : State::kSettled);
      self_.napUpTo(5000);
    }
  }

 private:
  void onNotification(unsigned int id, const void* data) {
    if (id == 3) {
      const std::string& text = static_cast<const iosapp_def_::PlaybackAppInfo*>(data)->appName;
      self_.note(EventKind::kText, checksumOf(text.data(), text.size()), isWholeText(text));
    }
  }

  void onBare(const void* data, std::uint32_t size) {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    self_.note(EventKind::kBare, checksumOf(bytes, size), readMessage(bytes, size).has_value());
  }

  Member self_;
  Listener listener_;
  Listener bareListener_;
  VQSharedMemNotifier notifier_;
  iOSAppCommonClient client_;
};

class Poster {
 public:
  explicit Poster(const test_support::Arguments& args) : self_(args), notifier_(false) {
    post();  // opens the log
    self_.becomeReady();
  }

  [[noreturn]] void run() {
    for (;;) {
      const Phase phase = Member::phase();
      if (phase == Phase::kStorm) {
        self_.journal().setState(State::kReady);
        burst(self_.dice(1, kLargestBurst));
      } else if (phase != Phase::kCalm) {
        self_.journal().setState(State::kSettled);
      } else if (self_.journal().state() == State::kSettled) {
        burst(kCalmMessages);
        self_.journal().setState(State::kCalmDone);
      }
      self_.napUpTo(12000);
    }
  }

 private:
  void burst(std::uint32_t count) {
    self_.waitForFollower();
    for (std::uint32_t i = 0; i < count; ++i) {
      self_.journal().beginStep("NotifyDataUpdate");
      post();
      self_.journal().endStep();
    }
  }

  void post() {
    const std::uint32_t size = self_.dice(kSmallestMessage, VQSharedMemNotifier::kMaxPayload);
    const std::vector<std::uint8_t> bytes = messageOf({self_.number(), self_.incarnation(), ++sent_, size, 0, 0, 0});
    notifier_.NotifyDataUpdate(kBareId, bytes.data(), size);
  }

  Member self_;
  VQSharedMemNotifier notifier_;
  std::uint32_t sent_ = 0;
};

TEST_ROLE(storm_watcher) {
  Journal::own().beginStep("construct the client");
  Watcher watcher(args);
  Journal::own().endStep();
  watcher.run();
}

TEST_ROLE(storm_poster) {
  Journal::own().beginStep("open the log");
  Poster poster(args);
  Journal::own().endStep();
  poster.run();
}

}  // namespace
}  // namespace storm
