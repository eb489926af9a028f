// A small segment of its own for the tests of VQSharedMemory.
#pragma once

#include <string>

#include "VQFramework/SharedMemory/VQSharedMemory.h"
#include "channel_fixture.h"

struct SmallRecord {
  std::uint32_t words[6];
};

using SmallSegment = VQSharedMemory<SmallRecord, 1>;

constexpr const char* kSmallName = "LinkAppUnitSegment";
constexpr std::size_t kSmallSize = 4 + sizeof(SmallRecord);

class SegmentTest : public testing::Test {
 protected:
  void SetUp() override {
    removeSegments();
    vqfake::reset();
  }
  void TearDown() override { removeSegments(); }

  static std::string longName(std::size_t length) { return std::string(length, 'n'); }

  static SmallRecord& recordOf(const SmallSegment& segment) {
    return *reinterpret_cast<SmallRecord*>(static_cast<char*>(segment.mapping) + 4);
  }

  // A segment as a creator that died half-way, or an older system, would have left it.
  static void makeObject(const Bytes& contents, mode_t mode = 0664) {
    const int fd = shm_open((std::string("/") + kSmallName).c_str(), O_CREAT | O_EXCL | O_RDWR, mode);
    ASSERT_NE(fd, -1);
    ASSERT_EQ(write(fd, contents.data(), contents.size()), static_cast<ssize_t>(contents.size()));
    close(fd);
  }

  static bool exists(const std::string& name) {
    const int fd = shm_open(("/" + name).c_str(), O_RDONLY, 0);
    if (fd != -1) {
      close(fd);
    }
    return fd != -1;
  }

  static struct stat statusOf(const SmallSegment& segment) {
    struct stat status = {};
    EXPECT_EQ(fstat(segment.fd, &status), 0);
    return status;
  }

 private:
  static void removeSegments() {
    for (const std::string& name : {std::string(kSmallName), longName(248), longName(249)}) {
      shm_unlink(("/" + name).c_str());
    }
  }
};
