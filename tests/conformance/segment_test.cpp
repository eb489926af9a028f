// Segments as the product makes them: every process finds the same record at the same place.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "VQFramework/SharedMemory/VQSharedMemory.h"
#include "tests/conformance/log_lines.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::Worker;

struct Record {
  std::uint32_t number;
  char text[5000];  // more than a page
};
static_assert(sizeof(Record) == 5004, "no padding");

using Segment = VQSharedMemory<Record, 1>;
constexpr const char* kName = "conformance.segment";

Record* recordOf(const Segment& segment) {
  return reinterpret_cast<Record*>(static_cast<char*>(segment.mapping) + 4);
}

// The segment as the file system has it, whatever the framework says of it.
class File {
 public:
  explicit File(const char* name, int flags = O_RDWR) : fd_(shm_open((std::string("/") + name).c_str(), flags, 0600)) {}
  ~File() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool isThere() const { return fd_ != -1; }
  struct stat status() const {
    struct stat result = {};
    EXPECT_EQ(fstat(fd_, &result), 0);
    return result;
  }
  bool cutTo(off_t size) const { return ftruncate(fd_, size) == 0; }
  std::uint32_t word(off_t offset) const {
    std::uint32_t result = 0;
    EXPECT_EQ(pread(fd_, &result, sizeof result, offset), static_cast<ssize_t>(sizeof result));
    return result;
  }

 private:
  const int fd_;
};

class SegmentTest : public testing::Test {
 protected:
  SegmentTest() { shm_unlink((std::string("/") + kName).c_str()); }
};

TEST_F(SegmentTest, IsMadeByTheFirstWithItsSizeWordAndAnEmptyRecord) {
  const Segment sut(kName);
  ASSERT_NE(sut.mapping, MAP_FAILED);
  EXPECT_NE(sut.fd, -1);
  EXPECT_TRUE(sut.isCreator);
  const File file(kName);
  ASSERT_TRUE(file.isThere());
  EXPECT_EQ(file.status().st_size, 5008);
  EXPECT_EQ(file.word(0), 5004U);
  EXPECT_EQ(recordOf(sut)->number, 0U);
  EXPECT_EQ(std::string(recordOf(sut)->text, sizeof recordOf(sut)->text), std::string(5000, '\0'));
}

TEST_F(SegmentTest, HasItsRecordAtByteFour) {
  const Segment sut(kName);
  ASSERT_NE(sut.mapping, MAP_FAILED);
  recordOf(sut)->number = 0xA1B2C3D4U;
  EXPECT_EQ(File(kName).word(4), 0xA1B2C3D4U);
}

TEST_F(SegmentTest, IsLeftAsItIsByWhoeverAttaches) {
  const Segment first(kName);
  ASSERT_NE(first.mapping, MAP_FAILED);
  recordOf(first)->number = 17;
  memset(recordOf(first)->text, 'x', sizeof recordOf(first)->text);
  const Segment sut(kName);
  ASSERT_NE(sut.mapping, MAP_FAILED);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(recordOf(sut)->number, 17U);
  EXPECT_EQ(std::string(recordOf(sut)->text, sizeof recordOf(sut)->text), std::string(5000, 'x'));
}

TEST_F(SegmentTest, IsOneRecordForAllItsObjects) {
  const Segment first(kName);
  const Segment sut(kName);
  ASSERT_TRUE(first.mapping != MAP_FAILED && sut.mapping != MAP_FAILED);
  recordOf(sut)->number = 18;
  EXPECT_EQ(recordOf(first)->number, 18U);
}

TEST_F(SegmentTest, OutlivesItsObjectsWithWhatItHolds) {
  {
    const Segment passing(kName);
    ASSERT_NE(passing.mapping, MAP_FAILED);
    recordOf(passing)->number = 19;
  }
  const Segment sut(kName);
  ASSERT_NE(sut.mapping, MAP_FAILED);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(recordOf(sut)->number, 19U);
}

TEST_F(SegmentTest, OfACreatorThatDiedBeforeItHadItsSizeIsBroughtToSize) {
  for (const off_t size : {0, 3, 4, 5007}) {
    ASSERT_TRUE(File(kName, O_RDWR | O_CREAT).cutTo(size));
    const Segment sut(kName);
    ASSERT_NE(sut.mapping, MAP_FAILED) << size;
    EXPECT_EQ(File(kName).status().st_size, 5008) << size;
    EXPECT_EQ(recordOf(sut)->text[4999], '\0') << size;
    recordOf(sut)->text[4999] = 'x';
  }
}

TEST_F(SegmentTest, HasTheModeThatTheUmaskLeaves) {
  const mode_t before = umask(027);
  const Segment sut(kName);
  umask(before);
  EXPECT_EQ(File(kName).status().st_mode & 0777U, 0640U);
}

TEST_F(SegmentTest, IsMadeUnderTheLockOfItsName) {
  const VQSharedSyncObject lock(kName);
  std::unique_ptr<Worker> maker;
  {
    const VQSyncGuard guard(lock);
    maker = std::make_unique<Worker>([] { const Segment sut(kName); });
    EXPECT_TRUE(maker->isHeldUp());
    EXPECT_FALSE(File(kName).isThere());
  }
  EXPECT_TRUE(maker->ends());
  EXPECT_TRUE(File(kName).isThere());
}

TEST_F(SegmentTest, IsItsOwnLock) {
  const Segment sut(kName);
  const VQSharedSyncObject lock(kName);
  std::unique_ptr<Worker> other;
  {
    const VQSyncGuard guard(sut);
    other = std::make_unique<Worker>([&lock] { const VQSyncGuard waits(lock); });
    EXPECT_TRUE(other->isHeldUp());
  }
  EXPECT_TRUE(other->ends());
}

TEST_F(SegmentTest, OfTheLongestNameIsMapped) {
  const std::string name = "conformance." + std::string(VQSharedSyncObject::kMaxNameLength - 12, 's');
  const Segment sut(name.c_str());
  EXPECT_NE(sut.mapping, MAP_FAILED);
  shm_unlink(("/" + name).c_str());
}

TEST_F(SegmentTest, OfAnUnusableNameIsAliveAndNotMapped) {
  const std::string tooLong(VQSharedSyncObject::kMaxNameLength + 1, 's');
  const conformance::LogLines log;
  for (const char* const name : {static_cast<const char*>(nullptr), "", tooLong.c_str()}) {
    const Segment sut(name);
    EXPECT_EQ(sut.mapping, MAP_FAILED);
    EXPECT_EQ(sut.fd, -1);
    EXPECT_FALSE(sut.isCreator);
    const VQSyncGuard guard(sut);
  }
}

}  // namespace
