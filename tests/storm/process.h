// One process of the storm, as the supervisor sees it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/storm/journal.h"
#include "tests/storm/model.h"

namespace storm {

// Memory that all processes share, and where their standard error goes.
class Common {
 public:
  Common();
  ~Common();
  Common(const Common&) = delete;
  Common& operator=(const Common&) = delete;

  Board& board() const { return *board_; }
  int boardDescriptor() const { return boardFd_; }
  int logDescriptor() const { return logFd_; }
  // Everything that was logged since the last call.
  std::string takeLog();

 private:
  Board* board_ = nullptr;
  int boardFd_ = -1;
  int logFd_ = -1;
};

class Process {
 public:
  // This executable once more, in the role of its kind. Dies with the thread that started it.
  Process(const Common& common, Kind kind, std::uint32_t number, std::uint32_t incarnation, std::uint32_t seed);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  Kind kind() const { return life_.kind; }
  const std::string& name() const { return life_.name; }
  pid_t pid() const { return life_.pid; }
  const Journal& journal() const { return journal_; }
  std::uint64_t startTime() const { return life_.startTime; }
  bool isReady() const { return journal_.readyTime() != 0; }
  bool receives() const { return life_.kind != Kind::kPoster; }
  std::vector<pid_t> threads() const;

  void setMustHave(std::uint64_t head) { life_.mustHave = head; }
  // Whether it has ended by itself, which nobody here does, and how.
  std::optional<std::string> ownEnd();
  void signal(int number) const;
  // SIGSTOP; returns when all its threads have stopped, or it is gone.
  void stop() const;
  // SIGKILL; returns when it is gone, and looks around with `look` meanwhile. May be called once more.
  void kill(const std::function<void()>& look);
  // Of a dead one: what it leaves. Its journal's memory goes.
  Life takeLife();

 private:
  [[noreturn]] void becomeRole(const Common& common, const std::vector<std::string>& arguments, pid_t parent) const;

  Journal journal_;
  Life life_;
  bool isGone_ = false;
};

const char* nameOf(Kind kind);

}  // namespace storm
