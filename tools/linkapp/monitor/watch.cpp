#include "monitor/watch.h"

#include <time.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace monitor {
namespace {

using inspect::Follower;
using inspect::Message;
using inspect::Receiver;

// A ring has 40 slots; at 10,000 messages a second they last 4 ms.
constexpr inspect::Pace kPace = {std::chrono::milliseconds(1), std::chrono::milliseconds(2)};
constexpr std::uint64_t kTableAge = 500'000'000;  // nanoseconds
constexpr std::uint64_t kProcessAge = 1'000'000'000;
constexpr std::size_t kMostProcesses = 512;

std::int64_t nanosecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::uint64_t headOf(const std::string& folder) {
  const inspect::LogReader log(folder);
  return log.isUsable() ? log.head() : 0;
}

}  // namespace

Watch::Watch(const Options& options)
    : options_(options),
      begin_(headOf(options.place.folder)),
      follower_(options.place.folder, Follower::Start::kOldest, kPace),
      contents_(options.place.folder) {
  setClock();
  isCaughtUp_ = options.isFromStart || begin_ == 0;
  if (begin_ == 0) {
    expected_ = 0;
  }
}

Turn Watch::turn() {
  Turn turn;
  Follower::Batch batch = follower_.poll();
  const bool isNews = options_.isFromStart || batch.isNewLog || follower_.position() > begin_;
  std::vector<inspect::RingContent> contents(batch.messages.size());
  if (isNews) {
    contents = contents_.fetch(batch.messages, follower_.log(), follower_.position());
  }
  setClock();
  turn.isNewLog = batch.isNewLog;
  turn.hasMore = batch.hasMore;
  turn.problem = batch.problem;
  hear(batch);
  // Where more has come, what seems to be overdue may be in it.
  lookAround(batch.hasMore && !batch.messages.empty() ? std::min(now_, batch.messages.back().time) : now_);
  const bool hasRegistration = std::any_of(batch.messages.begin(), batch.messages.end(),
                                           [](const Message& message) { return message.id == inspect::kIdAppInfo; });
  readTableWhereNeeded(hasRegistration || batch.isNewLog);
  keepNews(std::move(batch), std::move(contents), turn);
  turn.losses = losses_.take();
  return turn;
}

void Watch::setClock() {
  now_ = static_cast<std::uint64_t>(nanosecondsOf(CLOCK_MONOTONIC));
  wallOffset_ = nanosecondsOf(CLOCK_REALTIME) - static_cast<std::int64_t>(now_);
}

void Watch::hear(const Follower::Batch& batch) {
  if (batch.isNewLog) {
    state_ = {};
    losses_.forget();
    begin_ = 0;
    expected_ = 0;
  }
  for (const Message& message : batch.messages) {
    if (!isCaughtUp_ && message.sequence >= begin_) {
      isCaughtUp_ = true;
      losses_.beginAnew();
    }
    if (expected_ && message.sequence > *expected_) {
      if (isCaughtUp_) {
        losses_.addMissed(message.sequence - *expected_, message.sequence, now_);
      } else {
        losses_.forget();
      }
    }
    expected_ = message.sequence + 1;
    state_.add(message);
    losses_.add(message);
  }
}

// After the messages: positions must not be older than they.
void Watch::lookAround(std::uint64_t heardUntil) {
  log_ = readLog(follower_.log());
  const auto isThere = [this](const Receiver& receiver) {
    return !isGone(receiver, inspect::readProcess(options_.place.proc, receiver.pid));
  };
  losses_.look(log_.receivers, state_, isThere, heardUntil);
  if (!isCaughtUp_ && follower_.position() >= begin_) {
    isCaughtUp_ = true;
    losses_.beginAnew();
  }
}

void Watch::keepNews(Follower::Batch&& batch, std::vector<inspect::RingContent>&& contents, Turn& turn) const {
  std::size_t first = 0;
  while (!options_.isFromStart && first < batch.messages.size() && batch.messages[first].sequence < begin_) {
    ++first;
  }
  const auto offset = static_cast<std::ptrdiff_t>(first);
  turn.messages.assign(std::make_move_iterator(batch.messages.begin() + offset),
                       std::make_move_iterator(batch.messages.end()));
  turn.contents.assign(std::make_move_iterator(contents.begin() + offset), std::make_move_iterator(contents.end()));
}

void Watch::readTableWhereNeeded(bool mustRead) {
  if (mustRead || tableReadAt_ == 0 || now_ - tableReadAt_ >= kTableAge) {
    table_ = readTable(inspect::Object(options_.place.folder, inspect::kAppInfoSegment));
    tableReadAt_ = now_;
  }
}

std::int64_t Watch::wallTimeOf(std::uint64_t monotonic) const {
  // Times in a damaged log may be any number.
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(wallOffset_) + monotonic);
}

std::string Watch::appName(std::uint32_t app) const {
  return app != 0 && app <= table_.apps.size() ? table_.apps[app - 1].appName : "";
}

// One that has ended keeps the name it had.
const inspect::Process& Watch::process(std::uint32_t pid) {
  if (processes_.size() > kMostProcesses) {
    processes_.clear();
  }
  Known& known = processes_[pid];
  if (known.lookedAt == 0 || now_ - known.lookedAt >= kProcessAge) {
    inspect::Process found = inspect::readProcess(options_.place.proc, pid);
    if (!found.exists) {
      found.name = known.process.name;
    }
    known = {found, std::max<std::uint64_t>(now_, 1)};
  }
  return known.process;
}

Who Watch::who(std::uint32_t pid) {
  Who who;
  const inspect::Process& process = this->process(pid);
  who.pid = pid;
  who.name = process.name;
  who.isGone = process.isDead();
  who.isStopped = process.isStopped();
  who.isDeviceSide = state_.deviceSide && state_.deviceSide->pid == pid;
  who.apps = appsOf(state_, pid);
  return who;
}

std::vector<std::uint32_t> Watch::listenersTo(std::uint32_t id) {
  std::vector<std::uint32_t> pids;
  for (const Receiver& receiver : log_.receivers) {
    const bool listens =
        std::find(receiver.identifiers.begin(), receiver.identifiers.end(), id) != receiver.identifiers.end();
    if (listens && !isGone(receiver, process(receiver.pid))) {
      pids.push_back(receiver.pid);
    }
  }
  return pids;
}

}  // namespace monitor
