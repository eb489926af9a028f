#include "app/sender.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/linkapp_tool/manual_errands.h"

namespace {

using app::Bytes;
using app::Source;
using testing::ElementsAre;
using testing::IsEmpty;

// Gives what the test has put in.
class QueueSource final : public Source {
 public:
  explicit QueueSource(std::deque<std::string>& texts, const bool& isOver) : texts_(texts), isOver_(isOver) {}
  Next next(Bytes& message) override {
    if (texts_.empty()) {
      return isOver_ ? Next::kEnd : Next::kLater;
    }
    message.assign(texts_.front().begin(), texts_.front().end());
    texts_.pop_front();
    return Next::kMessage;
  }

 private:
  std::deque<std::string>& texts_;
  const bool& isOver_;
};

class Sender : public testing::Test {
 public:
  void make(const app::Pace& pace = {}) {
    auto source = std::make_unique<QueueSource>(texts_, isOver_);
    source_ = source.get();
    sut_ = std::make_unique<app::Sender>(
        errands_, std::move(source), pace,
        [this](const Bytes& message) {
          if (isRefusing_ || sent_.size() == most_) {
            return false;
          }
          sent_.emplace_back(message.begin(), message.end());
          return true;
        },
        [this](std::uint64_t sent) {
          ended_ = static_cast<int>(sent);
          sut_.reset();
        });
  }
  void run() { errands_.pass(std::chrono::milliseconds(1)); }

  ManualErrands errands_;
  std::deque<std::string> texts_ = {"a", "b", "c"};
  bool isOver_ = true;
  bool isRefusing_ = false;
  std::size_t most_ = 1000;  // messages that are taken
  std::vector<std::string> sent_;
  int ended_ = -1;
  QueueSource* source_ = nullptr;
  std::unique_ptr<app::Sender> sut_;
};

TEST_F(Sender, waits_until_a_link_is_open) {
  make();
  run();
  EXPECT_THAT(sent_, IsEmpty());
  sut_->setOpen(true);
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b", "c"));
  EXPECT_EQ(ended_, 3);
}

TEST_F(Sender, ends_at_once_where_there_is_nothing_to_send) {
  texts_.clear();
  make();
  run();
  EXPECT_EQ(ended_, 0);
}

TEST_F(Sender, sends_no_more_ahead_of_the_results_than_its_window_allows) {
  make({2, 0});
  sut_->setOpen(true);
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b"));
  EXPECT_FALSE(sut_->isIdle());
  sut_->noteResult();
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b", "c"));
}

TEST_F(Sender, goes_on_when_its_source_has_more) {
  isOver_ = false;
  make();
  sut_->setOpen(true);
  run();
  for (int i = 0; i < 3; ++i) {
    sut_->noteResult();
  }
  run();
  EXPECT_TRUE(sut_->isIdle());
  texts_ = {"d"};
  source_->onMore();
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b", "c", "d"));
  EXPECT_FALSE(sut_->isIdle());
  isOver_ = true;
  source_->onMore();
  run();
  EXPECT_EQ(ended_, 4);
}

TEST_F(Sender, tries_a_refused_message_again_when_a_link_has_come_up) {
  isRefusing_ = true;
  make();
  sut_->setOpen(true);
  run();
  EXPECT_EQ(ended_, -1);
  isRefusing_ = false;
  run();
  EXPECT_THAT(sent_, IsEmpty());
  sut_->setOpen(true);
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b", "c"));
}

// As where too much waits on a link that stays up.
TEST_F(Sender, tries_a_refused_message_again_with_each_result) {
  most_ = 2;
  make();
  sut_->setOpen(true);
  run();
  EXPECT_TRUE(sut_->isRefused());
  sut_->noteResult();
  run();
  EXPECT_TRUE(sut_->isRefused());
  EXPECT_THAT(sent_, ElementsAre("a", "b"));
  most_ = 3;
  sut_->noteResult();
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b", "c"));
  EXPECT_EQ(ended_, 3);
}

TEST_F(Sender, does_not_wait_for_the_results_of_a_link_that_is_gone) {
  make({2, 0});
  sut_->setOpen(true);
  run();
  sut_->setOpen(false);
  sut_->setOpen(true);
  run();
  EXPECT_THAT(sent_, ElementsAre("a", "b", "c"));
}

TEST_F(Sender, leaves_no_timer_behind) {
  make();
  sut_.reset();
  EXPECT_EQ(errands_.timerCount(), 0U);
}

}  // namespace
