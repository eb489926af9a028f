#include "benchmarks/support/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

namespace bench {

static_assert(sizeof(Word) == sizeof(std::uint32_t), "the kernel reads the word itself");

void sleepWhile(const Word& word, std::uint32_t value) {
  syscall(SYS_futex, &word, FUTEX_WAIT, value, nullptr, nullptr, 0);
}

void wakeAll(Word& word) {
  syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void Milestone::advance() {
  ++count_;
  wakeAll(count_);
}

void Milestone::waitFor(std::uint32_t target) const {
  for (std::uint32_t count = count_.load(); count < target; count = count_.load()) {
    sleepWhile(count_, count);
  }
}

void Bell::sleep(std::uint32_t count) {
  std::uint32_t awake = count << 1;
  if (word_.compare_exchange_strong(awake, awake | kSleeps) || awake == (count << 1 | kSleeps)) {
    sleepWhile(word_, count << 1 | kSleeps);
  }
}

}  // namespace bench
