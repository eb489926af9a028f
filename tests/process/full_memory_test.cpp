// /dev/shm is full when one object of the channel is to be made. Every object in turn.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

#include "tests/process/channel_fixture.h"

namespace {

constexpr const char* kFiller = "filler";

struct FullObject {
  std::string name;
  std::string logLine;
};

std::ostream& operator<<(std::ostream& out, const FullObject& object) {
  return out << object.name;
}

std::vector<FullObject> objectsWithTheirLines() {
  const std::string reason = "posix_fallocate: No space left on device\n";
  std::vector<FullObject> objects = {
      {kLogObject,
       "[VQFramework/SharedMemory/VQSharedMemNotifier:0 VQSharedMemNotifier 1] notifications are off, the "
       "log cannot be shared with other processes: " +
           reason}};
  for (const Segment& segment : kSegments) {
    objects.push_back({segment.name, "[VQFramework/SharedMemory/VQSharedMemory:135 VQSharedMemory] ftruncate error\n"});
    objects.push_back({lockObject(segment),
                       "[VQFramework/SharedMemory/VQSharedSyncObject:0 VQSharedSyncObject 1] lock "
                       "\"" +
                           std::string(segment.name) + "\" cannot be shared with other processes: " + reason});
  }
  return objects;
}

// A small /dev/shm in which everything lies but the object, and no page is left.
class FullMemory : public ChannelTest, public testing::WithParamInterface<FullObject> {
 protected:
  void SetUp() override {
    if (mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=8m,mode=1777") != 0) {
      GTEST_SKIP() << "no file system of its own for this test: " << strerror(errno);
    }
    isMounted_ = true;
    {
      Child server("server");
      expectReady(server);
      Child client("client", {"first", "launch"});
      expectReady(client);
    }
    ASSERT_TRUE(test_support::removeShm(GetParam().name));
    ASSERT_TRUE(fillUp());
  }

  void TearDown() override {
    if (isMounted_) {
      EXPECT_EQ(umount2("/dev/shm", MNT_DETACH), 0);
    }
  }

  static bool fillUp() {
    struct statvfs status = {};
    if (statvfs("/dev/shm", &status) != 0) {
      return false;
    }
    const int fd = open(test_support::shmFile(kFiller).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const bool isFilled =
        fd != -1 && posix_fallocate(fd, 0, static_cast<off_t>(status.f_bavail * status.f_frsize)) == 0;
    close(fd);
    return isFilled && statvfs("/dev/shm", &status) == 0 && status.f_bavail == 0;
  }

  bool isMounted_ = false;
};

TEST_P(FullMemory, gives_one_exact_log_line_per_object_and_a_process_that_lives) {
  Child server("server");
  expectReady(server);
  Child client("client", {"second", "launch"});
  expectReady(client);

  // One line for each endpoint that misses the object: the table's and the registry's are two in the server's process.
  for (Child* const child : {&server, &client}) {
    const std::string log = child->log();
    EXPECT_NE(log.find(GetParam().logLine), std::string::npos);
    EXPECT_EQ(child->countInLog("\n"), child->countInLog(GetParam().logLine));
  }
}

TEST_P(FullMemory, leaves_every_operation_harmless) {
  Child server("server");
  expectReady(server);
  Child client("client", {"second", "launch"});
  expectReady(client);

  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  EXPECT_EQ(server.ask("open 1 5"), "ok");
  EXPECT_EQ(server.ask("open 2 6"), "ok");
  EXPECT_EQ(server.ask("data 5 4096 1"), "ok");
  EXPECT_EQ(server.ask("data 6 4096 1"), "ok");
  EXPECT_EQ(server.ask("result 5 1"), "ok");
  EXPECT_NE(client.ask("launch 0"), "");
  EXPECT_NE(client.ask("send 4096 1"), "");

  EXPECT_EQ(client.finish(), 0);
  EXPECT_EQ(server.finish(), 0);
}

TEST_P(FullMemory, is_over_for_processes_that_start_when_there_is_room_again) {
  {
    Child hindered("server");
    expectReady(hindered);
  }
  ASSERT_TRUE(test_support::removeShm(kFiller));

  Child server("server", {"phone"});
  expectReady(server);
  Child client("client", {"late", "launch"});
  expectReady(client);

  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  EXPECT_TRUE(client.expect("info 1 spp 0 - usb 1 late iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(client.ask("launch 0"), "1");
  EXPECT_TRUE(client.expect("info 1 spp 0 - usb 2 late iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(client.ask("exchange 1 50"), "ok");
  EXPECT_EQ(server.log() + client.log(), "");
}

std::string nameOf(const testing::TestParamInfo<FullObject>& info) {
  std::string name = info.param.name;
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Channel, FullMemory, testing::ValuesIn(objectsWithTheirLines()), nameOf);

}  // namespace
