#include "inspect/log_view.h"

#include <algorithm>
#include <cstddef>

#include "platform/reference/message_log_layout.h"

namespace inspect {
namespace {

using vqframework::AttachedPlace;
using vqframework::IdentifierCount;
using vqframework::MessageLogObject;

constexpr std::uint32_t kGroupBits = (1U << vqframework::kGroupCount) - 1;

Receiver receiverAt(const Bytes& bytes, std::uint32_t place) {
  const std::size_t begin = offsetof(MessageLogObject, places) + place * sizeof(AttachedPlace);
  Receiver receiver;
  receiver.place = place;
  receiver.pid = bytes.at<std::uint32_t>(begin + offsetof(AttachedPlace, pid));
  receiver.startTime = bytes.at<std::uint64_t>(begin + offsetof(AttachedPlace, startTime));
  receiver.name = bytes.text(begin + offsetof(AttachedPlace, name), AttachedPlace::kNameBytes);
  receiver.identifierCount = bytes.at<std::uint32_t>(begin + offsetof(AttachedPlace, idCount));
  receiver.position = bytes.at<std::uint64_t>(begin + offsetof(AttachedPlace, position));
  receiver.lost = bytes.at<std::uint64_t>(begin + offsetof(AttachedPlace, lost));
  for (std::uint32_t i = 0; i < std::min(receiver.identifierCount, AttachedPlace::kIdentifiers); ++i) {
    receiver.identifiers.push_back(
        bytes.at<std::uint32_t>(begin + offsetof(AttachedPlace, ids) + i * sizeof(std::uint32_t)));
  }
  return receiver;
}

void readTallies(const Bytes& bytes, Log& log) {
  for (std::uint32_t i = 0; i < vqframework::kCountedIdentifiers; ++i) {
    const std::size_t begin = offsetof(MessageLogObject, counts) + i * sizeof(IdentifierCount);
    if (bytes.at<std::uint32_t>(begin + offsetof(IdentifierCount, isUsed)) == 0) {
      return;
    }
    log.tallies.push_back({bytes.at<std::uint32_t>(begin + offsetof(IdentifierCount, id)),
                           bytes.at<std::uint32_t>(begin + offsetof(IdentifierCount, posted))});
  }
}

}  // namespace

// Its words change with each message, so no two copies need be the same; each word by itself is whole.
Log readLog(const LogReader& reader) {
  Log log;
  log.object = reader.facts();
  log.problem = reader.problem();
  if (!reader.isUsable()) {
    return log;
  }
  log.headBefore = reader.head();
  const Bytes bytes = reader.object().copy(0, offsetof(MessageLogObject, slots));
  const std::uint32_t sleepers = bytes.at<std::uint32_t>(offsetof(MessageLogObject, sleepers));
  log.postedWord = bytes.at<std::uint32_t>(offsetof(MessageLogObject, posted));
  log.sleepers = sleepers >> vqframework::kGroupCount;
  log.sleepingGroups = sleepers & kGroupBits;
  log.owedGroups = static_cast<std::uint32_t>(bytes.at<std::uint64_t>(offsetof(MessageLogObject, owed))) & kGroupBits;
  log.postingLock = lockWordOf(bytes, offsetof(MessageLogObject, postingLock));
  readTallies(bytes, log);
  for (std::uint32_t place = 0; place < vqframework::kPlaceCount; ++place) {
    const Receiver receiver = receiverAt(bytes, place);
    if (receiver.pid != 0) {
      log.receivers.push_back(receiver);
    }
  }
  log.head = reader.head();  // after the positions: nobody is ahead of it
  return log;
}

}  // namespace inspect
