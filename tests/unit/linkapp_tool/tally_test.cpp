#include "app/tally.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/pattern.h"

namespace {

class Tally : public testing::Test {
 public:
  void receive(std::uint32_t number) { sut_.noteMessage(text::patternMessage(number, 16)); }
  std::string fields() const { return text::toText(sut_.fields()); }

  app::Tally sut_;
};

TEST_F(Tally, finds_numbered_messages_complete) {
  for (std::uint32_t i = 0; i < 5; ++i) {
    receive(i);
  }
  EXPECT_FALSE(sut_.isBroken());
  EXPECT_THAT(fields(), testing::HasSubstr("received=5 received-bytes=80 numbered=5 missing=0 repeated=0"));
}

TEST_F(Tally, counts_what_is_missing_and_what_came_twice) {
  for (const std::uint32_t number : {0U, 1U, 5U, 5U, 2U}) {
    receive(number);
  }
  EXPECT_TRUE(sut_.isBroken());
  EXPECT_THAT(fields(), testing::HasSubstr("missing=3 repeated=2"));
}

TEST_F(Tally, begins_anew_with_number_0) {
  for (const std::uint32_t number : {0U, 1U, 0U, 1U}) {
    receive(number);
  }
  EXPECT_FALSE(sut_.isBroken());
}

TEST_F(Tally, takes_a_spoiled_message_for_one_without_a_number) {
  std::vector<std::uint8_t> message = text::patternMessage(0, 16);
  message[9] ^= 1;
  sut_.noteMessage(message);
  EXPECT_THAT(fields(), testing::HasSubstr("received=1 received-bytes=16 numbered=0"));
}

TEST_F(Tally, counts_results_by_their_outcome) {
  sut_.noteSent();
  sut_.noteSent();
  sut_.noteRefused();
  sut_.noteResult(false);
  sut_.noteResult(true);
  EXPECT_THAT(fields(), testing::HasSubstr("sent=2 refused=1 results=2 failed=1"));
}

}  // namespace
