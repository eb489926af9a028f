#include <gtest/gtest.h>

#include "scenario/scenario.h"

namespace {

using scenario::Condition;
using scenario::holds;
using Op = Condition::Operator;

constexpr const char* kJson =
    R"({"text":"turn left","size":9,"up":true,"usb":{"status":2,"app":"navi"},"usb.flat":"x","none":null})";

bool isSo(const std::string& field, Op op, const std::string& value) {
  return holds(kJson, {{field, op, value, false}});
}

TEST(Condition, compares_texts_numbers_and_flags_as_they_are_written) {
  EXPECT_TRUE(isSo("text", Op::kEqual, "turn left"));
  EXPECT_TRUE(isSo("size", Op::kEqual, "9"));
  EXPECT_TRUE(isSo("up", Op::kEqual, "true"));
  EXPECT_FALSE(isSo("size", Op::kEqual, "09"));
  EXPECT_TRUE(isSo("size", Op::kUnequal, "8"));
}

TEST(Condition, orders_numbers_by_value) {
  EXPECT_TRUE(isSo("size", Op::kLess, "10"));
  EXPECT_TRUE(isSo("size", Op::kGreaterOrEqual, "9"));
  EXPECT_FALSE(isSo("size", Op::kGreater, "9"));
  EXPECT_TRUE(isSo("size", Op::kLessOrEqual, "9"));
  EXPECT_FALSE(isSo("text", Op::kLess, "9"));
}

TEST(Condition, finds_a_part_of_a_text) {
  EXPECT_TRUE(isSo("text", Op::kContains, "n l"));
  EXPECT_FALSE(isSo("text", Op::kContains, "right"));
}

TEST(Condition, looks_into_what_is_nested) {
  EXPECT_TRUE(isSo("usb.status", Op::kEqual, "2"));
  EXPECT_TRUE(isSo("usb.flat", Op::kEqual, "x"));
  EXPECT_FALSE(isSo("usb.gone", Op::kEqual, "2"));
}

TEST(Condition, on_a_field_that_is_not_there_is_true_for_unequal_alone) {
  EXPECT_TRUE(isSo("gone", Op::kUnequal, "1"));
  EXPECT_FALSE(isSo("gone", Op::kEqual, ""));
  EXPECT_TRUE(holds(kJson, {{"text", Op::kEqual, "*", true}}));
  EXPECT_FALSE(holds(kJson, {{"gone", Op::kEqual, "*", true}}));
}

TEST(Condition, tells_the_first_that_fails) {
  std::string why;
  EXPECT_FALSE(holds(kJson, {{"size", Op::kEqual, "9", false}, {"text", Op::kEqual, "turn right", false}}, &why));
  EXPECT_EQ(why, "text=\"turn right\" does not hold: text is \"turn left\"");
  EXPECT_FALSE(holds("no json", {{"size", Op::kEqual, "9", false}}, &why));
  EXPECT_EQ(why, "size=9 does not hold: there is no size");
}

}  // namespace
