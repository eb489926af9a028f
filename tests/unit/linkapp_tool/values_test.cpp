// Times and generated messages.
#include <gtest/gtest.h>

#include "text/duration.h"
#include "text/pattern.h"

namespace {

using std::chrono::microseconds;

TEST(Duration, is_read_with_its_unit) {
  EXPECT_EQ(text::parseDuration("200ms"), microseconds(200000));
  EXPECT_EQ(text::parseDuration("1.5s"), microseconds(1500000));
  EXPECT_EQ(text::parseDuration("2min"), microseconds(120000000));
  EXPECT_EQ(text::parseDuration("0us"), microseconds(0));
  EXPECT_EQ(text::parseDuration("1440min"), microseconds(86400000000));
}

TEST(Duration, is_nothing_else) {
  for (const char* const text :
       {"", "5", "s", "-1s", "1.s", "1,5s", "5 s", "5sec", "1e3s", "1441min", "99999999999999999999s"}) {
    EXPECT_FALSE(text::parseDuration(text)) << text;
  }
}

TEST(Duration, is_written_as_it_is_read) {
  for (const char* const text : {"200ms", "5s", "2min", "1500ms", "7us", "0us"}) {
    EXPECT_EQ(text::toText(*text::parseDuration(text)), text);
  }
}

TEST(PatternMessage, tells_its_number) {
  for (const std::uint32_t number : {0U, 1U, 255U, 70000U, 0xFFFFFFFFU}) {
    for (const std::size_t size : {std::size_t{4}, std::size_t{5}, std::size_t{4096}}) {
      EXPECT_EQ(text::patternNumber(text::patternMessage(number, size)), number);
    }
  }
}

TEST(PatternMessage, tells_no_number_where_a_byte_is_wrong) {
  const std::vector<std::uint8_t> good = text::patternMessage(77, 300);
  for (std::size_t i = 4; i < good.size(); ++i) {
    std::vector<std::uint8_t> bad = good;
    bad[i] = static_cast<std::uint8_t>(bad[i] + 1);
    EXPECT_FALSE(text::patternNumber(bad)) << i;
  }
  EXPECT_FALSE(text::patternNumber({0, 0, 1}));
}

}  // namespace
