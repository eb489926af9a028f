#include "record/entry.h"

#include <algorithm>
#include <array>

#include "record/bytes.h"

namespace record {
namespace {

constexpr std::size_t kMostName = 64;
constexpr std::size_t kMostCommand = 1024;
constexpr std::size_t kMostText = 300;  // of an entry of the registration table, or a reason
constexpr std::size_t kMostIdentifiers = 64;
constexpr std::size_t kMostPositions = 64;

constexpr std::uint8_t kForNobody = 1;
constexpr std::uint8_t kBefore = 2;

void put(ByteWriter& to, const Clock& clock) {
  to.number(clock.wall).number(clock.monotonic);
}

void put(ByteWriter& to, const ProcessSeen& process) {
  to.number(process.time).number(process.pid).number(process.startTime).number(process.user);
  to.number(static_cast<std::uint8_t>(process.state)).text(process.name, kMostName).text(process.command, kMostCommand);
}

void put(ByteWriter& to, const AppSeen& app) {
  to.number(app.time).number(app.place).number(app.owner).number(static_cast<std::uint8_t>(app.isValid ? 1 : 0));
  to.text(app.iAP1Name, kMostText).text(app.appName, kMostText).text(app.launchString, kMostText);
}

void put(ByteWriter& to, const ReceiverSeen& receiver) {
  to.number(receiver.time).number(receiver.pid).number(static_cast<std::uint8_t>(receiver.isGone ? 1 : 0));
  to.number(receiver.lost).text(receiver.name, kMostName);
  const std::size_t count = std::min(receiver.identifiers.size(), kMostIdentifiers);
  to.number(static_cast<std::uint16_t>(count));
  for (std::size_t i = 0; i < count; ++i) {
    to.number(receiver.identifiers[i]);
  }
}

void put(ByteWriter& to, const Taken& taken) {
  const std::size_t count = std::min(taken.positions.size(), kMostPositions);
  to.number(taken.time).number(static_cast<std::uint16_t>(count));
  for (std::size_t i = 0; i < count; ++i) {
    to.number(taken.positions[i].first).number(taken.positions[i].second);
  }
}

void put(ByteWriter& to, const Gap& gap) {
  to.number(gap.time).number(static_cast<std::uint8_t>(gap.kind)).number(gap.from).number(gap.count);
  const std::size_t count = std::min(gap.missed.size(), kMostIdentifiers);
  to.number(static_cast<std::uint16_t>(count));
  auto entry = gap.missed.begin();
  for (std::size_t i = 0; i < count; ++i, ++entry) {
    to.number(entry->first).number(entry->second);
  }
  to.text(gap.reason, kMostText);
}

// Records are padded with zeros: those at the end are left out.
void put(ByteWriter& to, const MessageSeen& seen) {
  const inspect::Message& message = seen.message;
  const auto end = message.payload.begin() + static_cast<std::ptrdiff_t>(message.size);
  const auto last = std::find_if(std::make_reverse_iterator(end), message.payload.rend(),
                                 [](std::uint8_t byte) { return byte != 0; });
  const auto kept = static_cast<std::uint16_t>(last.base() - message.payload.begin());
  const int flags = (message.isForNobody ? kForNobody : 0) | (seen.isBefore ? kBefore : 0);
  to.number(message.time).number(message.sequence).number(message.number).number(message.id).number(message.pid);
  to.number(message.sizeWord).number(static_cast<std::uint16_t>(message.size)).number(kept);
  to.number(static_cast<std::uint8_t>(flags)).number(static_cast<std::uint8_t>(seen.content.state));
  to.number(static_cast<std::uint16_t>(seen.content.size))
      .number(static_cast<std::uint16_t>(seen.content.bytes.size()));
  to.raw(message.payload.data(), kept).raw(seen.content.bytes.data(), seen.content.bytes.size());
}

void put(ByteWriter& to, const End& end) {
  to.number(end.time).text(end.reason, kMostText);
}

Clock takeClock(ByteReader& from) {
  Clock clock;
  clock.wall = from.number<std::uint64_t>();
  clock.monotonic = from.number<std::uint64_t>();
  return clock;
}

ProcessSeen takeProcess(ByteReader& from) {
  ProcessSeen process;
  process.time = from.number<std::uint64_t>();
  process.pid = from.number<std::uint32_t>();
  process.startTime = from.number<std::uint64_t>();
  process.user = from.number<std::uint32_t>();
  process.state = static_cast<char>(from.number<std::uint8_t>());
  process.name = from.text();
  process.command = from.text();
  return process;
}

bool takeApp(ByteReader& from, Entry& entry) {
  AppSeen app;
  app.time = from.number<std::uint64_t>();
  app.place = from.number<std::uint32_t>();
  app.owner = from.number<std::uint32_t>();
  app.isValid = from.number<std::uint8_t>() != 0;
  app.iAP1Name = from.text();
  app.appName = from.text();
  app.launchString = from.text();
  const bool isOfTable = app.place < iOSAppInfoList::kEntryCount;
  entry = std::move(app);
  return isOfTable;
}

bool takeReceiver(ByteReader& from, Entry& entry) {
  ReceiverSeen receiver;
  receiver.time = from.number<std::uint64_t>();
  receiver.pid = from.number<std::uint32_t>();
  receiver.isGone = from.number<std::uint8_t>() != 0;
  receiver.lost = from.number<std::uint64_t>();
  receiver.name = from.text();
  const auto count = from.number<std::uint16_t>();
  for (std::size_t i = 0; i < std::min<std::size_t>(count, kMostIdentifiers); ++i) {
    receiver.identifiers.push_back(from.number<std::uint32_t>());
  }
  entry = std::move(receiver);
  return count <= kMostIdentifiers;
}

bool takeTaken(ByteReader& from, Entry& entry) {
  Taken taken;
  taken.time = from.number<std::uint64_t>();
  const auto count = from.number<std::uint16_t>();
  for (std::size_t i = 0; i < std::min<std::size_t>(count, kMostPositions); ++i) {
    const auto pid = from.number<std::uint32_t>();
    taken.positions.emplace_back(pid, from.number<std::uint64_t>());
  }
  entry = std::move(taken);
  return count <= kMostPositions;
}

bool takeGap(ByteReader& from, Entry& entry) {
  Gap gap;
  gap.time = from.number<std::uint64_t>();
  const auto kind = from.number<std::uint8_t>();
  gap.kind = static_cast<Gap::Kind>(kind);
  gap.from = from.number<std::uint64_t>();
  gap.count = from.number<std::uint64_t>();
  const auto count = from.number<std::uint16_t>();
  for (std::size_t i = 0; i < std::min<std::size_t>(count, kMostIdentifiers); ++i) {
    const auto id = from.number<std::uint32_t>();
    gap.missed[id] = from.number<std::uint64_t>();
  }
  gap.reason = from.text();
  entry = std::move(gap);
  return count <= kMostIdentifiers && kind >= static_cast<std::uint8_t>(Gap::Kind::kOverwritten) &&
         kind <= static_cast<std::uint8_t>(Gap::Kind::kNoLog);
}

bool takeMessage(ByteReader& from, Entry& entry) {
  MessageSeen seen;
  inspect::Message& message = seen.message;
  message.time = from.number<std::uint64_t>();
  message.sequence = from.number<std::uint64_t>();
  message.number = from.number<std::uint32_t>();
  message.id = from.number<std::uint32_t>();
  message.pid = from.number<std::uint32_t>();
  message.sizeWord = from.number<std::uint32_t>();
  message.size = from.number<std::uint16_t>();
  const auto kept = from.number<std::uint16_t>();
  const auto flags = from.number<std::uint8_t>();
  const auto state = from.number<std::uint8_t>();
  seen.content.size = from.number<std::uint16_t>();
  const auto contentBytes = from.number<std::uint16_t>();
  message.isForNobody = (flags & kForNobody) != 0;
  seen.isBefore = (flags & kBefore) != 0;
  if (message.size > message.payload.size() || kept > message.size || (flags & ~(kForNobody | kBefore)) != 0 ||
      state > static_cast<std::uint8_t>(inspect::RingContent::State::kUnreadable) ||
      seen.content.size > iOSAppCommonDataList::kSlotBytes || contentBytes > seen.content.size) {
    return false;
  }
  seen.content.state = static_cast<inspect::RingContent::State>(state);
  const std::vector<std::uint8_t> payload = from.raw(kept);
  std::copy(payload.begin(), payload.end(), message.payload.begin());
  seen.content.bytes = from.raw(contentBytes);
  entry = std::move(seen);
  return true;
}

End takeEnd(ByteReader& from) {
  End end;
  end.time = from.number<std::uint64_t>();
  end.reason = from.text();
  return end;
}

bool take(std::uint16_t type, ByteReader& from, Entry& entry) {
  switch (static_cast<EntryType>(type)) {
    case EntryType::kClock:
      entry = takeClock(from);
      return true;
    case EntryType::kProcess:
      entry = takeProcess(from);
      return true;
    case EntryType::kApp:
      return takeApp(from, entry);
    case EntryType::kReceiver:
      return takeReceiver(from, entry);
    case EntryType::kTaken:
      return takeTaken(from, entry);
    case EntryType::kGap:
      return takeGap(from, entry);
    case EntryType::kMessage:
      return takeMessage(from, entry);
    case EntryType::kEnd:
      entry = takeEnd(from);
      return true;
  }
  return false;
}

std::array<std::uint32_t, 256> makeCrcTable() {
  constexpr std::uint32_t kPolynomial = 0xEDB88320U;
  std::array<std::uint32_t, 256> table = {};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) {
      value = (value & 1U) != 0 ? value >> 1U ^ kPolynomial : value >> 1U;
    }
    table[i] = value;
  }
  return table;
}

}  // namespace

