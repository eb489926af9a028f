#include "inspect/ring_contents.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "platform/reference/message_log_layout.h"

namespace inspect {
namespace {

constexpr int kTries = 4;
constexpr std::uint32_t kSlotCount = iOSAppCommonDataList::kSlotCount;

std::uint32_t identifierOf(RingId id) {
  return id == RingId::kFromHU ? kIdFromHU : kIdFromDevice;
}

// The slot that a message announces in this ring; none where it announces none, or one that no ring has.
std::optional<std::uint32_t> slotOf(const Message& message, RingId id) {
  const auto announcement = message.id == identifierOf(id) ? announcementOf(message) : std::nullopt;
  return announcement && announcement->slotIndex < kSlotCount ? std::optional(announcement->slotIndex) : std::nullopt;
}

RingContent readSlot(const Object& ring, std::uint32_t slot) {
  const std::uint64_t begin = kSizeWordBytes + slot * sizeof(iOSAppCommonDataSlot);
  const Bytes bytes = ring.copy(begin, sizeof(iOSAppCommonDataSlot));
  const std::uint32_t size = bytes.at<std::uint32_t>(offsetof(iOSAppCommonDataSlot, size));
  if (bytes.size() < sizeof(iOSAppCommonDataSlot) || size == 0 || size > iOSAppCommonDataList::kSlotBytes) {
    return {RingContent::State::kUnreadable, 0, {}};
  }
  return {RingContent::State::kUnsure, size, bytes.part(0, size)};
}

// The slot of the next write; beyond the ring where there is none.
std::uint32_t nextSlotOf(const Object& ring) {
  const Bytes word = ring.copy(kSizeWordBytes + offsetof(iOSAppCommonDataList, writeIndex), sizeof(std::uint32_t));
  return word.size() == sizeof(std::uint32_t) ? word.at<std::uint32_t>(0) % kSlotCount : kSlotCount;
}

}  // namespace

const char* nameOf(RingContent::State state) {
  constexpr std::array<const char*, 5> kNames = {"none", "certain", "unsure", "overwritten", "unreadable"};
  return kNames[static_cast<std::size_t>(state)];
}

RingContents::RingContents(std::string folder) : folder_(std::move(folder)) {}

const Object& RingContents::ring(RingId id) {
  Object& object = id == RingId::kFromHU ? fromHU_ : fromDevice_;
  if (!object.isCurrent()) {
    object = Object(folder_, segmentOf(id));
  }
  return object;
}

std::vector<RingContent> RingContents::fetch(const std::vector<Message>& messages, const LogReader& log,
                                             std::uint64_t position) {
  std::vector<RingContent> contents(messages.size());
  for (const RingId id : {RingId::kFromHU, RingId::kFromDevice}) {
    fetchRing(id, messages, log, position, contents);
  }
  return contents;
}

// Of several announcements of one slot the last one counts.
std::vector<RingContents::Wanted> RingContents::wantedOf(RingId id, const std::vector<Message>& messages,
                                                         std::vector<RingContent>& contents) {
  std::vector<Wanted> wanted;
  std::array<bool, kSlotCount> isNamed = {};
  for (std::size_t index = messages.size(); index-- > 0;) {
    const auto slot = slotOf(messages[index], id);
    if (slot && !std::exchange(isNamed[*slot], true)) {
      wanted.push_back({index, *slot});
    } else if (slot) {
      contents[index].state = RingContent::State::kOverwritten;
    } else if (messages[index].id == identifierOf(id) && !messages[index].isForNobody) {
      contents[index].state = RingContent::State::kUnreadable;
    }
  }
  return wanted;  // the newest first
}

void RingContents::fetchRing(RingId id, const std::vector<Message>& messages, const LogReader& log,
                             std::uint64_t position, std::vector<RingContent>& contents) {
  const std::vector<Wanted> wanted = wantedOf(id, messages, contents);
  if (wanted.empty()) {
    return;
  }
  const Object& object = ring(id);
  std::vector<Wanted> open = wanted;
  for (int tries = 0; tries < kTries && !open.empty(); ++tries) {
    for (const Wanted& one : open) {
      contents[one.index] = readSlot(object, one.slot);
    }
    const std::uint32_t next = nextSlotOf(object);
    std::vector<Message> later;
    const LogReader::Range range = log.read(position, log.head(), vqframework::kSlotCount, later);
    std::array<bool, kSlotCount> isNamedLater = {};
    std::uint32_t last = wanted.front().slot;
    for (const Message& message : later) {
      if (const auto slot = slotOf(message, id)) {
        isNamedLater[*slot] = true;
        last = *slot;
      }
    }
    const bool isAtRest = next == (last + 1) % kSlotCount && range.overwritten == 0 && range.damaged == 0;
    const auto isSettled = [&](const Wanted& one) {
      RingContent& content = contents[one.index];
      if (isNamedLater[one.slot]) {
        content = {RingContent::State::kOverwritten, 0, {}};
      } else if (content.state == RingContent::State::kUnsure && isAtRest && one.slot != next) {
        content.state = RingContent::State::kCertain;
      }
      return content.state != RingContent::State::kUnsure;
    };
    open.erase(std::remove_if(open.begin(), open.end(), isSettled), open.end());
  }
}

}  // namespace inspect
