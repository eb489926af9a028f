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

}  // namespace bench
