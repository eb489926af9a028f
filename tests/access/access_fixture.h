// What the tests of access rights share: who may do what with which object, looked at from outside.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/access/users.h"
#include "tests/process/channel_fixture.h"
#include "tests/support/wait_until.h"

namespace access_tests {

constexpr const char* kSettingsFile = "BtSetting.ini";

// Log lines of a process that may not open what it needs.
constexpr const char* kNoSegment = "[VQFramework/SharedMemory/VQSharedMemory:151 VQSharedMemory] mmap error\n";
constexpr const char* kNoLock = "\" cannot be shared with other processes: shm_open: Permission denied\n";
constexpr const char* kNoLog =
    "[VQFramework/SharedMemory/VQSharedMemNotifier:0 VQSharedMemNotifier 1] notifications are off, the log cannot be "
    "shared with other processes: shm_open: Permission denied\n";

// What a client says that hears of the device: connected, and with an open session.
inline std::string connectedInfo(const std::string& app) {
  return "info 1 spp 0 - usb 1 " + app + " iap 2 hfp 0 00:00:00:00:00:00";
}
inline std::string sessionInfo(const std::string& app) {
  return "info 1 spp 0 - usb 2 " + app + " iap 2 hfp 0 00:00:00:00:00:00";
}

// The objects of the channel in /dev/shm.
inline std::vector<std::string> channelObjects() {
  std::vector<std::string> names;
  for (const Segment& segment : kSegments) {
    names.emplace_back(segment.name);
    names.push_back(lockObject(segment));
  }
  names.emplace_back(kLogObject);
  return names;
}

class AccessTest : public ChannelTest {
 public:
  // What is skipped here does not get as far as SetUp.
  AccessTest() {
    needUsers();
    if (!IsSkipped() && !HasFatalFailure()) {
      folder_ = makeFolder();
    }
  }
  ~AccessTest() override { std::filesystem::remove_all(folder_); }

 protected:
  void SetUp() override { ASSERT_EQ(test_support::shmMode(""), 01777U) << "/dev/shm is not what it is on every Linux"; }

  // A folder that the shared group may write, as an integrator makes it; what lies in it belongs to that group.
  const std::string& folder() const { return folder_; }
  std::string settingsFile() const { return folder_ + "/" + kSettingsFile; }

  static void expectServerHasDevice(Child& server) { ASSERT_EQ(server.ask("connect 0 1"), "ok"); }

 private:
  static void needUsers() {
    static const Switching switching = trySwitching();
    if (switching.isRefused) {
      GTEST_SKIP() << "NOT TESTED: this process may not become another user (" << switching.error
                   << "). Run the tests as root, or as a user with an entry of at least 6 numbers in /etc/subuid and "
                      "/etc/subgid where newuidmap and newgidmap are installed (Debian: uidmap).";
    }
    ASSERT_EQ(switching.error, "");
  }

  static std::string makeFolder() {
    // Where every user gets to, whoever owns the folder for temporary files.
    std::string name = test_support::shmFile("settings-XXXXXX");
    const bool isMade = mkdtemp(name.data()) != nullptr;
    EXPECT_TRUE(isMade && chown(name.c_str(), 0, kSharedGroup) == 0 && chmod(name.c_str(), 02775) == 0);
    return name;
  }

  std::string folder_;
};

}  // namespace access_tests
