#include "text/fields.h"

#include <gtest/gtest.h>

namespace {

using text::Fields;
using text::List;

TEST(Fields, are_one_line_of_json) {
  const Fields fields = {{"name", "navi"}, {"size", 5U}, {"up", true}, {"delta", -3}, {"list", List{{{"a", 1}}, {}}}};
  EXPECT_EQ(text::toJson(fields), R"({"name":"navi","size":5,"up":true,"delta":-3,"list":[{"a":1},{}]})");
  EXPECT_EQ(text::toJson({}), "{}");
}

TEST(Fields, escape_what_json_forbids) {
  EXPECT_EQ(text::toJson({{"a\"b", std::string("\"\\\n\t\r\x01\x7f\0", 8)}}),
            "{\"a\\\"b\":\"\\\"\\\\\\n\\t\\r\\u0001\\u007f\\u0000\"}");
}

TEST(Fields, keep_utf8_and_replace_what_is_none) {
  EXPECT_EQ(text::jsonQuoted("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"), "\"\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80\"");
  for (const char* const bad : {"\xFF", "\xC3", "\xC0", "\x80"}) {
    EXPECT_EQ(text::jsonQuoted(bad), "\"\xEF\xBF\xBD\"");
  }
  EXPECT_EQ(text::jsonQuoted("\xED\xA0\x80"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"");
  EXPECT_EQ(text::jsonQuoted("\xC3("), "\"\xEF\xBF\xBD(\"");
}

TEST(Fields, are_text_for_people) {
  EXPECT_EQ(text::toText({{"name", "navi"}, {"text", "a b"}, {"empty", ""}, {"up", false}}),
            "name=navi text=\"a b\" empty=\"\" up=false");
  EXPECT_EQ(text::quoted("a\"\\\n\xFF"), "\"a\\\"\\\\\\n\\xff\"");
}

TEST(Fields, hold_fields) {
  const text::Fields inner = {{"pid", 1}, {"name", "a b"}};
  EXPECT_EQ(text::toJson({{"process", inner}, {"none", text::Fields{}}}),
            R"({"process":{"pid":1,"name":"a b"},"none":{}})");
  EXPECT_EQ(text::toText({{"process", inner}}), R"(process={pid=1 name="a b"})");
}

TEST(Fields, are_left_as_they_are_for_people_unless_a_terminal_might_obey_them) {
  for (const char* const text : {"", "ended as asked", R"(linkapp app --name "a b" # \)", "\xC3\xA9"}) {
    EXPECT_EQ(text::printable(text), text);
  }
  EXPECT_EQ(text::printable("a b\n\x1b[2J"), R"("a b\n\x1b[2J")");
  EXPECT_EQ(text::printable("\xC3 \x9B"), R"("\xc3 \x9b")");
}

// Terminals obey them.
TEST(Fields, show_no_control_characters_beyond_ascii_either) {
  EXPECT_EQ(text::quoted("\x9B"), "\"\\x9b\"");
  EXPECT_EQ(text::quoted("\xC2\x9B"), "\"\\xc2\\x9b\"");
  EXPECT_EQ(text::quoted("\xC2\xA0"), "\xC2\xA0");
}

}  // namespace
