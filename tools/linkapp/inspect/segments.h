// The four segments as they lie, decoded. iOSAppRecords.h has their layout.
//
// Any process that may write a segment may have written anything: indexes are taken modulo, counts and sizes are
// bounded as the channel's own readers bound them, texts end with their record. What stands there is given beside what
// it is taken for. Nothing tells a torn copy of a segment from a whole one, since writers rely on its lock. A copy
// counts as whole when the next one was the same; otherwise `isChanging`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppRecords.h"
#include "inspect/object.h"

namespace inspect {

enum class RingId { kFromHU, kFromDevice };

constexpr const char* kConnectStatusSegment = "iOSAppCommonLocalMem_ConnectStatus";
constexpr const char* kFromHUSegment = "iOSAppMem_Device1_From_HU";
constexpr const char* kFromDeviceSegment = "iOSAppMem_Device1_From_Device";
constexpr const char* kAppInfoSegment = "iOSAppCommonLocalMem_AppInfo";
// In the order of their notify identifiers being listed in iOSAppRecords.h.
constexpr const char* kSegments[] = {kConnectStatusSegment, kFromHUSegment, kFromDeviceSegment, kAppInfoSegment};

constexpr std::size_t kSizeWordBytes = 4;

// What all four have.
struct Segment {
  ObjectFacts object;
  std::size_t recordBytes = 0;            // that belong there
  std::optional<std::uint32_t> sizeWord;  // as it stands; none where the segment has not even that
  bool isWhole = false;                   // all bytes of the record could be read
  bool isChanging = false;
};

// The record under this name is not used by anybody: messages travel in the log.
struct ConnectStatus {
  Segment segment;
  bool isBlank = true;  // all zero, as its creator left it
};

struct RingSlot {
  std::uint32_t size = 0;          // of the message; 0 = never written
  std::uint32_t sizeWord = 0;      // as it stands; above 4096 counts as never written
  std::vector<std::uint8_t> head;  // first bytes of the message, kHeadBytes at most
};

struct Ring {
  static constexpr std::size_t kHeadBytes = 64;

  Segment segment;
  RingId id = RingId::kFromHU;
  std::uint32_t writeIndexWord = 0;  // as it stands
  std::uint32_t nextSlot = 0;        // of the next write: the word modulo 40
  std::uint32_t written = 0;         // slots that hold a message
  std::vector<RingSlot> slots;       // 40, or none where the segment is not whole
};

struct RegisteredApp {
  std::uint32_t place = 0;  // index in the table
  std::uint32_t appId = 0;  // as it stands; place + 1 where nobody has damaged it
  std::string iAP1Name;     // each text as the channel's readers take it: up to a NUL or the end of the entry
  std::string appName;
  std::string launchString;
  bool isValid = false;  // readers accept it: it has an app id and a name
};

struct Table {
  Segment segment;
  std::uint32_t countWord = 0;  // as it stands
  std::uint32_t count = 0;      // entries that readers look at: 20 at most
  std::vector<RegisteredApp> apps;

  bool isFull() const { return count >= iOSAppInfoList::kEntryCount; }
};

ConnectStatus readConnectStatus(const Object& object);
Ring readRing(const Object& object, RingId id);
Table readTable(const Object& object);

const char* segmentOf(RingId id);
std::size_t recordBytesOf(const std::string& segment);

}  // namespace inspect
