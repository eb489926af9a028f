// VQSharedMemory<T, 1>: names, creation, attaching, what stays behind.
#include <fstream>
#include <memory>

#include "libc_faults.h"
#include "segment_fixture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

testing::Matcher<const vqfake::LogLine&> nameLine(int line, const std::string& text) {
  return logLine(kSegmentFile, "VQSharedMemory", line, 1, text);
}

void expectUnusable(const SmallSegment& segment) {
  EXPECT_EQ(segment.fd, -1);
  EXPECT_EQ(segment.mapping, MAP_FAILED);
  EXPECT_FALSE(segment.isCreator);
}

bool isMappedHere(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  std::string line;
  while (std::getline(maps, line)) {
    if (line.find(name) != std::string::npos) {
      return true;
    }
  }
  return false;
}

TEST_F(SegmentTest, ANullNameIsRefusedWithItsLineAndOpensNothing) {
  LibcFaults calls;
  SmallSegment sut(nullptr);
  expectUnusable(sut);
  EXPECT_THAT(calls.shmOpens, IsEmpty());
  EXPECT_THAT(vqfake::log(), ElementsAre(nameLine(79, "VQSharedMemory Failed. Error. Name is NULL.\n")));
}

TEST_F(SegmentTest, AnEmptyNameGivesNameIsNothingAndOpensNothing) {
  LibcFaults calls;
  SmallSegment sut("");
  expectUnusable(sut);
  EXPECT_THAT(calls.shmOpens, IsEmpty());
  EXPECT_THAT(vqfake::log(), ElementsAre(nameLine(86, "VQSharedMemory Failed. Error. Name is nothing.\n")));
}

