#include "inspect/follower.h"

#include <algorithm>
#include <utility>

#include "inspect/log_view.h"

namespace inspect {
namespace {

constexpr std::size_t kMostPerBatch = 2048;
// As many identifiers as the log counts; a damaged log may name any number of them.
constexpr std::size_t kMostIdentifiers = 64;
// Numbers wrap around; less than half the range ahead means ahead.
constexpr std::uint32_t kHalfOfNumbers = 0x80000000U;

}  // namespace

Follower::Follower(std::string folder, Start start, Pace pace)
    : folder_(std::move(folder)), start_(start), pace_(pace), pause_(pace.busy) {
  Batch nothing;
  findLog(nothing);
}

Follower::Batch Follower::poll() {
  Batch batch;
  if (!log_.isUsable() || !log_.isCurrent()) {
    findLog(batch);
  }
  if (log_.isUsable()) {
    take(batch);
  }
  setPause(!batch.messages.empty());
  return batch;
}

// The log is not there yet, or its name leads elsewhere. A removed one is still read: those who have it mapped go on
// with it.
void Follower::findLog(Batch& batch) {
  LogReader found(folder_);
  if (found.isUsable()) {
    const bool isAnother =
        !log_.isUsable() || found.facts().inode != log_.facts().inode || found.facts().device != log_.facts().device;
    if (isAnother) {
      begin(batch, std::move(found));
    }
  } else {
    batch.problem = found.problem();
    if (found.facts().exists) {
      log_ = std::move(found);  // unusable: to be looked at again
    }
  }
  wasLooking_ = true;
}

void Follower::begin(Batch& batch, LogReader&& log) {
  log_ = std::move(log);
  const std::uint64_t head = log_.head();
  // A log that was made after this began holds nothing but what is new.
  const bool isFirstLook = !wasLooking_ && start_ == Start::kNow;
  position_ = isFirstLook ? head : LogReader::oldest(head);
  batch.isNewLog = hasBegun_;
  hasBegun_ = true;
  forgetNumbers(isFirstLook || position_ == 0);
  if (isFirstLook) {
    for (const IdentifierTally& tally : readLog(log_).tallies) {
      seen_[tally.id] = {tally.posted, gone_};
    }
  }
}

void Follower::forgetNumbers(bool isKnownFromZero) {
  seen_.clear();
  isKnownFromZero_ = isKnownFromZero;
  goneAtBegin_ = gone_;
}

void Follower::take(Batch& batch) {
  const std::uint64_t head = log_.head();
  if (head < position_) {
    position_ = LogReader::oldest(head);
    batch.isNewLog = true;
    forgetNumbers(false);
  }
  const LogReader::Range range = log_.read(position_, head, kMostPerBatch, batch.messages);
  batch.overwritten = range.overwritten;
  batch.damaged = range.damaged;
  batch.hasMore = range.end < head;
  for (const Message& message : batch.messages) {
    gone_ += message.sequence - position_;
    position_ = message.sequence + 1;
    if (!message.isForNobody) {
      countMissed(message, batch);
    }
  }
  gone_ += range.end - position_;
  position_ = range.end;
}

// Numbers that were damaged count for no more than what was gone between two messages.
void Follower::countMissed(const Message& message, Batch& batch) {
  auto known = seen_.find(message.id);
  if (known == seen_.end()) {
    if (seen_.size() >= kMostIdentifiers) {
      return;
    }
    known = seen_.emplace(message.id, Seen{isKnownFromZero_ ? 0 : message.number, goneAtBegin_}).first;
  }
  const std::uint32_t gap = message.number - known->second.next;
  const std::uint64_t most = gone_ - known->second.goneThen;
  if (gap != 0 && gap < kHalfOfNumbers && most != 0) {
    batch.missed[message.id] += std::min<std::uint64_t>(gap, most);
  }
  known->second = {message.number + 1, gone_};
}

void Follower::setPause(bool isBusy) {
  pause_ = isBusy ? pace_.busy : std::min(pause_ * 2, pace_.idle);
}

}  // namespace inspect
