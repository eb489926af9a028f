#include <gtest/gtest.h>

#include "command/arguments.h"

using command::after;
using command::argument;
using command::Call;
using command::choice;
using command::Mistake;
using command::number;
using command::optional;
using command::Table;
using command::Type;

namespace {

Table sampleTable() {
  return Table({
      {"plug",
       "Link",
       "connects",
       {choice("link", {"usb", "bluetooth"}), optional(choice("iap", {"iap1", "iap2"}))},
       "plug usb",
       ""},
      {"send", "Data", "sends", {argument(Type::kWord, "app"), argument(Type::kRest, "text")}, "", ""},
      {"burst",
       "Data",
       "sends many",
       {argument(Type::kWord, "app"), number("count", 1, 100), after("size", number("size", 1, 4096)),
        after("after", argument(Type::kDuration, "delay"))},
       "",
       ""},
      {"bytes", "Data", "sends bytes", {argument(Type::kBytes, "bytes")}, "", ""},
      {"address", "Link", "sets", {optional(argument(Type::kAddress, "address"))}, "", ""},
  });
}

Call callOf(const std::string& line) {
  Call call;
  Mistake mistake;
  EXPECT_TRUE(sampleTable().parse(line, call, mistake)) << mistake.column << ": " << mistake.text;
  return call;
}

Mistake mistakeIn(const std::string& line) {
  Call call;
  Mistake mistake;
  EXPECT_FALSE(sampleTable().parse(line, call, mistake));
  return mistake;
}

TEST(CommandTable, gives_arguments_by_name) {
  const Call call = callOf("plug usb iap1");
  EXPECT_EQ(call.name, "plug");
  EXPECT_EQ(call.text("link"), "usb");
  EXPECT_EQ(call.text("iap"), "iap1");
}

TEST(CommandTable, leaves_out_what_is_optional_and_not_given) {
  const Call call = callOf("plug bluetooth");
  EXPECT_FALSE(call.has("iap"));
  EXPECT_EQ(call.text("iap", "iap2"), "iap2");
}

TEST(CommandTable, takes_keyword_arguments_in_any_order) {
  const Call call = callOf("burst navi 7 after 200ms size 12");
  EXPECT_EQ(call.number("count"), 7);
  EXPECT_EQ(call.number("size"), 12);
  EXPECT_EQ(call.duration("delay"), std::chrono::milliseconds(200));
}

TEST(CommandTable, takes_a_quoted_keyword_as_a_word) {
  EXPECT_EQ(callOf("burst \"size\" 7").text("app"), "size");
}

TEST(CommandTable, joins_the_rest_of_the_line) {
  EXPECT_EQ(callOf("send navi turn   left \"a  b\"").text("text"), "turn left a  b");
}

TEST(CommandTable, reads_bytes_from_hexadecimal_digits) {
  EXPECT_EQ(callOf("bytes 00fFa5").bytes("bytes"), (std::vector<std::uint8_t>{0x00, 0xFF, 0xA5}));
}

TEST(CommandTable, refuses_an_unknown_command_with_the_nearest_one) {
  const Mistake mistake = mistakeIn("  plgu usb");
  EXPECT_EQ(mistake.column, 3U);
  EXPECT_EQ(mistake.text, "unknown command 'plgu'; did you mean 'plug'?");
}

TEST(CommandTable, does_not_guess_what_is_far_off) {
  EXPECT_EQ(mistakeIn("teleport").text, "unknown command 'teleport'");
}

struct Case {
  const char* line;
  std::size_t column;
  const char* text;
};

class CommandTableMistake : public testing::TestWithParam<Case> {};

TEST_P(CommandTableMistake, is_told_with_its_column_and_what_was_expected) {
  const Mistake mistake = mistakeIn(GetParam().line);
  EXPECT_EQ(mistake.column, GetParam().column);
  EXPECT_EQ(mistake.text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Sample, CommandTableMistake,
    testing::Values(Case{"", 1, "expected a command; `help` lists them"}, Case{"plug", 5, "expected usb or bluetooth"},
                    Case{"plug lan", 6, "'lan' is not usb or bluetooth"},
                    Case{"plug usb iap1 now", 15, "'now' is too much; usage: plug usb|bluetooth [iap1|iap2]"},
                    Case{"burst navi 0", 12, "'0' is not a number from 1 to 100"},
                    Case{"burst navi 101", 12, "'101' is not a number from 1 to 100"},
                    Case{"burst navi 9x", 12, "'9x' is not a number from 1 to 100"},
                    Case{"burst navi 99999999999999999999", 12, "'99999999999999999999' is not a number from 1 to 100"},
                    Case{"burst navi size 4", 12, "expected a number from 1 to 100"},
                    Case{"burst navi 1 size", 18, "expected a number from 1 to 4096"},
                    Case{"burst navi 1 size 1 size 2", 21, "'size' stands here twice"},
                    Case{"burst navi 1 after soon", 20, "'soon' is not a time such as 200ms, 5s or 2min"},
                    Case{"bytes abc", 7, "'abc' is not bytes as hexadecimal digits, two for each"},
                    Case{"address 11:22:33:44:55", 9,
                         "'11:22:33:44:55' is not a Bluetooth address such as 12:34:56:78:9a:bc"},
                    Case{"send navi \"x", 11, "the quotes that open here do not end on this line"}));

TEST(CommandTable, shows_all_commands_in_their_groups) {
  EXPECT_EQ(
      sampleTable().help(),
      "Link\n  plug     connects\n  address  sets\n\nData\n  send     sends\n  burst    sends many\n  bytes    sends "
      "bytes\n\n`help COMMAND` tells more.\n");
}

TEST(CommandTable, shows_one_command_with_its_arguments_and_example) {
  EXPECT_EQ(
      sampleTable().help("plug"),
      "usage: plug usb|bluetooth [iap1|iap2]\n\nconnects\n  usb|bluetooth: usb or bluetooth\n  iap1|iap2: iap1 or "
      "iap2\n\nexample: plug usb\n");
  EXPECT_EQ(sampleTable().help("teleport"), "");
}

}  // namespace
