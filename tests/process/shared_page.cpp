#include "tests/process/shared_page.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

#include "tests/support/shm_files.h"

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t), "the kernel reads the word itself");

constexpr int kLooksBeforeSleep = 20000;

void sleepWhile(const std::atomic<std::uint32_t>& word, std::uint32_t value) {
  syscall(SYS_futex, &word, FUTEX_WAIT, value, nullptr, nullptr, 0);
}

void wakeAll(std::atomic<std::uint32_t>& word) {
  syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void Barrier::meet(std::uint32_t parties) {
  const std::uint32_t round = round_.load();
  if (arrived_.fetch_add(1) + 1 == parties) {
    arrived_.store(0);
    round_.fetch_add(1);
    wakeAll(round_);
    return;
  }
  // Looks for a while first, so that both go on at the same moment: a sleeper comes too late for a race.
  for (int looks = 0; looks < kLooksBeforeSleep && round_.load() == round; ++looks) {
  }
  while (round_.load() == round) {
    sleepWhile(round_, round);
  }
}

void* mapSharedPage(const std::string& name, std::size_t size) {
  const int fd = open(test_support::shmFile(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd == -1 || ftruncate(fd, static_cast<off_t>(size)) != 0) {
    return nullptr;
  }
  void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  return page == MAP_FAILED ? nullptr : page;
}
