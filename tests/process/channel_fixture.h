// What the tests of the channel share: its names in /dev/shm, and a clean start.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/child.h"
#include "tests/support/shm_files.h"

struct Segment {
  const char* name;
  std::size_t size;           // of the object in /dev/shm
  std::uint32_t recordBytes;  // what its first word says
};

inline std::ostream& operator<<(std::ostream& out, const Segment& segment) {
  return out << segment.name;
}

constexpr Segment kStatusSegment = {"iOSAppCommonLocalMem_ConnectStatus", 308, 304};
constexpr Segment kFromHUSegment = {"iOSAppMem_Device1_From_HU", 164008, 164004};
constexpr Segment kFromDeviceSegment = {"iOSAppMem_Device1_From_Device", 164008, 164004};
constexpr Segment kAppInfoSegment = {"iOSAppCommonLocalMem_AppInfo", 5448, 5444};
constexpr Segment kSegments[] = {kStatusSegment, kFromHUSegment, kFromDeviceSegment, kAppInfoSegment};

constexpr const char* kLogObject = "VQSharedMemNotifier.log";

inline std::string lockObject(const Segment& segment) {
  return std::string(segment.name) + ".lock";
}

// Offsets in the segments.
constexpr std::size_t kRecord = 4;
constexpr std::size_t kSlotStride = 4100;
constexpr std::size_t kSlotSize = 4096;
constexpr std::size_t kWriteIndex = kRecord + 164000;
constexpr std::size_t kEntryStride = 272;
constexpr std::size_t kAppCount = kRecord + 5440;

class ChannelTest : public testing::Test {
 protected:
  using Child = test_support::Child;

  // Several tests of one run share a /dev/shm. Here and not in SetUp: fixtures have children as members.
  ChannelTest() { test_support::clearShm(); }

  // Roles say "ready" when their objects are up.
  static void expectReady(Child& child) { ASSERT_TRUE(child.expect("ready")); }

  // A registration reaches the server's table on its delivery thread, some time after the client is ready.
  static void expectServerKnowsApp(Child& server, int appId, const std::string& launchString) {
    const std::string question = "launch-string-of " + std::to_string(appId);
    ASSERT_TRUE(test_support::waitUntil([&] { return server.ask(question) == launchString; }));
  }
};

inline std::string testNameOf(const testing::TestParamInfo<Segment>& info) {
  return info.param.name;
}
