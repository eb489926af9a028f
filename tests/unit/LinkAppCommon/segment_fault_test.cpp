// VQSharedMemory<T, 1> when libc refuses: the line that is logged, the lock given back, the object alive but unusable.
#include <cerrno>

#include "libc_faults.h"
#include "segment_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Call = LibcFaults::Call;

class SegmentFaultTest : public SegmentTest {
 protected:
  // Alive: it can be locked, and it takes nothing along when it goes.
  static void expectAliveButUnusable(const SmallSegment& segment) {
    EXPECT_EQ(segment.mapping, MAP_FAILED);
    EXPECT_EQ(vqfake::lockDepth(kSmallName), 0U);
    VQSyncGuard guard(segment);
    EXPECT_EQ(vqfake::lockDepth(kSmallName), 1U);
  }

  LibcFaults faults;
};

class FirstOpenFault : public SegmentFaultTest, public testing::WithParamInterface<int> {};

TEST_P(FirstOpenFault, GivesShmOpenErrorAndNoSecondTry) {
  faults.fail(Call::shmOpen, {GetParam()});
  SmallSegment sut(kSmallName);
  EXPECT_EQ(faults.shmOpens.size(), 1U);
  EXPECT_EQ(sut.fd, -1);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(122, "shm_open error\n")));
  expectAliveButUnusable(sut);
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, FirstOpenFault, testing::Values(EACCES, EMFILE, ENFILE, ENOMEM, ENOSPC));

TEST_F(SegmentFaultTest, ASecondOpenThatIsRefusedIsTriedOnceWithoutCreation) {
  makeObject(Bytes(kSmallSize, 5));
  faults.fail(Call::shmOpen, {EEXIST, EACCES, 0});
  faults.shmOpens.clear();
  SmallSegment sut(kSmallName);
  ASSERT_EQ(faults.shmOpens.size(), 3U);
  EXPECT_EQ(faults.shmOpens[1].flags, O_CREAT | O_RDWR);
  EXPECT_EQ(faults.shmOpens[2].flags, O_RDWR);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(recordOf(sut).words[0], 0x05050505U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(SegmentFaultTest, AThirdOpenThatIsRefusedTooShowsAtTheMapping) {
  faults.fail(Call::shmOpen, {EEXIST, EACCES, EACCES});
  SmallSegment sut(kSmallName);
  EXPECT_EQ(faults.shmOpens.size(), 3U);
  EXPECT_EQ(sut.fd, -1);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(151, "mmap error\n")));
  expectAliveButUnusable(sut);
}

TEST_F(SegmentFaultTest, ASecondOpenThatFailsOtherwiseShowsAtTheMapping) {
  faults.fail(Call::shmOpen, {EEXIST, EMFILE});
  SmallSegment sut(kSmallName);
  EXPECT_EQ(faults.shmOpens.size(), 2U);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(151, "mmap error\n")));
  expectAliveButUnusable(sut);
}

TEST_F(SegmentFaultTest, ASegmentThatCannotBeSizedGivesFtruncateErrorAndIsNotMapped) {
  faults.fail(Call::ftruncate, {ENOSPC});
  SmallSegment sut(kSmallName);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(135, "ftruncate error\n")));
  expectAliveButUnusable(sut);
}

TEST_F(SegmentFaultTest, AFullFileSystemGivesFtruncateErrorAndNothingIsMapped) {
  faults.fail(Call::fallocate, {ENOSPC});
  SmallSegment sut(kSmallName);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(135, "ftruncate error\n")));
  expectAliveButUnusable(sut);
}

TEST_F(SegmentFaultTest, AShortSegmentThatCannotBeCompletedGivesFtruncateErrorToo) {
  makeObject(Bytes(3, 9));
  faults.fail(Call::fallocate, {ENOSPC});
  SmallSegment sut(kSmallName);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(135, "ftruncate error\n")));
  expectAliveButUnusable(sut);
}

TEST_F(SegmentFaultTest, AReservationThatASignalInterruptedIsTriedAgain) {
  faults.fail(Call::fallocate, {EINTR, EINTR, 0});
  SmallSegment sut(kSmallName);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(SegmentFaultTest, AFailedMappingOfACreatorGivesMmapError) {
  faults.fail(Call::mmap, {ENOMEM});
  SmallSegment sut(kSmallName);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(151, "mmap error\n")));
  expectAliveButUnusable(sut);
}

TEST_F(SegmentFaultTest, AFailedMappingOfAnAttacherGivesMmapErrorAndChangesNothing) {
  const Bytes contents = patternOf(kSmallSize);
  makeObject(contents);
  faults.fail(Call::mmap, {ENOMEM});
  SmallSegment sut(kSmallName);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(151, "mmap error\n")));
  expectAliveButUnusable(sut);
  EXPECT_EQ(SegmentView(kSmallName).copy(), contents);
}

TEST_F(SegmentFaultTest, TheDescriptorOfAnUnmappedSegmentIsClosedWithTheObject) {
  faults.fail(Call::mmap, {ENOMEM});
  int fd = -1;
  {
    SmallSegment sut(kSmallName);
    fd = sut.fd;
    ASSERT_NE(fd, -1);
  }
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(SegmentFaultTest, AFailedObjectStaysUnusableWhileTheNextOneOfTheNameWorks) {
  faults.fail(Call::fallocate, {ENOSPC});
  SmallSegment failed(kSmallName);
  SmallSegment sut(kSmallName);
  EXPECT_NE(sut.mapping, MAP_FAILED);
  EXPECT_EQ(statusOf(sut).st_size, static_cast<off_t>(kSmallSize));
  EXPECT_EQ(recordOf(sut).words[5], 0U);
  EXPECT_EQ(failed.mapping, MAP_FAILED);
}

}  // namespace