TEST_F(SegmentTest, ANameOf248CharactersIsAccepted) {
  SmallSegment sut(longName(248).c_str());
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_TRUE(exists(longName(248)));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(SegmentTest, ANameOf249CharactersIsOverTheLengthAndOpensNothing) {
  LibcFaults calls;
  SmallSegment sut(longName(249).c_str());
  expectUnusable(sut);
  EXPECT_THAT(calls.shmOpens, IsEmpty());
  EXPECT_THAT(vqfake::log(), ElementsAre(nameLine(93, "VQSharedMemory Failed. Error. Name is over the length.\n")));
}

TEST_F(SegmentTest, ARefusedObjectCanBeLockedAndDestroyed) {
  SmallSegment sut("");
  VQSyncGuard guard(sut);
}

TEST_F(SegmentTest, TheFirstObjectCreatesAClearedSegmentWithItsSizeInFront) {
  SmallSegment sut(kSmallName);
  EXPECT_NE(sut.fd, -1);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_TRUE(sut.isCreator);
  SegmentView view(kSmallName);
  EXPECT_EQ(view.size(), kSmallSize);
  EXPECT_EQ(view.sizeWord(), sizeof(SmallRecord));
  const Bytes contents = view.copy();
  EXPECT_THAT(Bytes(contents.begin() + 4, contents.end()), Each(0));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(SegmentTest, CreationOpensExclusivelyWithMode0664) {
  LibcFaults calls;
  SmallSegment sut(kSmallName);
  ASSERT_EQ(calls.shmOpens.size(), 1U);
  EXPECT_EQ(calls.shmOpens[0].name, std::string("/") + kSmallName);
  EXPECT_EQ(calls.shmOpens[0].flags, O_CREAT | O_EXCL | O_RDWR);
  EXPECT_EQ(calls.shmOpens[0].mode, 0664U);
}

TEST_F(SegmentTest, TheModeIs0664LessTheUmask) {
  const mode_t before = umask(0022);
  SmallSegment sut(kSmallName);
  umask(before);
  EXPECT_EQ(statusOf(sut).st_mode & 07777, 0644U);
}

TEST_F(SegmentTest, AttachingLeavesTheModeAsItIs) {
  makeObject(Bytes(kSmallSize), 0600);
  SmallSegment sut(kSmallName);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_EQ(statusOf(sut).st_mode & 07777, 0600U);
}

TEST_F(SegmentTest, ConstructionHoldsTheLockOnceAndGivesItBack) {
  SmallSegment sut(kSmallName);
  EXPECT_EQ(vqfake::lockCount(kSmallName), 1U);
  EXPECT_EQ(vqfake::lockDepth(kSmallName), 0U);
}

TEST_F(SegmentTest, TheSegmentIsCompleteBeforeTheLockIsGivenBack) {
  std::vector<std::uint32_t> sizeWords;
  vqfake::setAfterUnlock([&](const std::string&) { sizeWords.push_back(SegmentView(kSmallName).sizeWord()); });
  SmallSegment sut(kSmallName);
  vqfake::setAfterUnlock({});
  EXPECT_THAT(sizeWords, ElementsAre(sizeof(SmallRecord)));
}

TEST_F(SegmentTest, TwoObjectsSeeTheSameBytes) {
  SmallSegment first(kSmallName);
  SmallSegment sut(kSmallName);
  EXPECT_FALSE(sut.isCreator);
  recordOf(first).words[3] = 0xCAFE;
  EXPECT_EQ(recordOf(sut).words[3], 0xCAFEU);
}

TEST_F(SegmentTest, ASecondObjectOpensWithoutExclusivity) {
  SmallSegment first(kSmallName);
  LibcFaults calls;
  SmallSegment sut(kSmallName);
  ASSERT_EQ(calls.shmOpens.size(), 2U);
  EXPECT_EQ(calls.shmOpens[0].flags, O_CREAT | O_EXCL | O_RDWR);
  EXPECT_EQ(calls.shmOpens[1].flags, O_CREAT | O_RDWR);
  EXPECT_EQ(calls.shmOpens[1].mode, 0664U);
}

TEST_F(SegmentTest, AttachingDoesNotClearOrResizeButRewritesTheSizeWord) {
  Bytes contents = patternOf(kSmallSize);
  makeObject(contents);
  LibcFaults calls;
  SmallSegment sut(kSmallName);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(calls.resizes, 0U);
  SegmentView view(kSmallName);
  EXPECT_EQ(view.sizeWord(), sizeof(SmallRecord));
  const Bytes now = view.copy();
  EXPECT_EQ(Bytes(now.begin() + 4, now.end()), Bytes(contents.begin() + 4, contents.end()));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(SegmentTest, ALargerSegmentKeepsItsSize) {
  makeObject(Bytes(kSmallSize + 9000, 7));
  SmallSegment sut(kSmallName);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_EQ(statusOf(sut).st_size, static_cast<off_t>(kSmallSize + 9000));
  EXPECT_EQ(recordOf(sut).words[5], 0x07070707U);
}

TEST_F(SegmentTest, AShortSegmentOfADeadCreatorIsBroughtToFullSizeAndItsBytesAreKept) {
  const Bytes contents = patternOf(4 + 8);
  makeObject(contents);
  SmallSegment sut(kSmallName);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_FALSE(sut.isCreator);
  SegmentView view(kSmallName);
  EXPECT_EQ(view.size(), kSmallSize);
  EXPECT_EQ(view.sizeWord(), sizeof(SmallRecord));
  const Bytes now = view.copy();
  EXPECT_EQ(Bytes(now.begin() + 4, now.begin() + 12), Bytes(contents.begin() + 4, contents.end()));
  EXPECT_THAT(Bytes(now.begin() + 12, now.end()), Each(0));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(SegmentTest, AnEmptySegmentOfADeadCreatorIsBroughtToFullSize) {
  makeObject({});
  SmallSegment sut(kSmallName);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(statusOf(sut).st_size, static_cast<off_t>(kSmallSize));
  recordOf(sut).words[5] = 1;
}

TEST_F(SegmentTest, AShortSegmentIsBroughtToFullSizeUnderTheLock) {
  makeObject({});
  std::vector<std::size_t> sizesAfterUnlock;
  vqfake::setAfterUnlock([&](const std::string&) { sizesAfterUnlock.push_back(SegmentView(kSmallName).size()); });
  SmallSegment sut(kSmallName);
  vqfake::setAfterUnlock({});
  EXPECT_THAT(sizesAfterUnlock, ElementsAre(kSmallSize));
}

TEST_F(SegmentTest, TheLastUserLeavesTheSegmentAndARestartedProcessAttachesToTheOldContents) {
  {
    SmallSegment first(kSmallName);
    recordOf(first).words[2] = 42;
  }
  EXPECT_TRUE(exists(kSmallName));
  SmallSegment sut(kSmallName);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(recordOf(sut).words[2], 42U);
}

TEST_F(SegmentTest, DestructionUnmapsAndClosesButDoesNotUnlink) {
  auto sut = std::make_unique<SmallSegment>(kSmallName);
  const int fd = sut->fd;
  ASSERT_TRUE(isMappedHere(kSmallName));
  sut.reset();
  EXPECT_FALSE(isMappedHere(kSmallName));
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_TRUE(exists(kSmallName));
}

TEST_F(SegmentTest, TheLockIsSharedByObjectsOfOneNameAndReentrant) {
  SmallSegment first(kSmallName);
  SmallSegment sut(kSmallName);
  VQSyncGuard outer(first);
  VQSyncGuard inner(sut);
  EXPECT_EQ(vqfake::lockDepth(kSmallName), 2U);
}

}  // namespace
