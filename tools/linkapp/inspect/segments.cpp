#include "inspect/segments.h"

#include <algorithm>
#include <cstddef>

namespace inspect {
namespace {

constexpr std::size_t kEntries = offsetof(iOSAppInfoList, entry);

// The whole segment; offsets in the result are the segment's, with the size word at 0.
Bytes read(const Object& object, std::size_t recordBytes, Segment& segment) {
  segment.object = object.facts();
  segment.recordBytes = recordBytes;
  StableCopy copy = object.copyStable(0, kSizeWordBytes + recordBytes);
  segment.isChanging = copy.isChanging;
  segment.isWhole = copy.bytes.size() == kSizeWordBytes + recordBytes;
  if (copy.bytes.size() >= kSizeWordBytes) {
    segment.sizeWord = copy.bytes.at<std::uint32_t>(0);
  }
  return std::move(copy.bytes);
}

RingSlot slotAt(const Bytes& bytes, std::uint32_t index) {
  const std::size_t begin = kSizeWordBytes + index * sizeof(iOSAppCommonDataSlot);
  RingSlot slot;
  slot.sizeWord = bytes.at<std::uint32_t>(begin + offsetof(iOSAppCommonDataSlot, size));
  slot.size = slot.sizeWord <= iOSAppCommonDataList::kSlotBytes ? slot.sizeWord : 0;
  slot.head = bytes.part(begin, std::min<std::size_t>(slot.size, Ring::kHeadBytes));
  return slot;
}

// A text that fills its field runs on into the next one.
std::string textAt(const Bytes& bytes, std::size_t entry, std::size_t field) {
  return bytes.text(entry + field, sizeof(iOSAppInfo) - field);
}

RegisteredApp appAt(const Bytes& bytes, std::uint32_t place) {
  const std::size_t entry = kSizeWordBytes + kEntries + place * sizeof(iOSAppInfo);
  RegisteredApp app;
  app.place = place;
  app.appId = bytes.at<std::uint32_t>(entry + offsetof(iOSAppInfo, appId));
  app.iAP1Name = textAt(bytes, entry, offsetof(iOSAppInfo, iAP1Name));
  app.appName = textAt(bytes, entry, offsetof(iOSAppInfo, appName));
  app.launchString = textAt(bytes, entry, offsetof(iOSAppInfo, launchString));
  app.isValid = app.appId != 0 && !app.appName.empty();
  return app;
}

}  // namespace

const char* segmentOf(RingId id) {
  return id == RingId::kFromHU ? kFromHUSegment : kFromDeviceSegment;
}

std::size_t recordBytesOf(const std::string& segment) {
  if (segment == kConnectStatusSegment) {
    return sizeof(iosapp_def_::ConnectStatusNotify);
  }
  return segment == kAppInfoSegment ? sizeof(iOSAppInfoList) : sizeof(iOSAppCommonDataList);
}

ConnectStatus readConnectStatus(const Object& object) {
  ConnectStatus status;
  const Bytes bytes = read(object, sizeof(iosapp_def_::ConnectStatusNotify), status.segment);
  const std::vector<std::uint8_t> record = bytes.part(kSizeWordBytes, bytes.size());
  status.isBlank = std::all_of(record.begin(), record.end(), [](std::uint8_t byte) { return byte == 0; });
  return status;
}

Ring readRing(const Object& object, RingId id) {
  Ring ring;
  ring.id = id;
  const Bytes bytes = read(object, sizeof(iOSAppCommonDataList), ring.segment);
  if (!ring.segment.isWhole) {
    return ring;
  }
  ring.writeIndexWord = bytes.at<std::uint32_t>(kSizeWordBytes + offsetof(iOSAppCommonDataList, writeIndex));
  ring.nextSlot = ring.writeIndexWord % iOSAppCommonDataList::kSlotCount;
  for (std::uint32_t index = 0; index < iOSAppCommonDataList::kSlotCount; ++index) {
    ring.slots.push_back(slotAt(bytes, index));
    ring.written += ring.slots.back().size != 0 ? 1U : 0U;
  }
  return ring;
}

Table readTable(const Object& object) {
  Table table;
  const Bytes bytes = read(object, sizeof(iOSAppInfoList), table.segment);
  if (!table.segment.isWhole) {
    return table;
  }
  table.countWord = bytes.at<std::uint32_t>(kSizeWordBytes + offsetof(iOSAppInfoList, count));
  table.count = std::min(table.countWord, iOSAppInfoList::kEntryCount);
  for (std::uint32_t place = 0; place < table.count; ++place) {
    table.apps.push_back(appAt(bytes, place));
  }
  return table;
}

}  // namespace inspect
