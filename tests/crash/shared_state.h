// The channel's objects in /dev/shm, looked at from outside.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace crash {

struct SegmentName {
  const char* name;
  std::size_t bytes;
  std::uint32_t recordBytes;  // what its first word says
};

constexpr SegmentName kStatus = {"iOSAppCommonLocalMem_ConnectStatus", 308, 304};
constexpr SegmentName kFromHU = {"iOSAppMem_Device1_From_HU", 164008, 164004};
constexpr SegmentName kFromDevice = {"iOSAppMem_Device1_From_Device", 164008, 164004};
constexpr SegmentName kAppInfo = {"iOSAppCommonLocalMem_AppInfo", 5448, 5444};
constexpr SegmentName kSegments[] = {kStatus, kFromHU, kFromDevice, kAppInfo};

std::string lockOf(const SegmentName& segment);

// Of a lock object or the log.
enum class ObjectState { kMissing, kWithoutSize, kUnfinished, kWhole };
ObjectState stateOfLock(const SegmentName& segment);
ObjectState stateOfLog();

// Bytes of a segment; empty where it has none there.
std::vector<unsigned char> bytesOf(const SegmentName& segment, std::size_t offset, std::size_t count);

// The locks that this thread holds, by the names of their objects.
std::vector<std::string> locksHeldBy(pid_t thread);

// Whether somebody sleeps until the lock in this object is free.
bool isLockWaitedFor(const std::string& object);

// What is wrong with the objects when everybody has ended: one that is not whole, a lock that is not free. Empty: none.
std::string faultOfObjects();

}  // namespace crash
