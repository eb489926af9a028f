#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "VQFramework/Text/VQBinary.h"
#include "VQFramework/Text/VQString.h"
#include "VQFramework/Text/vq_strcpy.h"

namespace {

constexpr unsigned int kBytesAsTheyStand = 32;

TEST(String, OfNothingIsEmpty) {
  EXPECT_EQ(VQString().getBytes(kBytesAsTheyStand), "");
}

TEST(String, GivesItsBytesBackAsTheyStand) {
  EXPECT_EQ(VQString("/a\xC3\xA4\xFF\x01", kBytesAsTheyStand).getBytes(kBytesAsTheyStand), "/a\xC3\xA4\xFF\x01");
}

TEST(String, GrowsByWhatIsAppended) {
  VQString sut("/", kBytesAsTheyStand);
  VQString& result = sut.append("name", kBytesAsTheyStand).append("", kBytesAsTheyStand);
  EXPECT_EQ(&result, &sut);
  EXPECT_EQ(sut.getBytes(kBytesAsTheyStand), "/name");
}

TEST(String, TakesANullTextAsEmpty) {
  VQString sut(nullptr, kBytesAsTheyStand);
  sut.append(nullptr, kBytesAsTheyStand);
  EXPECT_EQ(sut.getBytes(kBytesAsTheyStand), "");
}

TEST(String, IsIndependentOfItsCopies) {
  VQString sut("a", kBytesAsTheyStand);
  VQString copy(sut);
  VQString assigned;
  assigned = sut;
  copy.append("b", kBytesAsTheyStand);
  assigned.append("c", kBytesAsTheyStand);
  EXPECT_EQ(sut.getBytes(kBytesAsTheyStand), "a");
  EXPECT_EQ(copy.getBytes(kBytesAsTheyStand), "ab");
  EXPECT_EQ(assigned.getBytes(kBytesAsTheyStand), "ac");
}

std::string bytesOf(const VQBinary& binary) {
  return std::string(reinterpret_cast<const char*>(binary.getBuffer()), binary.getSize());
}

TEST(Binary, OfNothingHasNoBuffer) {
  const VQBinary sut;
  EXPECT_EQ(sut.getBuffer(), nullptr);
  EXPECT_EQ(sut.getSize(), 0U);
}

TEST(Binary, CopiesItsBytesZerosIncluded) {
  char bytes[] = {'a', '\0', 'b'};
  const VQBinary sut(bytes, sizeof bytes);
  bytes[0] = 'x';
  EXPECT_EQ(bytesOf(sut), std::string("a\0b", 3));
}

TEST(Binary, OfNullDataOrSizeZeroIsEmpty) {
  const VQBinary ofNull(nullptr, 5);
  EXPECT_EQ(ofNull.getSize(), 0U);
  EXPECT_EQ(ofNull.getBuffer(), nullptr);
  EXPECT_EQ(VQBinary("a", 0).getSize(), 0U);
}

TEST(Binary, IsIndependentOfItsCopies) {
  VQBinary sut("abc", 3);
  const VQBinary copy(sut);
  VQBinary assigned;
  assigned = sut;
  sut = VQBinary("z", 1);
  EXPECT_EQ(bytesOf(sut), "z");
  EXPECT_EQ(bytesOf(copy), "abc");
  EXPECT_EQ(bytesOf(assigned), "abc");
}

class StrcpyTest : public testing::Test {
 protected:
  StrcpyTest() { memset(destination, '#', sizeof destination); }
  std::string bytes() const { return std::string(destination, sizeof destination); }

  char destination[6];
};

TEST_F(StrcpyTest, CopiesAShortTextAndLeavesTheBytesBehindTheTerminatorAlone) {
  EXPECT_EQ(vq_strcpy(destination, sizeof destination, "ab"), destination);
  EXPECT_EQ(bytes(), std::string("ab\0###", 6));
}

TEST_F(StrcpyTest, CopiesATextThatJustFits) {
  vq_strcpy(destination, sizeof destination, "abcde");
  EXPECT_EQ(bytes(), std::string("abcde\0", 6));
}

TEST_F(StrcpyTest, CutsALongTextAndTerminatesIt) {
  vq_strcpy(destination, 4, "abcdefgh");
  EXPECT_EQ(bytes(), std::string("abc\0##", 6));
}

TEST_F(StrcpyTest, NeedsNoTerminatorBehindWhatItCopies) {
  const char unterminated[] = {'a', 'b', 'c'};
  vq_strcpy(destination, 4, unterminated);
  EXPECT_EQ(bytes(), std::string("abc\0##", 6));
}

TEST_F(StrcpyTest, TakesANullSourceAsEmpty) {
  vq_strcpy(destination, sizeof destination, nullptr);
  EXPECT_EQ(bytes(), std::string("\0#####", 6));
}

TEST_F(StrcpyTest, WritesNothingWhereThereIsNoRoom) {
  EXPECT_EQ(vq_strcpy(destination, 0, "ab"), destination);
  EXPECT_EQ(bytes(), "######");
  EXPECT_EQ(vq_strcpy(nullptr, 6, "ab"), nullptr);
}

}  // namespace
