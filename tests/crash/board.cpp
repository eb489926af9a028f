#include "tests/crash/board.h"

#include <linux/futex.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <new>
#include <stdexcept>

#include "tests/support/wait_until.h"

namespace crash {
namespace {

static_assert(sizeof(Word) == sizeof(std::uint32_t), "the kernel reads the word itself");

// Somebody may die before he wakes others: they look again so often.
constexpr double kNap = 0.05;

void sleepWhile(const Word& word, std::uint32_t value, double seconds) {
  const timespec limit = {0, static_cast<long>(std::min(seconds, kNap) * 1e9)};
  syscall(SYS_futex, &word, FUTEX_WAIT, value, &limit, nullptr, 0);
}

void announceChange(Board& board) {
  ++board.changes;
  syscall(SYS_futex, &board.changes, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace

Board& makeBoard() {
  void* const memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::runtime_error("no memory to share");
  }
  return *new (memory) Board();
}

void freeBoard(Board& board) {
  munmap(&board, sizeof board);
}

void wipe(Board& board) {
  new (&board) Board();
}

void tell(Board& board, Word& word, std::uint32_t value) {
  word.store(value);
  announceChange(board);
}

std::uint32_t hear(Board& board, const Word& word) {
  for (;;) {
    const std::uint32_t changes = board.changes.load();
    if (const std::uint32_t value = word.load()) {
      return value;
    }
    sleepWhile(board.changes, changes, kNap);
  }
}

void tellQuietly(Word& word, std::uint32_t value) {
  word.store(value);
  syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void hearMore(const Word& word, std::uint32_t than) {
  for (std::uint32_t value = word.load(); value <= than; value = word.load()) {
    sleepWhile(word, value, kNap);
  }
}

bool waitFor(Board& board, const std::function<bool()>& condition, double seconds) {
  const double end = test_support::monotonicSeconds() + seconds;
  for (;;) {
    const std::uint32_t changes = board.changes.load();
    if (condition()) {
      return true;
    }
    const double left = end - test_support::monotonicSeconds();
    if (left <= 0) {
      return false;
    }
    sleepWhile(board.changes, changes, left);
  }
}

void complain(Board& board, const std::string& what) {
  std::uint32_t none = 0;
  if (board.hasComplaint.compare_exchange_strong(none, 1)) {
    snprintf(board.complaint, sizeof board.complaint, "%s", what.c_str());
    tell(board, board.hasComplaint, 2);  // now it can be read
  }
}

std::uint32_t hashOf(const void* data, std::size_t size) {
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = 0; i < size; ++i) {
    hash = (hash ^ static_cast<const unsigned char*>(data)[i]) * 16777619U;
  }
  return hash;
}

}  // namespace crash
