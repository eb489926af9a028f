#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <string>

#include "VQFramework/Text/VQBinary.h"
#include "VQFramework/Text/VQString.h"
#include "VQFramework/Text/vq_strcpy.h"

namespace {

constexpr unsigned int kCodePage = 32;

TEST(VQStringTest, ANewOneIsEmpty) {
  EXPECT_EQ(VQString().getBytes(kCodePage), "");
}

TEST(VQStringTest, GivesItsBytesBackAsTheyStand) {
  const VQString sut("a\xC3\xA4\xFF", kCodePage);
  EXPECT_EQ(sut.getBytes(kCodePage), "a\xC3\xA4\xFF");
}

TEST(VQStringTest, AppendedTextFollows) {
  VQString sut("/", kCodePage);
  EXPECT_EQ(&sut.append("name", kCodePage), &sut);
  EXPECT_EQ(sut.getBytes(kCodePage), "/name");
}

TEST(VQStringTest, ANullTextCountsAsEmpty) {
  VQString sut(nullptr, kCodePage);
  sut.append(nullptr, kCodePage);
  EXPECT_EQ(sut.getBytes(kCodePage), "");
}

TEST(VQStringTest, ACopyGoesItsOwnWay) {
  VQString original("a", kCodePage);
  const VQString sut(original);
  original.append("b", kCodePage);
  EXPECT_EQ(sut.getBytes(kCodePage), "a");
}

TEST(VQStringTest, AnAssignedOneGoesItsOwnWay) {
  VQString original("a", kCodePage);
  VQString sut("x", kCodePage);
  sut = original;
  original.append("b", kCodePage);
  EXPECT_EQ(sut.getBytes(kCodePage), "a");
}

TEST(VQStringTest, KeepsItsTextWhenAssignedToItself) {
  VQString sut("a", kCodePage);
  const VQString& same = sut;
  sut = same;
  EXPECT_EQ(sut.getBytes(kCodePage), "a");
}

TEST(VQBinaryTest, AnEmptyOneHasNoBuffer) {
  const VQBinary sut;
  EXPECT_EQ(sut.getSize(), 0U);
  EXPECT_EQ(sut.getBuffer(), nullptr);
}

TEST(VQBinaryTest, HoldsACopyOfTheBytesZerosIncluded) {
  unsigned char bytes[] = {1, 0, 3};
  const VQBinary sut(bytes, sizeof bytes);
  bytes[0] = 9;
  ASSERT_EQ(sut.getSize(), 3U);
  EXPECT_EQ(memcmp(sut.getBuffer(), "\x01\x00\x03", 3), 0);
}

TEST(VQBinaryTest, NullDataGivesAnEmptyOne) {
  const VQBinary sut(nullptr, 5);
  EXPECT_EQ(sut.getSize(), 0U);
}

TEST(VQBinaryTest, SizeZeroGivesAnEmptyOne) {
  const VQBinary sut("a", 0);
  EXPECT_EQ(sut.getBuffer(), nullptr);
}

TEST(VQBinaryTest, ACopyHasABufferOfItsOwn) {
  const VQBinary original("abc", 3);
  const auto sut = std::make_unique<VQBinary>(original);
  EXPECT_NE(sut->getBuffer(), original.getBuffer());
  EXPECT_EQ(memcmp(sut->getBuffer(), "abc", 3), 0);
}

TEST(VQBinaryTest, AnAssignedOneHasABufferOfItsOwn) {
  const VQBinary original("abc", 3);
  VQBinary sut("x", 1);
  sut = original;
  EXPECT_NE(sut.getBuffer(), original.getBuffer());
  EXPECT_EQ(sut.getSize(), 3U);
}

class StrcpyTest : public testing::Test {
 protected:
  StrcpyTest() { memset(destination, '#', sizeof destination); }
  std::string bytes() const { return std::string(destination, sizeof destination); }
  char destination[8];
};

TEST_F(StrcpyTest, CopiesAShortTextAndLeavesTheBytesBehindItAlone) {
  EXPECT_EQ(vq_strcpy(destination, sizeof destination, "abc"), destination);
  EXPECT_EQ(bytes(), std::string("abc\0####", 8));
}

TEST_F(StrcpyTest, ATextThatJustFitsIsCopiedWhole) {
  vq_strcpy(destination, 4, "abc");
  EXPECT_EQ(bytes(), std::string("abc\0####", 8));
}

TEST_F(StrcpyTest, ALongTextIsCutAndTerminated) {
  vq_strcpy(destination, 4, "abcdefghijkl");
  EXPECT_EQ(bytes(), std::string("abc\0####", 8));
}

TEST_F(StrcpyTest, ReadsNoFurtherThanItCopies) {
  const char source[] = {'a', 'b', 'c'};  // not terminated: a sanitizer sees the fourth byte
  vq_strcpy(destination, 4, source);
  EXPECT_EQ(bytes(), std::string("abc\0####", 8));
}

TEST_F(StrcpyTest, SizeOneGivesAnEmptyText) {
  vq_strcpy(destination, 1, "abc");
  EXPECT_EQ(bytes(), std::string("\0#######", 8));
}

TEST_F(StrcpyTest, SizeZeroWritesNothing) {
  EXPECT_EQ(vq_strcpy(destination, 0, "abc"), destination);
  EXPECT_EQ(bytes(), "########");
}

TEST_F(StrcpyTest, ANullSourceGivesAnEmptyText) {
  vq_strcpy(destination, sizeof destination, nullptr);
  EXPECT_EQ(bytes(), std::string("\0#######", 8));
}

TEST_F(StrcpyTest, ANullDestinationIsRefused) {
  EXPECT_EQ(vq_strcpy(nullptr, 8, "abc"), nullptr);
}

}  // namespace
