#include "tests/storm/storm.h"

#include <signal.h>
#include <time.h>

#include <algorithm>

#include "LinkAppCommon/iOSAppRecords.h"
#include "tests/support/shm_files.h"

namespace storm {
namespace {

constexpr std::uint32_t kApps = 4;
static_assert(kApps < kMostApps, "apps are numbered from 1 on");
constexpr std::uint32_t kWatchers = 2;
constexpr std::uint32_t kKillsPerRound = 60;
constexpr std::uint64_t kMillisecond = 1'000'000;
constexpr std::size_t kMostReports = 20;
constexpr const char* kTableSegment = "iOSAppCommonLocalMem_AppInfo";
constexpr std::size_t kTableCount = 4 + 5440;

Fault faultOf(Sabotage sabotage) {
  switch (sabotage) {
    case Sabotage::kLoseReceived:
      return Fault::kLoseReceived;
    case Sabotage::kSendTwice:
      return Fault::kSendTwice;
    case Sabotage::kSpoilPayload:
      return Fault::kSpoilPayload;
    default:
      return Fault::kNone;
  }
}

}  // namespace

std::uint64_t Figures::killsInAll() const {
  std::uint64_t sum = 0;
  for (const auto& [role, count] : kills) {
    sum += count;
  }
  return sum;
}

Storm::Storm(const Options& options)
    : options_(options),
      random_(options.seed),
      locks_{LockView("iOSAppMem_Device1_From_HU"), LockView("iOSAppMem_Device1_From_Device")} {
  test_support::clearShm();
  common_.board().fault.store(faultOf(options.sabotage));
}

const Figures& Storm::run() {
  const std::uint64_t begin = nanoseconds();
  end_ = begin + static_cast<std::uint64_t>(options_.seconds * 1e9);
  takeSeats();
  do {
    runRound();
  } while (!isOver_ && !isTimeUp());
  figures_.seconds = static_cast<double>(nanoseconds() - begin) / 1e9;
  figures_.sleepersLeft = log_.open() ? log_.sleepers() : 0;
  return figures_;
}

bool Storm::isTimeUp() const {
  return options_.rounds != 0 ? figures_.rounds >= options_.rounds : nanoseconds() >= end_;
}

std::uint32_t Storm::dice(std::uint32_t from, std::uint32_t to) {
  return std::uniform_int_distribution<std::uint32_t>(from, to)(random_);
}

void Storm::takeSeats() {
  const auto seat = [this](Kind kind, std::uint32_t count) {
    for (std::uint32_t number = 1; number <= count; ++number) {
      seats_.emplace_back();
      seats_.back().kind = kind;
      seats_.back().number = number;
    }
  };
  seat(Kind::kPhone, 1);
  seat(Kind::kApp, kApps);
  seat(Kind::kWatcher, kWatchers);
  seat(Kind::kPoster, 1);
}

void Storm::runRound() {
  test_support::removeShm(kTableSegment);
  common_.board().phase.store(Phase::kStorm);
  for (Seat& seat : seats_) {
    seat.startAt = nanoseconds();
    seat.killAt = 0;
  }
  if (rage() && calmDown()) {
    killAll();
    ++figures_.rounds;
    checkObjects();
  }
  for (Seat& seat : seats_) {
    end(seat);
  }
  readProcessLog();
  takeVerdict();
  lastTick_ = 0;  // judging takes its time
}

// --- step 2 ---

bool Storm::rage() {
  for (std::uint32_t kills = 0; kills < kKillsPerRound && !isTimeUp();) {
    if (!tickUntil(nanoseconds() + dice(2, 110) * kMillisecond)) {
      return false;
    }
    if (dice(0, 2) == 0) {
      freezeSomebody();
    }
    Seat* const victim = chooseVictim();
    if (victim != nullptr) {
      killAndReplace(*victim);
      ++kills;
    }
  }
  return true;
}

// While the device side, or an app, is stopped messages wait unread in the rings, and whoever starts meanwhile sets
// them back: that is where messages come in others' places. Where it is stopped between its two looks at a slot, they
// mix.
void Storm::freezeSomebody() {
  Seat& seat = seats_[dice(0, 1) == 0 ? 0 : dice(1, kApps)];
  if (seat.process == nullptr) {
    return;
  }
  aim(seat);
  seat.process->signal(SIGSTOP);
  seat.thawAt = nanoseconds() + dice(2, 40) * kMillisecond;
  ++figures_.freezes;
  Seat& watcher = seats_[1 + kApps];
  if (watcher.process != nullptr && watcher.process->isReady()) {
    end(watcher);
    watcher.startAt = nanoseconds();
  }
}

// Each start of an app takes one of the table's places, which nobody gives back.
bool Storm::mayKillApp() const {
  std::uint32_t taken = test_support::shmWord(kTableSegment, kTableCount).value_or(0);
  for (const Seat& seat : seats_) {
    if (seat.kind == Kind::kApp) {
      taken += seat.process == nullptr || !seat.process->isReady() ? 1U : 0U;
      taken += seat.killAt != 0 ? 1U : 0U;  // it will be started once more
    }
  }
  return taken < iOSAppInfoList::kEntryCount;
}

Storm::Seat* Storm::chooseVictim() {
  // A role first: there are more apps than device sides.
  constexpr Kind kKinds[] = {Kind::kApp, Kind::kApp, Kind::kPhone, Kind::kWatcher, Kind::kPoster};
  const Kind kind = kKinds[dice(0, std::size(kKinds) - 1)];
  if (kind == Kind::kApp && !mayKillApp()) {
    return nullptr;
  }
  std::vector<Seat*> candidates;
  for (Seat& seat : seats_) {
    if (seat.kind == kind && seat.process != nullptr && seat.process->isReady() && seat.killAt == 0) {
      candidates.push_back(&seat);
    }
  }
  return candidates.empty() ? nullptr : candidates[dice(0, static_cast<std::uint32_t>(candidates.size()) - 1)];
}

// Half of the time it tries to catch the victim with a lock.
void Storm::killAndReplace(Seat& seat) {
  if (dice(0, 1) == 0) {
    stopWithLock(seat);
  }
  end(seat);
  seat.startAt = nanoseconds() + dice(0, 15) * kMillisecond;
  if (dice(0, 4) == 0 && (seat.kind != Kind::kApp || mayKillApp())) {
    seat.killAt = seat.startAt + dice(0, 6'000) * std::uint64_t{1000};  // many are not ready by then
  }
}

// --- step 3 ---

bool Storm::areAll(State state) const {
  return std::all_of(seats_.begin(), seats_.end(), [state](const Seat& seat) {
    return seat.process != nullptr && seat.process->isReady() && seat.process->journal().state() == state;
  });
}

// One further: a process writes its position down before it calls its observers.
bool Storm::haveReadPast(std::uint64_t head) const {
  return std::all_of(seats_.begin(), seats_.end(), [this, head](const Seat& seat) {
    return !seat.process->receives() || log_.positionOf(seat.process->pid()).value_or(0) > head;
  });
}

bool Storm::calmDown() {
  common_.board().phase.store(Phase::kSettle);
  for (Seat& seat : seats_) {
    seat.killAt = 0;
  }
  const auto isSettled = [this] { return areAll(State::kSettled); };
  if (!tickUntil("settle", isSettled)) {
    return false;
  }
  // What had been announced until then may still unsettle an app, so all must have heard it, and be settled then.
  const std::uint64_t announced = log_.head();
  if (!tickUntil("hear what was announced", [this, announced] { return haveReadPast(announced); }) ||
      !tickUntil("settle again", isSettled)) {
    return false;
  }
  if (!takeTurns()) {
    return false;
  }
  Span calm = {nanoseconds(), 0};
  common_.board().phase.store(Phase::kCalm);
  spoil();
  if (!tickUntil("exchange messages in calm", [this] { return areAll(State::kCalmDone); })) {
    return false;
  }
  const std::uint64_t head = log_.head();
  if (!tickUntil("hear everything in calm", [this, head] { return haveReadPast(head); })) {
    return false;
  }
  calm.end = nanoseconds();
  stretch_.calm.push_back(calm);
  ++figures_.calmPhases;
  for (const Seat& seat : seats_) {
    seat.process->setMustHave(head);
  }
  return true;
}

// Nothing but the message that is under way makes anybody wake up: whoever is not woken sleeps on.
bool Storm::takeTurns() {
  common_.board().turn.store(1);
  common_.board().phase.store(Phase::kTurns);
  return tickUntil("answer in turn", [this] {
    if (options_.sabotage == Sabotage::kForgetSleepers) {
      test_support::pokeShmWord(vqframework::kMessageLogName, offsetof(vqframework::MessageLogObject, sleepers),
                                log_.sleepers() << vqframework::kGroupCount);
    }
    return common_.board().turn.load() > kApps;
  });
}

// What is to be noticed (--sabotage), where the processes cannot do it themselves.
void Storm::spoil() {
  if (options_.sabotage == Sabotage::kHang) {
    seats_.front().process->signal(SIGSTOP);
  } else if (options_.sabotage == Sabotage::kGrow) {
    const std::vector<char> bytes(1, 'x');
    const std::size_t size = test_support::shmSize(vqframework::kMessageLogName).value_or(0);
    test_support::pokeShm(vqframework::kMessageLogName, size, bytes.data(), bytes.size());
  } else if (options_.sabotage == Sabotage::kFillPlaces) {
    // Places of a process that lives for ever.
    const std::uint32_t init = 1;
    for (std::size_t place = 8; place < vqframework::kPlaceCount; ++place) {
      test_support::pokeShm(
          vqframework::kMessageLogName,
          offsetof(vqframework::MessageLogObject, places) + place * sizeof(vqframework::AttachedPlace), &init,
          sizeof init);
    }
  }
}

// --- step 4 ---

void Storm::killAll() {
  common_.board().phase.store(Phase::kStorm);
  tickUntil(nanoseconds() + dice(0, 40) * kMillisecond);
  std::vector<Seat*> order;
  for (Seat& seat : seats_) {
    seat.startAt = 0;
    order.push_back(&seat);
  }
  std::shuffle(order.begin(), order.end(), random_);
  for (Seat* const seat : order) {
    stopWithLock(*seat);
    end(*seat);
  }
}

void Storm::end(Seat& seat) {
  seat.startAt = 0;
  if (seat.process == nullptr) {
    return;
  }
  bool hasPosterDied = false;
  seat.process->kill(
      [this, &hasPosterDied] { hasPosterDied = hasPosterDied || (log_.open() && log_.hasPosterDied()); });
  figures_.killsInPost += hasPosterDied ? 1U : 0U;
  ++figures_.kills[nameOf(seat.kind)];
  figures_.killsInStart += seat.process->isReady() ? 0U : 1U;
  leave(seat);
}

void Storm::leave(Seat& seat) {
  const Journal& journal = seat.process->journal();
  figures_.givenUp += journal.givenUp();
  figures_.longestStep = std::max(figures_.longestStep, static_cast<double>(journal.longestStep()) / 1e9);
  if (seat.kind == Kind::kApp) {
    common_.board().oldest[seat.number].store(0);  // nobody waits for its messages any more
  }
  stretch_.lives.push_back(seat.process->takeLife());
  seat.process.reset();
  seat.killAt = 0;
  seat.thawAt = 0;
  seat.lagSince = 0;
}

void Storm::takeVerdict() {
  followLog();
  const Verdict verdict = judge(stretch_);
  stretch_ = {};
  for (const auto& [kind, count] : verdict.faults) {
    figures_.faults[kind] += count;
  }
  for (const std::string& report : verdict.reports) {
    if (figures_.reports.size() < kMostReports) {
      figures_.reports.push_back("round " + std::to_string(figures_.rounds) + ", " + report);
    }
  }
  figures_.counts += verdict.counts;
}

void Storm::blame(const std::string& kind, const std::string& report) {
  ++figures_.faults[kind];
  if (figures_.reports.size() < kMostReports) {
    figures_.reports.push_back("round " + std::to_string(figures_.rounds) + ", " + kind + ": " + report);
  }
}

}  // namespace storm
