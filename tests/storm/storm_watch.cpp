// The supervisor's eyes: it follows the log, sees that everybody goes on, and looks at what lies in /dev/shm.
#include <signal.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "tests/storm/storm.h"
#include "tests/support/shm_files.h"

namespace storm {
namespace {

constexpr std::uint64_t kLook = 300'000;  // nanoseconds between two looks
constexpr std::uint64_t kInterruption = 1'000'000'000;
constexpr std::uint64_t kLongestAim = 8'000'000;

double inSeconds(std::uint64_t time) {
  return static_cast<double>(time) / 1e9;
}

void nap(std::uint64_t time) {
  const timespec length = {0, static_cast<long>(time)};
  nanosleep(&length, nullptr);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// Of each thread the state, and where in the kernel it waits.
std::string describeThreads(const Process& process) {
  std::string text;
  for (const pid_t thread : process.threads()) {
    const std::string folder = "/proc/" + std::to_string(process.pid()) + "/task/" + std::to_string(thread);
    const std::string stat = readFile(folder + "/stat");
    const std::size_t nameEnd = stat.rfind(')');
    text += " [thread " + std::to_string(thread) + (nameEnd < stat.size() ? " " + stat.substr(nameEnd + 2, 1) : "") +
            " " + readFile(folder + "/wchan") + "]";
  }
  return text;
}

// What log readers would be alarmed by, here too. (Take-overs, and requests that came before a connection or after its
// end, are what a storm brings.)
bool isAlarming(const std::string& line) {
  for (const char* const text : {"too slow", "overflow", "cannot", "invalid", "refused", "notifications are off",
                                 "no delivery thread", "journal full", "anitizer", "runtime error", "terminate"}) {
    if (line.find(text) != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

double Storm::ageOf(std::uint64_t since) const {
  return inSeconds(nanoseconds() - std::max(since, awakeSince_));
}

bool Storm::tick() {
  const std::uint64_t tickTime = nanoseconds();
  if (lastTick_ != 0 && tickTime - lastTick_ > kInterruption) {
    awakeSince_ = tickTime;
    ++figures_.interruptions;
  }
  lastTick_ = tickTime;
  followLog();
  for (Seat& seat : seats_) {
    const std::uint64_t now = nanoseconds();
    if (seat.process != nullptr && seat.thawAt != 0 && now >= seat.thawAt) {
      seat.process->signal(SIGCONT);
      seat.thawAt = 0;
    }
    if (seat.process != nullptr && seat.killAt != 0 && now >= seat.killAt) {
      end(seat);
      seat.startAt = now;
    }
    if (seat.process == nullptr && seat.startAt != 0 && now >= seat.startAt) {
      start(seat);
    }
    if (seat.process != nullptr) {
      watch(seat);
    }
  }
  countPlaces();
  nap(kLook);
  return !isOver_;
}

bool Storm::tickUntil(std::uint64_t time) {
  while (nanoseconds() < time) {
    if (!tick()) {
      return false;
    }
  }
  return true;
}

// Not within the bound: a hang, told with what everybody does.
bool Storm::tickUntil(const char* what, const std::function<bool()>& condition) {
  const std::uint64_t begin = nanoseconds();
  while (!condition()) {
    if (!tick()) {
      return false;
    }
    if (ageOf(begin) > options_.bound) {
      hang(std::string("not all ") + what);
      return false;
    }
  }
  return true;
}

void Storm::start(Seat& seat) {
  seat.process = std::make_unique<Process>(common_, seat.kind, seat.number, ++seat.incarnation, dice(0, UINT32_MAX));
  seat.startAt = 0;
  ++figures_.starts;
  const auto alive = static_cast<std::uint64_t>(std::count_if(
      seats_.begin(), seats_.end(), [](const Seat& one) { return one.process != nullptr && one.process->receives(); }));
  figures_.mostAlive = std::max(figures_.mostAlive, alive);
}

bool Storm::holdsLock(const Process& process, const std::vector<pid_t>& threads) {
  const pid_t poster = log_.poster();
  return (poster != 0 && std::find(threads.begin(), threads.end(), poster) != threads.end()) ||
         std::any_of(std::begin(locks_), std::end(locks_),
                     [&process](LockView& lock) { return lock.holder() == process.pid(); });
}

// Returns true when one of its threads holds the posting lock or it holds a ring's; false, in vain, after a moment.
bool Storm::aim(const Seat& seat) {
  if (seat.process == nullptr || !seat.process->isReady() || !log_.open()) {
    return false;
  }
  const std::vector<pid_t> threads = seat.process->threads();
  const std::uint64_t end = nanoseconds() + kLongestAim;
  while (!holdsLock(*seat.process, threads)) {
    if (nanoseconds() >= end) {
      return false;
    }
  }
  return true;
}

// By the time a signal comes the lock is mostly free again. So it is stopped first, and let go on where that is so.
void Storm::stopWithLock(const Seat& seat) {
  const std::uint64_t end = nanoseconds() + kLongestAim;
  while (nanoseconds() < end && aim(seat)) {
    seat.process->stop();
    if (holdsLock(*seat.process, seat.process->threads())) {
      return;
    }
    seat.process->signal(SIGCONT);
  }
}

// --- the log ---

void Storm::followLog() {
  if (!log_.open()) {
    return;
  }
  std::uint64_t next = common_.board().followed.load();
  for (const std::uint64_t head = log_.head(); next < head; ++next) {
    const std::optional<LogEntry> entry = log_.read(next);
    if (!entry) {
      blame("unfollowed", "message " + std::to_string(next) + " was overwritten before it was looked at");
      next = head - 1;
      continue;
    }
    stretch_.log.push_back(*entry);
    ++figures_.logged;
  }
  common_.board().followed.store(next);
}

// --- hangs ---

void Storm::hang(const std::string& report) {
  ++figures_.hangs;
  blame("hang", report + " within " + std::to_string(options_.bound) + " s");
  for (const Seat& seat : seats_) {
    if (seat.process != nullptr) {
      std::uint64_t age = 0;
      const std::string step = seat.process->journal().step(age);
      figures_.reports.push_back(
          "  " + seat.process->name() + ", process " + std::to_string(seat.process->pid()) + ", state " +
          std::to_string(static_cast<std::uint32_t>(seat.process->journal().state())) + ", position " +
          std::to_string(log_.positionOf(seat.process->pid()).value_or(0)) + " of " + std::to_string(log_.head()) +
          (step.empty() ? "" : ", in \"" + step + "\"") + describeThreads(*seat.process));
    }
  }
  isOver_ = true;
}

void Storm::watch(Seat& seat) {
  if (const std::optional<std::string> how = seat.process->ownEnd()) {
    blame("died", seat.process->name() + " ended by itself: " + *how);
    isOver_ = true;
    leave(seat);
    return;
  }
  std::uint64_t age = 0;
  const std::string step = seat.process->journal().step(age);
  if (!step.empty() && ageOf(nanoseconds() - age) > options_.bound) {
    hang(seat.process->name() + " does not come out of \"" + step + "\"");
  } else if (!seat.process->isReady()) {
    if (ageOf(seat.process->startTime()) > options_.bound) {
      hang(seat.process->name() + " does not get ready");
    }
  } else if (seat.process->receives()) {
    watchDelivery(seat);
  }
}

// Somebody posts all the time, so a wake-up that a killed poster owed is paid at once; a receiver that stays behind has
// been forgotten, or is not in the table.
void Storm::watchDelivery(Seat& seat) {
  const std::uint64_t now = nanoseconds();
  const std::uint64_t position = log_.positionOf(seat.process->pid()).value_or(0);
  if (seat.lagSince == 0) {
    seat.lagHead = log_.head();
    seat.lagSince = position < seat.lagHead ? now : 0;
  } else if (position >= seat.lagHead) {
    figures_.longestLag = std::max(figures_.longestLag, inSeconds(now - seat.lagSince));
    seat.lagSince = 0;
  } else if (ageOf(seat.lagSince) > options_.bound) {
    hang(seat.process->name() + " has not read message " + std::to_string(seat.lagHead));
  }
}

// --- what lies in /dev/shm ---

void Storm::countPlaces() {
  if (log_.open()) {
    figures_.mostPlaces = std::max<std::uint64_t>(figures_.mostPlaces, log_.places().size());
  }
}

void Storm::checkObjects() {
  // Whoever looks for a place takes the first one that is free or a dead process's, so there are no more places than
  // there were processes at a time; one or two more where several look at the same time.
  if (figures_.mostPlaces > 2 * figures_.mostAlive) {
    blame("places", std::to_string(figures_.mostPlaces) + " places of the table are in use, by at most " +
                        std::to_string(figures_.mostAlive) + " processes");
  }
  std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> objects;
  figures_.sharedBytes = 0;
  for (const std::string& name : test_support::shmNames()) {
    struct stat status = {};
    if (stat(test_support::shmFile(name).c_str(), &status) == 0) {
      objects[name] = {static_cast<std::uint64_t>(status.st_size), static_cast<std::uint64_t>(status.st_blocks)};
      figures_.sharedBytes += static_cast<std::uint64_t>(status.st_size);
    }
  }
  figures_.sharedObjects = objects.size();
  if (objects_.empty()) {
    objects_ = objects;
  }
  for (const auto& [name, size] : objects) {
    const auto before = objects_.find(name);
    if (before == objects_.end() || before->second != size) {
      blame("grown", name + " has " + std::to_string(size.first) + " bytes in " + std::to_string(size.second) +
                         " blocks, " + (before == objects_.end() ? "and was not there" : "another size than") +
                         " after the first round");
    }
  }
}

// --- what the processes logged ---

void Storm::readProcessLog() {
  std::istringstream log(common_.takeLog());
  for (std::string line; std::getline(log, line);) {
    figures_.takeOvers += line.find("its holder died; taken over") != std::string::npos ? 1U : 0U;
    if (isAlarming(line)) {
      blame("alarm", line);
    }
    std::string kind;
    for (const char letter : line) {
      if (letter < '0' || letter > '9') {
        kind += letter;
      } else if (kind.empty() || kind.back() != 'N') {
        kind += 'N';
      }
    }
    ++figures_.logLines[kind];
  }
}

}  // namespace storm
