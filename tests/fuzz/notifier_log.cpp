// The notifier's log with any content behind its header and its lock: read, caught up with, posted into, listed in.
//
// What the delivery thread does with it is done here without the thread, in the thread's order.
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>

#include "platform/reference/attach_table.h"
#include "platform/reference/loss_counter.h"
#include "platform/reference/message_log.h"
#include "platform/reference/polling.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Input;
using vqframework::AttachedPlace;
using vqframework::kSlotCount;
using vqframework::Message;
using vqframework::MessageLog;
using vqframework::MessageLogObject;
using vqframework::MessageSlot;

constexpr unsigned int kMostSteps = 48;
constexpr std::uint64_t kFarAway[] = {0, 1, 8191, 8192, 8193, 1ULL << 32, 1ULL << 63, ~0ULL - 1, ~0ULL};

class Log {
 public:
  explicit Log(MessageLog& log) : log_(log), object_(log.object()) {}

  // As a log is made: all zero behind header and lock.
  void clear() {
    constexpr std::size_t kBegin = offsetof(MessageLogObject, head);
    char* const bytes = reinterpret_cast<char*>(&object_);
    std::memset(bytes + kBegin, 0, offsetof(MessageLogObject, slots) - kBegin);
    for (const std::uint32_t slot : touched_) {
      std::memset(static_cast<void*>(&object_.slots[slot]), 0, sizeof object_.slots[slot]);
    }
    touched_.clear();
  }

  MessageSlot& slot(std::uint64_t sequence) {
    touched_.push_back(static_cast<std::uint32_t>(sequence % kSlotCount));
    return object_.slots[touched_.back()];
  }
  MessageLog& log() { return log_; }
  MessageLogObject& object() { return object_; }

 private:
  MessageLog& log_;
  MessageLogObject& object_;
  std::vector<std::uint32_t> touched_;
};

std::uint64_t position(Input& input, Log& log) {
  const std::uint8_t choice = input.byte();
  if (choice < 128) {  // about the head
    return log.object().head.load() + choice % 32 - 16;
  }
  return choice < 200 ? kFarAway[choice % std::size(kFarAway)] : input.record<std::uint64_t>();
}

void disturb(Input& input, Log& log) {
  MessageLogObject& object = log.object();
  switch (input.below(8)) {
    case 0:
      object.head.store(position(input, log));
      break;
    case 1:
      object.posted.store(input.word());
      break;
    case 2:
      object.sleepers.store(input.word());
      object.owed.store(input.record<std::uint64_t>());
      object.yieldMark.store(input.byte());
      break;
    case 3: {
      vqframework::IdentifierCount& count = object.counts[input.below(vqframework::kCountedIdentifiers)];
      count.id.store(input.number());
      count.isUsed.store(input.number());
      count.posted.store(input.number());
      break;
    }
    case 4: {
      AttachedPlace& place = object.places[input.below(vqframework::kPlaceCount)];
      const std::string bytes = input.take(sizeof place);
      std::memcpy(static_cast<void*>(&place), bytes.data(), bytes.size());
      break;
    }
    case 5: {  // every identifier is taken, every place, too
      for (vqframework::IdentifierCount& count : object.counts) {
        count.isUsed.store(1);
        count.id.store(input.byte());
      }
      break;
    }
    default: {
      const std::uint64_t sequence = position(input, log);
      MessageSlot& slot = log.slot(sequence);
      const std::string bytes = input.text();
      std::memcpy(static_cast<void*>(&slot), bytes.data(), std::min(bytes.size(), sizeof slot));
      // Mostly one that is taken for a message.
      if (input.below(8) != 7) {
        slot.sequence.store(sequence + 1);
      }
      break;
    }
  }
}

// They never wait for real, and take the same for the same bytes.
std::uint64_t timeNow() {
  static std::uint64_t time = 0;
  return time += 20'000;
}
int processorNow() {
  return 3;
}

// The delivery thread's own things, and what it does between two messages.
class Reader {
 public:
  Reader(Log& log, Input& input) : log_(log) {
    const MessageLog::Snapshot now = log.log().snapshot(ids_);
    losses_.follow({{2, now.numbers[0]}, {4, now.numbers[1]}, {77, now.numbers[2]}});
    position_ = input.flag() ? now.head : position(input, log);
    if (input.below(32) == 0) {
      place_ = std::make_unique<vqframework::AttachedProcess>(log.object());
      place_->setIdentifiers(losses_.identifiers());
    }
  }

  void readNext() {
    const std::uint32_t posted = log_.log().posted();
    switch (log_.log().read(position_, message_)) {
      case MessageLog::Read::kNothingNew:
        polling_.bridges(log_.log(), posted);
        return;
      case MessageLog::Read::kOverwritten: {
        MessageLog::Snapshot snapshot;
        position_ = log_.log().skip(position_, losses_.identifiers(), snapshot);
        losses_.onSkip(snapshot);
        break;
      }
      case MessageLog::Read::kTaken:
        ++position_;
        if (place_ != nullptr) {
          place_->setPosition(position_);
        }
        requireWhole();
        polling_.onMessage(message_);
        if (!message_.isControl) {
          losses_.onMessage(message_);
        }
        break;
    }
    const std::uint64_t lost = losses_.takeFinishedBurst(position_);
    if (place_ != nullptr) {
      place_->addLost(lost);
    }
  }

 private:
  // What handlers rely on.
  void requireWhole() {
    fuzz::require(message_.size <= VQSharedMemNotifier::kMaxPayload, "no payload is longer than payloads may be");
    for (std::size_t i = message_.size; i < sizeof message_.payload; ++i) {
      fuzz::require(message_.payload[i] == 0, "behind a payload there are zeros");
    }
  }

  Log& log_;
  const std::vector<std::uint32_t> ids_ = {2, 4, 77};
  std::uint64_t position_ = 0;
  vqframework::LossCounter losses_;
  vqframework::Polling polling_{true, &processorNow, &timeNow};
  std::unique_ptr<vqframework::AttachedProcess> place_;  // seldom: it asks the kernel for every listed process
  Message message_;
};

void post(Input& input, Log& log) {
  const std::string payload = input.text() + std::string(input.flag() ? 97 : 0, 'x');
  log.slot(log.object().head.load());
  fuzz::require(log.log().post(input.byte() % 8, payload.data(), static_cast<std::uint32_t>(payload.size())),
                "who holds the lock can post");
  log.log().wake(input.byte());
}

// Any value of the word of sleepers; it falls asleep on no word that stands.
void rest(Input& input, Log& log) {
  log.log().sleep(log.log().posted() + 1, input.word());
  log.log().markYield();
  log.log().noteForeignMessage();
  log.log().sleeperCount();
  log.log().receiverCount();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static auto* const log = new Log(*MessageLog::get());
  Input input(data, size);
  log->clear();
  for (std::uint32_t i = input.below(8); i > 0; --i) {
    disturb(input, *log);
  }
  Reader reader(*log, input);
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    switch (input.below(6)) {
      case 0:
        disturb(input, *log);
        break;
      case 1:
        post(input, *log);
        break;
      case 2:
        rest(input, *log);
        break;
      default:
        reader.readNext();
        break;
    }
  }
  return 0;
}
