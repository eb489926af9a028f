#include "LinkAppCommon/private/LogTags.h"

#include <gtest/gtest.h>

namespace {

TEST(LogTags, ThatAreBothEmptyChooseNobody) {
  constexpr LogTags sut = {"", ""};
  EXPECT_FALSE(sut.choose(""));
  EXPECT_FALSE(sut.choose("Radio"));
}

TEST(LogTags, ThatAreEqualChooseNotEvenTheirOwnName) {
  constexpr LogTags sut = {"Radio", "Radio"};
  EXPECT_FALSE(sut.choose("Radio"));
}

TEST(LogTags, ThatDifferChooseTheFirstAndNobodyElse) {
  constexpr LogTags sut = {"Radio", "Maps"};
  EXPECT_TRUE(sut.choose("Radio"));
  EXPECT_FALSE(sut.choose("Maps"));
  EXPECT_FALSE(sut.choose("Radi"));
  EXPECT_FALSE(sut.choose("Radio2"));
  EXPECT_FALSE(sut.choose(""));
}

TEST(LogTags, WhoseFirstIsEmptyAndSecondIsNotChooseTheEmptyName) {
  constexpr LogTags sut = {"", "Maps"};
  EXPECT_TRUE(sut.choose(""));
  EXPECT_FALSE(sut.choose("Maps"));
}

}  // namespace
