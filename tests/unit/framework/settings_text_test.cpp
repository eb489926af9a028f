#include "platform/inprocess/settings_text.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using vqframework::isSettingsKey;
using vqframework::settingsValue;
using vqframework::withSettingsValue;

TEST(SettingsTextTest, FindsTheValueOfAKey) {
  EXPECT_EQ(settingsValue("a=1\nb=2\nc=3\n", "b"), 2U);
}

TEST(SettingsTextTest, OfSeveralLinesWithOneKeyTheFirstCounts) {
  EXPECT_EQ(settingsValue("a=1\na=2\n", "a"), 1U);
}

TEST(SettingsTextTest, BlanksAndForeignLineEndsDoNotMatter) {
  EXPECT_EQ(settingsValue(" \ta = 1 \r\n", "a"), 1U);
}

TEST(SettingsTextTest, ALastLineWithoutAnEndCounts) {
  EXPECT_EQ(settingsValue("x\na=1", "a"), 1U);
}

TEST(SettingsTextTest, TheWholeKeyMustMatch) {
  EXPECT_EQ(settingsValue("ab=1\nA=2\nxa=3\n", "a"), std::nullopt);
}

TEST(SettingsTextTest, ReadsTheGreatestNumber) {
  EXPECT_EQ(settingsValue("a=4294967295\n", "a"), 4294967295U);
}

TEST(SettingsTextTest, AnythingButANumberOf32BitsIsNoValue) {
  for (const char* value :
       {"", " ", "x", "1x", "0x1", "-1", "+1", "1 2", "4294967296", "99999999999999999999", "1=2"}) {
    EXPECT_EQ(settingsValue("a=" + std::string(value) + "\n", "a"), std::nullopt) << value;
  }
}

TEST(SettingsTextTest, AnEmptyTextHasNoValues) {
  EXPECT_EQ(settingsValue("", "a"), std::nullopt);
}

// A file may be so long, and whoever can write it can write this. Line by line it takes milliseconds; looking for a
// sign behind each line's end up to the end of the text it took minutes, and the test its time limit.
TEST(SettingsTextTest, ATextOfAMillionLinesIsReadInOnePass) {
  const std::string text(std::size_t{1024} * 1024, '\n');
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(settingsValue(text, "a"), std::nullopt);
  }
  EXPECT_EQ(settingsValue(text + "a=1", "a"), 1U);
}

TEST(SettingsTextTest, ReplacesOneValueAndLeavesEveryOtherByteAlone) {
  const std::string head = std::string("# note\n\n[s]\r\n") + '\0' + "\xFF=\n";
  const std::string before = head + "a = 1\nb=2\na=3\nrest";
  const std::string after = head + "a =7\nb=2\na=3\nrest";
  EXPECT_EQ(withSettingsValue(before, "a", 7), after);
}

TEST(SettingsTextTest, ANewKeyComesLast) {
  EXPECT_EQ(withSettingsValue("a=1\n", "b", 2), "a=1\nb=2\n");
}

TEST(SettingsTextTest, ANewKeyInAnEmptyTextIsTheOnlyLine) {
  EXPECT_EQ(withSettingsValue("", "a", 255), "a=255\n");
}

TEST(SettingsTextTest, ALastLineThatLostItsEndDoesNotSwallowANewKey) {
  EXPECT_EQ(withSettingsValue("LinkAppDev", "LinkAppDevice", 255), "LinkAppDev\nLinkAppDevice=255\n");
}

TEST(SettingsTextTest, ADamagedValueIsReplaced) {
  EXPECT_EQ(withSettingsValue("a=x y z\nb=2", "a", 1), "a=1\nb=2");
}

TEST(SettingsTextTest, KeysThatALineCannotHoldAreNone) {
  for (const char* key : {static_cast<const char*>(nullptr), "", "a=b", "#a", "[a]", " a", "a\t", "a\nb", "a\x7F"}) {
    EXPECT_FALSE(isSettingsKey(key)) << (key == nullptr ? "null" : key);
  }
}

TEST(SettingsTextTest, KeysMayHaveInnerBlanksAndForeignLetters) {
  EXPECT_TRUE(isSettingsKey("LinkAppDevice"));
  EXPECT_TRUE(isSettingsKey("a key"));
  EXPECT_TRUE(isSettingsKey("\xC3\xA4"));
}

}  // namespace
