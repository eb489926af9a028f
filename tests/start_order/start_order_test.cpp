// The device side, two applications and two listeners started in every order, and each of them started anew.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "tests/start_order/model.h"
#include "tests/support/child.h"
#include "tests/support/interruption.h"
#include "tests/support/shm_files.h"
#include "tests/tool/tool_process.h"

namespace start_order {
namespace {

using Clock = std::chrono::steady_clock;
using test_support::Child;

// The device side repeats the hands-free state for five seconds after a registration; a machine that is slower than
// this shows something else.
constexpr std::chrono::seconds kInTime{4};
constexpr double kRepeatsAreOver = 7;
constexpr int kAttempts = 5;

// A listener's process, and what it was told in all its lives.
class Listener {
 public:
  explicit Listener(Part part) : part_(part) {}

  void start() {
    process_ = std::make_unique<Child>(nameOf(part_));
    while (!isReady_ && readLine()) {
    }
    EXPECT_TRUE(isReady_);
  }

  void stop() {
    process_->release();
    while (readLine()) {  // to the end
    }
    EXPECT_EQ(process_->wait(), 0);
    process_.reset();
    isReady_ = false;
  }

  // Whether it has been told this and nothing else, as soon as it has been told so much.
  bool comesTo(const Told& expected) {
    while (told_.size() < expected.size() && process_ && readLine()) {
    }
    return told_ == expected;
  }

  const Told& told() const { return told_; }

  // Whether an application that has just been started missed the connection, since that was announced in the instant in
  // which the listener was set: the library takes it for known then, and goes on from there.
  bool hasMissedTheConnection(const Told& expected) {
    if (told_.size() + 2 != expected.size() || readLine(kRepeatsAreOver)) {
      return false;
    }
    process_->tell("launch");
    return readLine() && told_.back() == "2";
  }

 private:
  bool readLine(double seconds = test_support::kDeadline) {
    const std::optional<std::string> line = process_->nextLine(seconds);
    if (line == "ready") {
      isReady_ = true;
    } else if (line) {
      told_.push_back(*line);
    }
    return line.has_value();
  }

  const Part part_;
  std::unique_ptr<Child> process_;
  bool isReady_ = false;
  Told told_;
};

class HeadUnit {
 public:
  HeadUnit(loop::Loop& loop, loop::Signals& signals) : loop_(loop), signals_(signals) {}

  // Starts the process and waits until everybody has been told what the model says.
  bool start(Part part) {
    if (part == kPhone) {
      startPhone();
    } else {
      listeners_[part].start();
    }
    isVoid_ = isVoid_ || (part == kHandsFree && model_.areRepeatsDue() && Clock::now() - registered_ > kInTime);
    model_.start(part);
    if ((part == kNavi || part == kMusic) && model_.isUp(kPhone)) {
      registered_ = Clock::now();
      started_ = part;
    }
    return settle();
  }

  bool stop(Part part) {
    if (part == kPhone) {
      phone_->tell("quit");
      EXPECT_EQ(phone_->awaitEnd(), 0);
    } else {
      listeners_[part].stop();
    }
    model_.stop(part);
    return settle();
  }

  // What comes last, and that nothing else has come.
  void end() {
    phone_->tell("hands-free down");
    phone_->tell("play Last");
    phone_->tell("unplug");
    phone_->tell("hands-free up");
    for (const Part part : {kNavi, kMusic, kHandsFree, kPlayback}) {
      Told expected = model_.told(part);
      const Told last = part == kPlayback           ? Told{"Last"}
                        : part != kHandsFree        ? Told{"1", "0"}
                        : model_.isHandsFreeKnown() ? Told{"down", "up"}
                                                    : Told{"up"};
      expected.insert(expected.end(), last.begin(), last.end());
      EXPECT_TRUE(listeners_[part].comesTo(expected)) << difference(part, expected);
      listeners_[part].stop();
      EXPECT_EQ(listeners_[part].told(), expected) << nameOf(part);
    }
  }

  // The moment was wrong: a hands-free listener came too late for the repeats, or an application set its listener in
  // the very instant of the announcement. Neither can be kept from happening, nor happens again and again.
  bool isVoid() const { return isVoid_; }

 private:
  void startPhone() {
    phone_ = std::make_unique<ToolProcess>(
        loop_, signals_,
        std::vector<std::string>{"phone", "--json", "--do", "plug usb", "--do", "hands-free up", "--do",
                                 std::string("play ") + kPlayingApp});
    EXPECT_TRUE(phone_->await({R"("event":"ready")"}));
  }

  bool settle() {
    for (const Part part : {kNavi, kMusic, kHandsFree, kPlayback}) {
      isVoid_ = isVoid_ || (part == started_ && listeners_[part].hasMissedTheConnection(model_.told(part)));
      if (!isVoid_ && !listeners_[part].comesTo(model_.told(part))) {
        ADD_FAILURE() << difference(part, model_.told(part));
        return false;
      }
    }
    started_ = kPhone;
    return !isVoid_;
  }

  std::string difference(Part part, const Told& expected) const {
    return std::string(nameOf(part)) + " was told " + testing::PrintToString(listeners_[part].told()) + " instead of " +
           testing::PrintToString(expected);
  }

  loop::Loop& loop_;
  loop::Signals& signals_;
  Model model_;
  std::unique_ptr<ToolProcess> phone_;
  std::array<Listener, kParts> listeners_{Listener(kPhone), Listener(kNavi), Listener(kMusic), Listener(kHandsFree),
                                          Listener(kPlayback)};
  Clock::time_point registered_;
  Part started_ = kPhone;  // else the application that is being started
  bool isVoid_ = false;
};

// The whole story of one order. False where the moment was wrong.
bool runOrder(const Order& order) {
  test_support::clearShm();  // the table of apps has places for a few runs only
  loop::Loop loop;
  loop::Signals signals(loop, &test_support::endBy);
  HeadUnit sut(loop, signals);
  for (const Part part : order) {
    if (!sut.start(part)) {
      return !sut.isVoid();
    }
  }
  for (const Part part : order) {
    if (!sut.stop(part) || !sut.start(part)) {
      return !sut.isVoid();
    }
  }
  sut.end();
  return true;
}

class StartOrder : public testing::TestWithParam<Order> {};

TEST_P(StartOrder, shows_each_listener_what_is_laid_down) {
  int attempts = 0;
  while (!runOrder(GetParam())) {
    ASSERT_LT(++attempts, kAttempts)
        << "again and again a listener came 4 s after a registration, or an application was "
           "not told of the connection";
  }
}

INSTANTIATE_TEST_SUITE_P(Of, StartOrder, testing::ValuesIn(allOrders()),
                         [](const auto& order) { return nameOf(order.param); });

}  // namespace
}  // namespace start_order
