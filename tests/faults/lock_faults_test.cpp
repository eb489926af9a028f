// Named locks: made, taken, given back.
#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <optional>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "platform/reference/named_lock.h"
#include "tests/faults/matrix.h"
#include "tests/support/shm_files.h"

namespace {

using faults::Operation;
using faults::Watch;
using test_support::removeShm;

constexpr const char* kName = "faults";
constexpr const char* kObject = "faults.lock";
constexpr const char* kShared = "shared by all processes";
constexpr const char* kOwn = "works inside this process";

// Seen from outside while the lock is held.
std::string kindOfHeldLock() {
  const auto holder = test_support::shmWord(kObject, offsetof(vqframework::LockObject, holderPid));
  return holder == static_cast<std::uint32_t>(getpid()) ? kShared : kOwn;
}

std::vector<std::string> cannotBeShared(const std::string& why) {
  return {std::string("VQSharedSyncObject:0 lock \"faults\" cannot be shared with other processes: ") + why};
}

class MadeLock : public Operation {
 public:
  std::string attempt() override VQ_NO_THREAD_SAFETY_ANALYSIS {
    removeShm(kObject);
    return takeAndGiveBack();
  }

 protected:
  static std::string takeAndGiveBack() VQ_NO_THREAD_SAFETY_ANALYSIS {
    std::optional<VQSharedSyncObject> lock;
    {
      const Watch watch;
      lock.emplace(kName);
    }
    lock->lock();
    lock->lock();
    std::string kind = kindOfHeldLock();
    lock->unlock();
    lock->unlock();
    const Watch watch;
    lock.reset();
    return kind;
  }
};

TEST(Faults, WhileALockIsMade) {
  faults::run({"named lock, made",
               kShared,
               [] { return std::make_unique<MadeLock>(); },
               {{"shm_open", "", {}, kOwn, cannotBeShared("shm_open: %m")},
                {"fcntl", "", {EINTR}, kShared},
                {"fcntl", "", {EDEADLK}, kShared, {}, {}, faults::Way::kOnce},
                {"fcntl", "", {}, kOwn, cannotBeShared("fcntl: %m")},
                {"pread", "", {}, kShared},
                {"fstat", "", {}, kShared, {}, {}, faults::Way::kOnce, 1},
                {"fstat", "", {}, kOwn, cannotBeShared("posix_fallocate: %m")},
                {"posix_fallocate", "", {EINTR}, kShared},
                {"posix_fallocate", "", {}, kOwn, cannotBeShared("posix_fallocate: %m")},
                {"mmap", "", {}, kOwn, cannotBeShared("mmap: %m")},
                {"mutexattr init", "", {}, kOwn, cannotBeShared("pthread_mutex_init: %m")},
                {"mutexattr setprotocol", "", {}, kOwn, cannotBeShared("pthread_mutex_init: %m")},
                {"mutex init", "", {}, kOwn, cannotBeShared("pthread_mutex_init: %m")},
                {"close", "", {}, kShared},
                {"new", "", {}, "std::bad_alloc"}},
               1,  // the name's place in the table of locks
               {"munmap"}});
}

class OpenedLock : public MadeLock {
 public:
  void prepare() override {
    MadeLock::attempt();
    faults::forgetSeen();
  }
  std::string attempt() override { return takeAndGiveBack(); }
};

TEST(Faults, WhileALockOfOthersIsOpened) {
  faults::run({"named lock, opened",
               kShared,
               [] { return std::make_unique<OpenedLock>(); },
               {{"shm_open", "", {EACCES}, kShared, {}, {}, faults::Way::kOnce},
                {"shm_open", "", {}, kOwn, cannotBeShared("shm_open: %m")},
                {"fcntl", "", {EINTR}, kShared},
                {"fcntl", "", {EDEADLK}, kShared, {}, {}, faults::Way::kOnce},
                {"fcntl", "", {}, kOwn, cannotBeShared("fcntl: %m")},
                {"pread", "", {}, kShared},
                {"fstat", "", {}, kShared, {}, {}, faults::Way::kOnce, 1},
                {"fstat", "", {}, kOwn, cannotBeShared("posix_fallocate: %m")},
                {"mmap", "", {}, kOwn, cannotBeShared("mmap: %m")},
                {"close", "", {}, kShared},
                {"new", "", {}, "std::bad_alloc"}},
               0,
               {"munmap"}});
}

class TakenLock : public Operation {
 public:
  void prepare() override { lock_.emplace(kName); }
  std::string attempt() override VQ_NO_THREAD_SAFETY_ANALYSIS {
    std::string kind;
    {
      const Watch watch;
      lock_->lock();
      lock_->lock();
    }
    kind = kindOfHeldLock();
    const Watch watch;
    lock_->unlock();
    lock_->unlock();
    return kind;
  }
  void finish() override { lock_.reset(); }

 private:
  std::optional<VQSharedSyncObject> lock_;
};

TEST(Faults, WhileALockIsTakenAndGivenBack) {
  const std::vector<std::string> takenOver = {"lock:0 lock \"faults\": its holder died; taken over"};
  const std::vector<std::string> damaged = {
      "lock:0 lock \"faults\" is damaged and works inside this process only; stop every process that uses it and "
      "remove /dev/shm/faults.lock"};
  faults::run({"named lock, taken and given back",
               kShared,
               [] { return std::make_unique<TakenLock>(); },
               {{"mutex trylock", "", {EBUSY}, kShared},
                {"", "", {EOWNERDEAD}, kShared, takenOver},
                {"", "", {ENOTRECOVERABLE, EAGAIN}, kOwn, damaged}}});
}

}  // namespace
