// The notifier: its log, its registrations, its messages.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/faults/held.h"
#include "tests/faults/matrix.h"
#include "tests/faults/receiver.h"

namespace {

using faults::Expectation;
using faults::Operation;
using faults::Receiver;
using faults::Watch;

constexpr unsigned int kId = 0x7D000001U;
constexpr const char* kOff =
    "VQSharedMemNotifier:0 notifications are off, the log cannot be shared with other processes: ";

std::vector<std::string> off(const std::string& why) {
  return {kOff + why};
}

const std::string kDamaged =
    "NotifyDataUpdate:0 message of identifier " + std::to_string(kId) +
    " refused: the log is damaged; stop every process that uses it and remove /dev/shm/VQSharedMemNotifier.log";

// What holds wherever a message is posted. `broken`: the outcome where the log's lock cannot be had.
std::vector<Expectation> whilePosting(const std::string& works, const std::string& broken) {
  std::vector<std::string> log;
  if (broken == "false") {
    log.push_back(kDamaged);
  }
  return {
      {"mutex trylock", "", {EBUSY, EOWNERDEAD}, works},
      {"mutex lock", "", {EOWNERDEAD}, works},
      {"mutex trylock", "", {}, broken, log},
      {"mutex lock", "", {}, broken, log},
      {"clock_gettime", "", {}, works},
      {"sched_getcpu", "", {}, works},
      {"pthread_setspecific", "", {}, works},
      {"futex wake", "", {}, works},
  };
}

std::vector<Expectation> both(std::vector<Expectation> first, const std::vector<Expectation>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// The log is opened, or made, by the first message.
class FirstMessage : public Operation {
 public:
  std::string attempt() override {
    VQSharedMemNotifier notifier(false);
    const Watch watch;
    return notifier.NotifyDataUpdate(kId, "text", 4) ? "true" : "false";
  }
};

TEST(Faults, WhileTheFirstMessageMakesTheLog) {
  faults::run({"first message of a process, no log there", "true", [] { return std::make_unique<FirstMessage>(); },
               both({{"shm_open", "", {}, "false", off("shm_open: %m")},
                     {"fcntl", "", {EINTR}, "true"},
                     {"fcntl", "", {EDEADLK}, "true", {}, {}, faults::Way::kOnce},
                     {"fcntl", "", {}, "false", off("fcntl: %m")},
                     {"pread", "", {}, "true"},
                     {"fstat", "", {}, "true", {}, {}, faults::Way::kOnce, 1},
                     {"fstat", "", {}, "false", off("posix_fallocate: %m")},
                     {"posix_fallocate", "", {EINTR}, "true"},
                     {"posix_fallocate", "", {}, "false", off("posix_fallocate: %m")},
                     {"mmap", "", {}, "false", off("mmap: %m")},
                     {"mutexattr init", "", {}, "false", off("pthread_mutex_init: %m")},
                     {"mutexattr setprotocol", "", {}, "false", off("pthread_mutex_init: %m")},
                     {"mutex init", "", {}, "false", off("pthread_mutex_init: %m")},
                     {"close", "", {}, "true"},
                     {"new", "", {}, "std::bad_alloc"}},
                    whilePosting("true", "false")),
               1});
}

class FirstMessageInALogOfOthers : public FirstMessage {
 public:
  void prepare() override {
    // As another process leaves it: this one has not opened it.
    const pid_t other = fork();
    if (other == 0) {
      VQSharedMemNotifier notifier(false);
      notifier.NotifyDataUpdate(kId, "text", 4);
      _exit(0);
    }
    waitpid(other, nullptr, 0);
  }
};

TEST(Faults, WhileTheFirstMessageOpensTheLog) {
  faults::run({"first message of a process, the log is there", "true",
               [] { return std::make_unique<FirstMessageInALogOfOthers>(); },
               both({{"shm_open", "", {EACCES}, "true", {}, {}, faults::Way::kOnce},
                     {"shm_open", "", {}, "false", off("shm_open: %m")},
                     {"fcntl", "", {EINTR}, "true"},
                     {"fcntl", "", {EDEADLK}, "true", {}, {}, faults::Way::kOnce},
                     {"fcntl", "", {}, "false", off("fcntl: %m")},
                     {"pread", "", {}, "true"},
                     {"fstat", "", {}, "true", {}, {}, faults::Way::kOnce, 1},
                     {"fstat", "", {}, "false", off("posix_fallocate: %m")},
                     {"mmap", "", {}, "false", off("mmap: %m")},
                     {"close", "", {}, "true"},
                     {"new", "", {}, "std::bad_alloc"}},
                    whilePosting("true", "false")),
               1});
}

// The thread is done with its work when the last observer goes, and leaves what the library knows of it to the next one
// a moment later: one that starts before that gets memory of its own.
bool hasThreadEnded() {
  return test_support::waitUntil([] { return faults::held().threads == 1; });
}

// From here on the log is open.
class WithLog : public Operation {
 public:
  void prepare() override { notifier_.NotifyDataUpdate(kId, nullptr, 0); }

 protected:
  VQSharedMemNotifier notifier_{false};
};

class Registration : public WithLog {
 public:
  std::string attempt() override {
    Receiver receiver;
    if (!add(receiver)) {
      return "false";
    }
    const unsigned int number = 7;
    notifier_.NotifyDataUpdate(kId, &number, sizeof number);
    const bool hasArrived = receiver.waitFor(1) && receiver.number() == 7;
    notifier_.RemoveObserver(receiver.observer());
    return hasArrived && hasThreadEnded() ? "true, messages arrive" : "true, and nothing arrives";
  }

 private:
  bool add(Receiver& receiver) {
    const Watch watch;
    return notifier_.AddObserver(receiver.observer(), &kId, 1);
  }
};

TEST(Faults, WhileAnObserverIsAdded) {
  const std::string works = "true, messages arrive";
  faults::run({"AddObserver, the first of a process", works, [] { return std::make_unique<Registration>(); },
               both({{"pthread_create", "", {}, "false", {"AddObserver:0 no delivery thread: %m"}},
                     {"atexit", "", {}, works},
                     {"new", "", {}, "std::bad_alloc"}},
                    whilePosting(works, works))});
}

class DeliveryThread : public WithLog {
 public:
  std::string attempt() override {
    Receiver receiver;
    faults::watchDelivery(true);
    bool works = notifier_.AddObserver(receiver.observer(), &kId, 1);
    for (unsigned int number = 1; works && number <= 8; ++number) {
      works = notifier_.NotifyDataUpdate(kId, &number, sizeof number) && receiver.waitFor(number) &&
              receiver.number() == number;
    }
    notifier_.RemoveObserver(receiver.observer());
    faults::watchDelivery(false);
    return works && hasThreadEnded() ? "messages arrive" : "messages are lost";
  }
};

// What the delivery thread does beside calling observers.
TEST(Faults, OfTheDeliveryThread) {
  const std::string works = "messages arrive";
  faults::run({"receiving, on the delivery thread",
               works,
               [] { return std::make_unique<DeliveryThread>(); },
               {{"", "", {}, works}},
               1});  // what the library knows of a thread, where it cannot hear of the thread's end
}

class Removal : public WithLog {
 public:
  std::string attempt() override {
    Receiver receiver;
    notifier_.AddObserver(receiver.observer(), &kId, 1);
    if (!faults::waitForSleep(kId)) {
      return "the delivery thread does not sleep";
    }
    bool isRemoved = false;
    {
      const Watch watch;
      isRemoved = notifier_.RemoveObserver(receiver.observer());
    }
    faults::clearPlan();
    notifier_.NotifyDataUpdate(kId, nullptr, 0);
    // At the latest with that message the thread ends.
    const bool hasEnded = hasThreadEnded();
    if (receiver.count() != 0 || !hasEnded) {
      return receiver.count() != 0 ? "still called" : "the delivery thread stays";
    }
    return isRemoved ? "true" : "false";
  }
};

TEST(Faults, WhileTheLastObserverIsRemoved) {
  faults::run({"RemoveObserver, the last of a process", "true", [] { return std::make_unique<Removal>(); },
               both({{"membarrier", "", {}, "true"}, {"new", "", {}, "true"}}, whilePosting("true", "true"))});
}

class MessageToASleeper : public WithLog {
 public:
  void prepare() override {
    WithLog::prepare();
    notifier_.AddObserver(receiver_.observer(), &kId, 1);
  }
  std::string attempt() override {
    if (!faults::waitForSleep(kId)) {
      return "the delivery thread does not sleep";
    }
    const unsigned int before = receiver_.count();
    bool isPosted = false;
    {
      const Watch watch;
      isPosted = notifier_.NotifyDataUpdate(kId, nullptr, 0);
    }
    faults::clearPlan();
    if (!isPosted) {
      return "false";
    }
    const bool isNextPosted = notifier_.NotifyDataUpdate(kId, nullptr, 0);
    return isNextPosted && receiver_.waitFor(before + 2) ? "true, delivered" : "true, and not delivered";
  }
  void finish() override { notifier_.RemoveObserver(receiver_.observer()); }

 private:
  Receiver receiver_;
};

// A wake-up that fails is made up for by the next message at the latest.
TEST(Faults, WhileAMessageIsPosted) {
  faults::run({"NotifyDataUpdate, the receiver sleeps", "true, delivered",
               [] { return std::make_unique<MessageToASleeper>(); }, whilePosting("true, delivered", "false")});
}

}  // namespace
