#include "record/recorder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "inspect/segments.h"

namespace record {
namespace {

constexpr std::uint64_t kMillisecond = 1'000'000;
// A busy machine may hold a process up for some milliseconds; nobody calls that a standstill.
constexpr std::uint64_t kStandstill = 250 * kMillisecond;
constexpr std::uint64_t kBetweenGlances = 20 * kMillisecond;
constexpr std::int64_t kClockTolerance = 1'000'000;
// Ring slots last for 40 messages.
constexpr inspect::Pace kPace{std::chrono::microseconds(1000), std::chrono::microseconds(2000)};

std::int64_t offsetOf(const Clock& clock) {
  return static_cast<std::int64_t>(clock.wall) - static_cast<std::int64_t>(clock.monotonic);
}

bool isSame(const ReceiverSeen& a, const ReceiverSeen& b) {
  return a.lost == b.lost && a.name == b.name && a.identifiers == b.identifiers;
}

bool isSame(const AppSeen& a, const AppSeen& b) {
  return a.owner == b.owner && a.isValid == b.isValid && a.iAP1Name == b.iAP1Name && a.appName == b.appName &&
         a.launchString == b.launchString;
}

// With quotes where an argument needs them, so that it can be read back as it was.
std::string commandOf(const std::string& proc, std::uint32_t pid) {
  std::ifstream file(proc + "/" + std::to_string(pid) + "/cmdline", std::ios::binary);
  std::string command;
  for (std::string argument; std::getline(file, argument, '\0');) {
    command += (command.empty() ? "" : " ") + text::quoted(argument);
  }
  return command;
}

// The app whose process sent this; 0 where it tells of none.
std::uint32_t appOfSender(const inspect::Message& message) {
  if (const auto status = connectStatusOf(message)) {
    return status->notifyType == iosapp_def_::NOTIFYID_APPLAUNCH ? status->appId : 0;
  }
  if (const auto announcement = announcementOf(message)) {
    return message.id == inspect::kIdFromHU ? announcement->appId : 0;
  }
  const auto place = registeredPlaceOf(message);
  return place ? *place + 1 : 0;
}

}  // namespace

Recorder::Recorder(Writer& writer, const Place& place)
    : writer_(writer),
      place_(place),
      follower_(place.folder, inspect::Follower::Start::kOldest, kPace),
      rings_(place.folder),
      table_(place.folder, inspect::kAppInfoSegment) {
  const Clock now = clockNow();
  clockOffset_ = offsetOf(now);
  learnWhatHolds();
  lookAtTable();
  lookAtReceivers(readLog(follower_.log()), now.monotonic);
  lastLook_ = clockNow().monotonic;
  writer_.flush();
}

// What was posted before this moment is not recorded. What it says of link, sessions and owners holds all the same.
void Recorder::learnWhatHolds() {
  const std::uint64_t begin = follower_.log().isUsable() ? follower_.log().head() : 0;
  Present said;
  std::vector<std::uint32_t> senders;
  while (follower_.position() < begin) {
    const inspect::Follower::Batch batch = follower_.poll();
    for (const inspect::Message& message : batch.messages) {
      said.add(MessageSeen{message, {}, true});
      const std::uint32_t app = appOfSender(message);
      if (app != 0 && app <= iOSAppInfoList::kEntryCount) {
        owners_[app] = message.pid;
      }
      senders.push_back(message.pid);
    }
    if (batch.messages.empty() && !batch.hasMore) {
      break;
    }
  }
  next_ = follower_.position();
  std::sort(senders.begin(), senders.end());
  senders.erase(std::unique(senders.begin(), senders.end()), senders.end());
  for (const std::uint32_t pid : senders) {
    if (!inspect::readProcess(place_.proc, pid).isDead()) {
      noteProcess(pid);
    }
  }
  for (const Entry& entry : said.entries()) {
    writer_.add(entry);
  }
}

Recorder::Look Recorder::look() {
  Look look;
  const std::uint64_t now = clockNow().monotonic;
  noteStandstill(now);
  lastLook_ = now;
  // Before the messages: so whatever a receiver has taken by now is written down in front of that.
  const inspect::Log receivers = readLog(follower_.log());
  const std::uint64_t receiversTime = clockNow().monotonic;
  const inspect::Follower::Batch batch = follower_.poll();
  noteProblem(batch.problem, now);
  if (batch.isNewLog) {
    Gap gap;
    gap.time = now;
    gap.kind = Gap::Kind::kNewLog;
    writer_.add(gap);
    next_ = batch.messages.empty() ? follower_.position() : batch.messages.front().sequence;
  }
  addMessages(batch, look);
  lookAtReceivers(receivers, receiversTime);
  if (now - lastGlance_ >= kBetweenGlances) {
    lastGlance_ = now;
    lookAtProcesses(now);
    lookAtTable();
    lookAtClocks();
  }
  writer_.flush();
  return look;
}

void Recorder::noteStandstill(std::uint64_t now) {
  if (now - lastLook_ >= kStandstill) {
    Gap gap;
    gap.time = now;
    gap.kind = Gap::Kind::kStoodStill;
    gap.from = next_;
    gap.count = now - lastLook_;
    writer_.add(gap);
  }
}

void Recorder::noteProblem(const std::string& problem, std::uint64_t now) {
  if (problem != std::exchange(problem_, problem) && !problem.empty()) {
    Gap gap;
    gap.time = now;
    gap.kind = Gap::Kind::kNoLog;
    gap.from = next_;
    gap.reason = problem;
    writer_.add(gap);
  }
}

void Recorder::addMessages(const inspect::Follower::Batch& batch, Look& look) {
  std::vector<inspect::RingContent> contents = rings_.fetch(batch.messages, follower_.log(), follower_.position());
  for (std::size_t i = 0; i < batch.messages.size(); ++i) {
    const inspect::Message& message = batch.messages[i];
    addGap(message.sequence, batch, look);
    next_ = message.sequence + 1;
    noteProcess(message.pid);
    look.messages += message.isForNobody ? 0U : 1U;
    const inspect::RingContent::State state = contents[i].state;
    look.contents +=
        state == inspect::RingContent::State::kNone || state == inspect::RingContent::State::kCertain ? 0U : 1U;
    writer_.add(MessageSeen{message, std::move(contents[i]), false});
    noteOwner(message);
  }
  addGap(follower_.position(), batch, look);
  next_ = follower_.position();
}

// Up to, not including, `end`.
void Recorder::addGap(std::uint64_t end, const inspect::Follower::Batch& batch, Look& look) {
  if (end <= next_) {
    return;
  }
  Gap gap;
  gap.time = lastLook_;
  gap.kind = batch.overwritten != 0 ? Gap::Kind::kOverwritten : Gap::Kind::kDamaged;
  gap.from = next_;
  gap.count = end - next_;
  gap.missed = batch.missed;
  look.missed += gap.count;
  writer_.add(gap);
}

// Who announced a place, asked for its launch, or sends for it, whatever was last.
void Recorder::noteOwner(const inspect::Message& message) {
  const std::uint32_t app = appOfSender(message);
  if (app == 0 || app > iOSAppInfoList::kEntryCount) {
    return;
  }
  const bool isNews = std::exchange(owners_[app], message.pid) != message.pid;
  if (isNews || registeredPlaceOf(message)) {
    lookAtTable();
  }
}

// Once for each process; what becomes of it, lookAtProcesses() tells. Its number may come back.
void Recorder::noteProcess(std::uint32_t pid) {
  const auto& known = writer_.present().processes();
  const auto found = known.find(pid);
  if (pid == 0 || (found != known.end() && !found->second.isGone())) {
    return;
  }
  const inspect::Process process = inspect::readProcess(place_.proc, pid);
  const bool isKnownAsGone = found != known.end() && (process.isDead() || found->second.startTime == process.startTime);
  if (!isKnownAsGone) {
    const char state = process.isDead() ? 'X' : process.isStopped() ? 'T' : 'R';
    writer_.add(ProcessSeen{clockNow().monotonic, pid, process.startTime, process.user, state, process.name,
                            commandOf(place_.proc, pid)});
  }
}

void Recorder::lookAtTable() {
  if (!table_.isCurrent()) {
    table_ = inspect::Object(place_.folder, inspect::kAppInfoSegment);
  }
  const inspect::Table table = readTable(table_);
  for (const inspect::RegisteredApp& app : table.apps) {
    const auto owner = owners_.find(app.place + 1);
    const AppSeen seen = {clockNow().monotonic, app.place,    owner == owners_.end() ? 0 : owner->second,
                          app.isValid,          app.iAP1Name, app.appName,
                          app.launchString};
    const auto known = writer_.present().apps().find(app.place);
    if (known == writer_.present().apps().end() || !isSame(known->second, seen)) {
      writer_.add(seen);
    }
  }
}

void Recorder::lookAtReceivers(const inspect::Log& log, std::uint64_t time) {
  const auto known = writer_.present().receivers();  // a copy: it changes below
  std::map<std::uint32_t, std::uint64_t> positions;
  Taken taken;
  taken.time = time;
  for (const inspect::Receiver& receiver : log.receivers) {
    ReceiverSeen seen = {time, receiver.pid, false, receiver.lost, receiver.name, receiver.identifiers};
    const auto before = known.find(receiver.pid);
    if (before == known.end() || !isSame(before->second, seen)) {
      noteProcess(receiver.pid);
      writer_.add(seen);
    }
    const auto last = positions_.find(receiver.pid);
    if (last == positions_.end() || last->second != receiver.position) {
      taken.positions.emplace_back(receiver.pid, receiver.position);
    }
    positions[receiver.pid] = receiver.position;
  }
  for (const auto& [pid, receiver] : known) {
    if (positions.count(pid) == 0) {
      ReceiverSeen gone = receiver;
      gone.time = time;
      gone.isGone = true;
      writer_.add(gone);
    }
  }
  positions_ = std::move(positions);
  if (!taken.positions.empty()) {
    writer_.add(taken);
  }
}

void Recorder::lookAtProcesses(std::uint64_t now) {
  const auto known = writer_.present().processes();
  for (const auto& [pid, before] : known) {
    if (before.isGone()) {
      continue;
    }
    const inspect::Process process = inspect::readProcess(place_.proc, pid);
    const bool isGone = process.isDead() || process.startTime != before.startTime;
    const char state = isGone ? 'X' : process.isStopped() ? 'T' : 'R';
    if (state != before.state) {
      ProcessSeen seen = before;
      seen.time = now;
      seen.state = state;
      writer_.add(seen);
    }
  }
}

void Recorder::lookAtClocks() {
  const Clock now = clockNow();
  if (std::llabs(offsetOf(now) - clockOffset_) > kClockTolerance) {
    clockOffset_ = offsetOf(now);
    writer_.add(now);
  }
}

void Recorder::end(const std::string& reason) {
  writer_.add(End{clockNow().monotonic, reason});
  writer_.flush();
}

}  // namespace record
