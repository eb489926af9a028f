#include "inspect/log_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/reference/message_log_layout.h"

namespace inspect {
namespace {

using vqframework::kControlMessage;
using vqframework::kSlotCount;
using vqframework::MessageLogObject;
using vqframework::MessageSlot;
using vqframework::SharedHeader;

constexpr std::uint32_t kSizeMask = 0xFFFF;
constexpr std::size_t kSlotsPerCopy = 256;

Message messageAt(const Bytes& bytes, std::size_t begin) {
  Message message;
  message.time = bytes.at<std::uint64_t>(begin + offsetof(MessageSlot, time));
  message.number = bytes.at<std::uint32_t>(begin + offsetof(MessageSlot, number));
  message.id = bytes.at<std::uint32_t>(begin + offsetof(MessageSlot, id));
  message.pid = bytes.at<std::uint32_t>(begin + offsetof(MessageSlot, pid));
  message.sizeWord = bytes.at<std::uint32_t>(begin + offsetof(MessageSlot, size));
  message.isForNobody = (message.sizeWord & kControlMessage) != 0;
  const std::uint32_t size = message.sizeWord & kSizeMask;
  message.size = !message.isForNobody && size <= VQSharedMemNotifier::kMaxPayload ? size : 0;
  const std::vector<std::uint8_t> payload = bytes.part(begin + offsetof(MessageSlot, payload), message.size);
  std::copy(payload.begin(), payload.end(), message.payload.begin());
  return message;
}

// What a mutex takes with the GNU C library, on ARM and x86 with 32 bits, on x86 and on ARM with 64 bits. Nothing else
// in these objects depends on who made them: whoever only looks may have another word size than those who share the
// locks.
bool isKnownMutex(std::uint32_t wordSize, std::uint32_t mutexSize) {
  return (wordSize == sizeof(void*) && mutexSize == sizeof(pthread_mutex_t)) || (wordSize == 4 && mutexSize == 24) ||
         (wordSize == 8 && (mutexSize == 40 || mutexSize == 48));
}

}  // namespace

std::string headerProblem(const Object& object, std::uint32_t magic, std::uint32_t layoutVersion, std::size_t size) {
  if (!object.facts().exists) {
    return object.facts().problem.empty() ? "is not there" : object.facts().problem;
  }
  if (!object.isOpen()) {
    return object.facts().problem;
  }
  const Bytes header = object.copy(0, sizeof(SharedHeader));
  const auto word = [&header](std::size_t offset) { return header.at<std::uint32_t>(offset); };
  if (header.size() < sizeof(SharedHeader) || word(offsetof(SharedHeader, isReady)) == 0) {
    return "is not whole: whoever makes it has not finished";
  }
  if (word(offsetof(SharedHeader, magic)) != magic) {
    return "holds something else";
  }
  const bool isKnown = isKnownMutex(word(offsetof(SharedHeader, wordSize)), word(offsetof(SharedHeader, mutexSize)));
  if (!isKnown && word(offsetof(SharedHeader, wordSize)) != sizeof(void*)) {
    return "was made by a process whose pointers have " + std::to_string(word(offsetof(SharedHeader, wordSize))) +
           " bytes, not " + std::to_string(sizeof(void*));
  }
  if (word(offsetof(SharedHeader, layoutVersion)) != layoutVersion) {
    return "has layout version " + std::to_string(word(offsetof(SharedHeader, layoutVersion))) + ", not " +
           std::to_string(layoutVersion);
  }
  if (!isKnown || header.at<std::uint64_t>(offsetof(SharedHeader, objectSize)) != size) {
    return "was made with another C library or build";
  }
  return object.facts().size < size ? "is shorter than its " + std::to_string(size) + " bytes" : "";
}

LogReader::LogReader(const std::string& folder) : object_(folder, vqframework::kMessageLogName) {
  problem_ =
      headerProblem(object_, vqframework::kMessageLogMagic, vqframework::kMessageLogVersion, sizeof(MessageLogObject));
}

bool LogReader::isCurrent() const {
  std::uint8_t last = 0;
  return object_.isCurrent() && object_.read(sizeof(MessageLogObject) - 1, &last, 1) == 1;
}

std::uint64_t LogReader::head() const {
  return object_.copy(offsetof(MessageLogObject, head), sizeof(std::uint64_t)).at<std::uint64_t>(0);
}

std::uint64_t LogReader::oldest(std::uint64_t head) {
  return head > kSlotCount ? head - kSlotCount : 0;
}

LogReader::Range LogReader::read(std::uint64_t from, std::uint64_t head, std::size_t most,
                                 std::vector<Message>& messages) const {
  const std::size_t before = messages.size();
  Range range;
  range.end = std::max(std::min(from, head), oldest(head));
  range.overwritten = range.end - std::min(from, head);
  while (range.end < head && messages.size() - before < most) {
    // Up to the end of the log's array, at most.
    const std::uint64_t first = range.end;
    const std::size_t slot = static_cast<std::size_t>(first % kSlotCount);
    const std::size_t room = std::min({kSlotsPerCopy, kSlotCount - slot, most - (messages.size() - before)});
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(room, head - first));
    const Bytes bytes =
        object_.copy(offsetof(MessageLogObject, slots) + slot * sizeof(MessageSlot), count * sizeof(MessageSlot));
    const std::uint64_t after = this->head();
    for (std::uint64_t sequence = first; sequence < first + count; ++sequence) {
      const std::size_t begin = static_cast<std::size_t>(sequence - first) * sizeof(MessageSlot);
      if (after - sequence >= kSlotCount) {
        ++range.overwritten;  // or somebody has set `head` back: then it is not to be trusted either
      } else if (bytes.at<std::uint64_t>(begin + offsetof(MessageSlot, sequence)) != sequence + 1) {
        ++range.damaged;
      } else {
        messages.push_back(messageAt(bytes, begin));
        messages.back().sequence = sequence;
      }
    }
    range.end = first + count;
  }
  return range;
}

}  // namespace inspect
