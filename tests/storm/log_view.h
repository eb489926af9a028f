// The notifier's log and the lock objects as they lie in /dev/shm, looked at from outside: read-only, and without any
// of the framework's code.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/reference/message_log_layout.h"

namespace storm {

// One message of the log.
struct LogEntry {
  std::uint64_t sequence = 0;
  std::uint64_t time = 0;
  std::uint32_t id = 0;
  std::uint32_t pid = 0;
  bool isControl = false;
  std::uint32_t app = 0;   // rings, status, table
  std::uint32_t slot = 0;  // rings
  std::uint32_t kind = 0;  // status
  std::uint64_t sum = 0;   // checksum of a text's or a bare message's bytes
};

struct Place {
  pid_t pid = 0;
  std::uint64_t position = 0;
  std::uint64_t lost = 0;
};

class LogView {
 public:
  // False where the log is not there yet.
  bool open();
  ~LogView();
  LogView() = default;
  LogView(const LogView&) = delete;
  LogView& operator=(const LogView&) = delete;

  std::uint64_t head() const;
  // None where the message is no longer there.
  std::optional<LogEntry> read(std::uint64_t sequence) const;
  std::vector<Place> places() const;  // those in use
  // The number of the next message that a process reads; none where it is not listed.
  std::optional<std::uint64_t> positionOf(pid_t pid) const;
  // The thread that holds the posting lock; 0 = none.
  pid_t poster() const;
  // Whether its last holder died and nobody has taken it since.
  bool hasPosterDied() const;
  std::uint32_t sleepers() const;

 private:
  const vqframework::MessageLogObject* log_ = nullptr;
};

// A named lock.
class LockView {
 public:
  explicit LockView(std::string segment) : name_(std::move(segment) + ".lock") {}
  ~LockView();
  LockView(const LockView&) = delete;
  LockView& operator=(const LockView&) = delete;

  // The process that holds it, or held it last and died; 0 = none.
  pid_t holder();

 private:
  const std::string name_;
  const void* object_ = nullptr;
};

}  // namespace storm