EntryType typeOf(const Entry& entry) {
  return static_cast<EntryType>(entry.index() + 1);
}

std::uint64_t timeOf(const Entry& entry) {
  return std::visit(
      [](const auto& one) {
        using One = std::decay_t<decltype(one)>;
        if constexpr (std::is_same_v<One, Clock>) {
          return one.monotonic;
        } else if constexpr (std::is_same_v<One, MessageSeen>) {
          return one.message.time;
        } else {
          return one.time;
        }
      },
      entry);
}

std::vector<std::uint8_t> encode(const Entry& entry) {
  ByteWriter to;
  std::visit([&to](const auto& one) { put(to, one); }, entry);
  return std::move(to.bytes());
}

bool decode(std::uint16_t type, const std::uint8_t* bytes, std::size_t size, Entry& entry, std::string& mistake) {
  if (type < static_cast<std::uint16_t>(EntryType::kClock) || type > static_cast<std::uint16_t>(EntryType::kEnd)) {
    mistake = "an entry of type " + std::to_string(type) + ", which this version does not know";
    return false;
  }
  ByteReader from(bytes, size);
  if (!take(type, from, entry) || !from.isGood() || !from.isAtEnd()) {
    mistake = "an entry of type " + std::to_string(type) + " whose fields do not add up";
    return false;
  }
  return true;
}

const char* nameOf(Gap::Kind kind) {
  switch (kind) {
    case Gap::Kind::kOverwritten:
      return "overwritten";
    case Gap::Kind::kDamaged:
      return "damaged";
    case Gap::Kind::kNewLog:
      return "new-log";
    case Gap::Kind::kStoodStill:
      return "stood-still";
    case Gap::Kind::kNoLog:
      return "no-log";
  }
  return "";
}

std::uint32_t crc32(const std::uint8_t* bytes, std::size_t size, std::uint32_t before) {
  static const std::array<std::uint32_t, 256> kTable = makeCrcTable();
  std::uint32_t value = ~before;
  for (std::size_t i = 0; i < size; ++i) {
    value = value >> 8U ^ kTable[(value ^ bytes[i]) & 0xFFU];
  }
  return ~value;
}

}  // namespace record
