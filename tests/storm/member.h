// What every process of the storm has: its journal, its name among the others, its view of the log, its dice.
#pragma once

#include <cstdint>
#include <random>

#include "tests/storm/journal.h"
#include "tests/storm/log_view.h"
#include "tests/support/roles.h"

namespace storm {

class Member {
 public:
  // Arguments of every role: NUMBER INCARNATION SEED.
  explicit Member(const test_support::Arguments& args);

  std::uint32_t number() const { return number_; }
  std::uint32_t incarnation() const { return incarnation_; }
  Journal& journal() const { return journal_; }
  static Phase phase() { return ownBoard().phase.load(); }

  // On the main thread.
  std::uint32_t dice(std::uint32_t from, std::uint32_t to) {
    return std::uniform_int_distribution<std::uint32_t>(from, to)(random_);
  }
  // Mostly small, now and then as large as may be.
  std::uint32_t diceSize();
  void napUpTo(std::uint32_t microseconds);

  // Says that everything is up. To be called when the objects are there and before anything is sent.
  void becomeReady();
  // Returns when the supervisor has read the log so far that it will not be overrun.
  void waitForFollower() const;

  // --- on the delivery thread, inside an observer ---

  // Writes down a message that came through a ring, and returns its stamp where it came whole.
  std::optional<Stamp> noteReceived(std::uint32_t ring, const std::uint8_t* bytes, std::uint32_t size);
  void note(EventKind kind, std::uint64_t sum, bool isWhole);

 private:
  Event received(EventKind kind);
  bool losesThis();

  const std::uint32_t number_;
  const std::uint32_t incarnation_;
  Journal& journal_;
  LogView log_;          // main thread
  LogView deliveryLog_;  // delivery thread
  std::mt19937 random_;
  std::uint32_t receivedCount_ = 0;
};

}  // namespace storm
