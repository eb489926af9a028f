// Sleeping and waking on a word in shared memory.
#pragma once

#include <atomic>
#include <cstdint>

namespace bench {

using Word = std::atomic<std::uint32_t>;

// Sleeps while `word` has this value. May return for no reason.
void sleepWhile(const Word& word, std::uint32_t value);
void wakeAll(Word& word);

// A count that processes wait for. All zero is a fresh one.
class Milestone {
 public:
  void advance();
  // Asleep until the count is `target` or more.
  void waitFor(std::uint32_t target) const;
  std::uint32_t count() const { return count_.load(); }

 private:
  Word count_;
};

// A count that one process advances and one other waits for; nobody is woken who does not sleep. All zero is a fresh
// one.
class Bell {
 public:
  // The count is now `count`, which differs from the one before.
  void ring(std::uint32_t count) {
    if ((word_.exchange(count << 1) & kSleeps) != 0) {
      wakeAll(word_);
    }
  }
  bool stillShows(std::uint32_t count) const { return (word_.load() | kSleeps) == (count << 1 | kSleeps); }
  // Asleep while the count is `count`.
  void waitWhile(std::uint32_t count) {
    while (stillShows(count)) {
      sleep(count);
    }
  }

 private:
  // In the word that is waited for, since a flag beside it could be cleared for the last sleep when the next one
  // begins.
  static constexpr std::uint32_t kSleeps = 1;

  void sleep(std::uint32_t count);

  Word word_;
};

}  // namespace bench
