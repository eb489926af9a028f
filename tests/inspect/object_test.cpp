// Reading objects that may be anything and change at any moment.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <numeric>

#include "inspect/object.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using inspect::Bytes;
using inspect::kSharedMemory;
using inspect::Object;
using test_support::shmFile;

class ObjectOutside : public InspectTest {};

std::vector<std::uint8_t> someBytes(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

void make(const std::vector<std::uint8_t>& bytes) {
  hand_made::makeObject("it", bytes.size());
  ASSERT_TRUE(test_support::pokeShm("it", 0, bytes.data(), bytes.size()));
}

TEST_F(ObjectOutside, that_is_not_there_is_no_problem_and_reads_as_nothing) {
  const Object sut(kSharedMemory, "it");
  EXPECT_FALSE(sut.isOpen());
  EXPECT_FALSE(sut.facts().exists);
  EXPECT_EQ(sut.facts().problem, "");
  EXPECT_EQ(sut.copy(0, 8).size(), 0U);
  EXPECT_FALSE(sut.isCurrent());
}

TEST_F(ObjectOutside, tells_size_mode_and_owner) {
  make(someBytes(100));
  ASSERT_EQ(chmod(shmFile("it").c_str(), 0640), 0);
  const Object sut(kSharedMemory, "it");
  EXPECT_TRUE(sut.facts().exists);
  EXPECT_EQ(sut.facts().size, 100U);
  EXPECT_EQ(sut.facts().mode, 0640U);
  EXPECT_EQ(sut.facts().owner, getuid());
}

TEST_F(ObjectOutside, gives_what_is_there_and_no_more) {
  make(someBytes(10));
  const Object sut(kSharedMemory, "it");
  EXPECT_EQ(sut.copy(4, 100).all(), (std::vector<std::uint8_t>{5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(sut.copy(10, 1).size(), 0U);
  EXPECT_EQ(sut.copy(1ULL << 62, 1).size(), 0U);
}

TEST_F(ObjectOutside, may_shrink_while_it_is_open) {
  make(someBytes(10000));
  const Object sut(kSharedMemory, "it");
  ASSERT_EQ(truncate(shmFile("it").c_str(), 3), 0);
  EXPECT_EQ(sut.copy(0, 10000).all(), someBytes(3));
  EXPECT_EQ(sut.copyStable(0, 10000).bytes.all(), someBytes(3));
}

TEST_F(ObjectOutside, is_read_without_being_mapped_or_opened_for_writing) {
  make(someBytes(10));
  const Object sut(kSharedMemory, "it");
  ASSERT_EQ(sut.copy(0, 10).size(), 10U);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    EXPECT_THAT(line, testing::Not(testing::HasSubstr("/dev/shm/")));
  }
  unsigned int found = 0;
  for (int fd = 0; fd < 100; ++fd) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && status.st_ino == sut.facts().inode && status.st_dev == sut.facts().device) {
      EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
      ++found;
    }
  }
  EXPECT_EQ(found, 1U);
}

TEST_F(ObjectOutside, keeps_its_times_and_its_holes) {
  hand_made::makeObject("it", 1 << 20);
  struct stat before = {};
  ASSERT_EQ(stat(shmFile("it").c_str(), &before), 0);
  const Object sut(kSharedMemory, "it");
  ASSERT_EQ(sut.copyStable(0, 1 << 20).bytes.size(), std::size_t{1} << 20);
  struct stat after = {};
  ASSERT_EQ(stat(shmFile("it").c_str(), &after), 0);
  EXPECT_EQ(after.st_blocks, before.st_blocks);
  EXPECT_EQ(after.st_atim.tv_sec, before.st_atim.tv_sec);
  EXPECT_EQ(after.st_atim.tv_nsec, before.st_atim.tv_nsec);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
}

TEST_F(ObjectOutside, that_is_a_pipe_a_link_or_a_folder_is_told_and_not_waited_for) {
  ASSERT_EQ(mkfifo(shmFile("pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("/etc/passwd", shmFile("link").c_str()), 0);
  ASSERT_EQ(mkdir(shmFile("folder").c_str(), 0700), 0);
  for (const char* const name : {"pipe", "link", "folder"}) {
    const Object sut(kSharedMemory, name);
    EXPECT_FALSE(sut.isOpen()) << name;
    EXPECT_TRUE(sut.facts().exists) << name;
    EXPECT_EQ(sut.facts().problem, "is no regular file") << name;
  }
  rmdir(shmFile("folder").c_str());
}

TEST_F(ObjectOutside, is_current_until_its_name_leads_elsewhere) {
  make(someBytes(10));
  const Object sut(kSharedMemory, "it");
  EXPECT_TRUE(sut.isCurrent());
  make(someBytes(10));
  EXPECT_FALSE(sut.isCurrent());
  EXPECT_EQ(sut.copy(0, 10).size(), 10U);
}

TEST(BytesOfAnObject, are_zero_beyond_their_end) {
  const Bytes sut(std::vector<std::uint8_t>{1, 2, 3, 4, 5});
  EXPECT_EQ(sut.at<std::uint32_t>(0), 0x04030201U);
  EXPECT_EQ(sut.at<std::uint32_t>(2), 0U);
  EXPECT_EQ(sut.at<std::uint8_t>(4), 5);
  EXPECT_EQ(sut.at<std::uint64_t>(static_cast<std::size_t>(-1)), 0U);
  EXPECT_EQ(sut.part(3, 100), (std::vector<std::uint8_t>{4, 5}));
  EXPECT_TRUE(sut.part(100, 100).empty());
  EXPECT_EQ(sut.text(0, 100).size(), 5U);
}

}  // namespace
