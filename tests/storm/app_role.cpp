// Role "storm_app NUMBER INCARNATION SEED": a head-unit application that launches its app whenever it can, sends in
// batches, and waits for the echo of each message before the next batch.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <set>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "tests/process/listener.h"
#include "tests/storm/member.h"

namespace storm {
namespace {

constexpr std::uint32_t kLargestBatch = 4;
constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kLook = std::chrono::milliseconds(2);

// Of the same length for every number and incarnation: an entry of the table that a killed process left half written
// is written anew, without ends of texts.
std::string nameOf(const Member& self) {
  const std::string text = std::to_string(100000 + self.incarnation());
  return "app" + std::to_string(self.number()) + "-" + text;
}

class App {
 public:
  explicit App(const test_support::Arguments& args)
      : self_(args),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        client_("", nameOf(self_), "launch " + nameOf(self_)) {
    client_.AddObserver(listener_.observer());
    self_.becomeReady();
  }

  [[noreturn]] void run() {
    for (;;) {
      switch (Member::phase()) {
        case Phase::kStorm:
          self_.journal().setState(State::kReady);
          stormOn();
          break;
        case Phase::kSettle:
          settle();
          break;
        case Phase::kTurns:
          if (ownBoard().turn.load() == self_.number()) {
            takeTurn();
          }
          self_.napUpTo(1000);
          break;
        case Phase::kCalm:
          if (self_.journal().state() == State::kSettled) {
            sendCalmMessages();
          }
          self_.napUpTo(1000);
          break;
      }
    }
  }

 private:
  void onNotification(unsigned int id, const void* data) {
    if (id == 0) {
      onDevice(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data));
    } else if (id == 1) {
      self_.note(EventKind::kResult, 0, true);
    } else if (id == 2) {
      onData(*static_cast<const iosapp_def_::CommData*>(data));
    }
  }

  void onDevice(const iOSAppCommonClient::DeviceInfo& info) {
    if (info.usbStatus == 1) {
      client_.launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    isOpen_ = info.usbStatus == 2;
    if (info.usbStatus == 0) {
      underWay_.clear();  // the device side is a new one and knows nothing of them
    }
    if (!isOpen_) {
      self_.journal().setState(State::kReady);  // whatever it was: not settled any more
    }
    changed_.notify_all();
  }

  void onData(const iosapp_def_::CommData& data) {
    const std::optional<Stamp> stamp = self_.noteReceived(kFromDevice, data.data, data.size);
    if (stamp && stamp->answeredSender == self_.number() && stamp->answeredIncarnation == self_.incarnation()) {
      const std::lock_guard<std::mutex> guard(mutex_);
      underWay_.erase(stamp->answeredSequence);
      changed_.notify_all();
    }
  }

  bool isOpen() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, kLook, [this] { return isOpen_; });
    return isOpen_;
  }

  void sendOne() {
    Event event;
    event.kind = EventKind::kSending;
    event.ring = kFromHU;
    event.stamp = {self_.number(), self_.incarnation(), ++sent_, self_.diceSize(), 0, 0, 0};
    std::vector<std::uint8_t> bytes = messageOf(event.stamp);
    if (ownBoard().fault.load() == Fault::kSpoilPayload && sent_ % 100 == 0) {
      bytes[bytes.size() / 2] ^= 1U;
    }
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      underWay_.insert(sent_);
    }
    event.time = nanoseconds();
    const std::uint32_t place = self_.journal().write(event);
    self_.journal().beginStep("sendDataFromHU");
    const bool isSent = send(bytes);
    self_.journal().endStep();
    if (!isSent) {
      self_.journal().markRefused(place);
      const std::lock_guard<std::mutex> guard(mutex_);
      underWay_.erase(sent_);
    }
  }

  bool send(const std::vector<std::uint8_t>& bytes) {
    const auto size = static_cast<unsigned int>(bytes.size());
    if (ownBoard().fault.load() == Fault::kSendTwice && sent_ % 100 == 0) {
      client_.sendDataFromHU(bytes.data(), size);
    }
    return client_.sendDataFromHU(bytes.data(), size) == 1;
  }

  std::atomic<std::uint64_t>& oldest() const { return ownBoard().oldest[self_.number()]; }

  // Takes on as many messages as soon as nobody waits for one that is too far behind.
  void awaitTurn(std::uint32_t count) {
    for (;;) {
      std::uint64_t sends = ownBoard().sends.load();
      oldest().store(sends + 1);
      if (isTurn(sends + count) && ownBoard().sends.compare_exchange_strong(sends, sends + count)) {
        return;
      }
      oldest().store(0);
      self_.napUpTo(500);
    }
  }

  static bool isTurn(std::uint64_t last) {
    return std::all_of(std::begin(ownBoard().oldest), std::end(ownBoard().oldest),
                       [last](const std::atomic<std::uint64_t>& one) {
                         const std::uint64_t oldest = one.load();
                         return oldest == 0 || last < oldest + kUnderWay;
                       });
  }

  void sendBatch(std::uint32_t count) {
    self_.waitForFollower();
    awaitTurn(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      sendOne();
    }
  }

  // What has not come by then was lost with a device side, or with the start of somebody.
  void awaitAnswersForAWhile() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, kPatience, [this] { return underWay_.empty(); })) {
      self_.journal().noteGivenUp(static_cast<std::uint32_t>(underWay_.size()));
      underWay_.clear();
    }
    oldest().store(0);
  }

  void stormOn() {
    if (isOpen()) {
      sendBatch(self_.dice(1, kLargestBatch));
      awaitAnswersForAWhile();
      self_.napUpTo(8000);
    }
  }

  void settle() {
    awaitAnswersForAWhile();
    if (isOpen()) {
      const std::lock_guard<std::mutex> guard(mutex_);
      if (isOpen_) {
        self_.journal().setState(State::kSettled);
      }
    }
    self_.napUpTo(1000);
  }

  // Here every answer must come, so it waits without an end: the supervisor looks how long.
  void awaitAnswers(const char* step) {
    self_.journal().beginStep(step);
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return underWay_.empty(); });
    lock.unlock();
    self_.journal().endStep();
  }

  void takeTurn() {
    self_.waitForFollower();
    for (std::uint32_t i = 0; i < kTurnMessages; ++i) {
      sendOne();
      awaitAnswers("await an answer in turn");
    }
    ownBoard().turn.store(self_.number() + 1);
  }

  void sendCalmMessages() {
    for (std::uint32_t rest = kCalmMessages; rest != 0;) {
      const std::uint32_t count = std::min(rest, self_.dice(1, kLargestBatch));
      sendBatch(count);
      rest -= count;
      awaitAnswers("await answers in calm");
      oldest().store(0);
    }
    self_.journal().setState(State::kCalmDone);
  }

  Member self_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOpen_ = false;
  std::set<std::uint32_t> underWay_;
  std::uint32_t sent_ = 0;
  Listener listener_;
  iOSAppCommonClient client_;
};

TEST_ROLE(storm_app) {
  Journal::own().beginStep("construct the client");
  App app(args);
  Journal::own().endStep();
  app.run();
}

}  // namespace
}  // namespace storm
