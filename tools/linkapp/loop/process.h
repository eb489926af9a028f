// Another program as a child: its standard input and output joined to the loop, its end reported once.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "loop/loop.h"
#include "loop/signals.h"

namespace loop {

// How a process ended.
struct Ending {
  int code = 0;    // exit code
  int signal = 0;  // not 0: it was ended by this signal

  // "exit code 1", "signal 9"
  std::string text() const;
};

class Process {
 public:
  struct Start {
    std::vector<std::string> arguments;                            // the program first; looked for in PATH
    std::vector<std::pair<std::string, std::string>> environment;  // added to the present one
  };
  struct Listener {
    virtual ~Listener() = default;
    // Both from within the loop. The listener may destroy the process in onEnded, not in onOutput.
    virtual void onOutput(const char* data, std::size_t size) = 0;
    virtual void onEnded(const Ending& ending) = 0;  // after its last output
  };

  // Throws std::system_error. The child gets a process group of its own and dies with this process.
  Process(Loop& loop, Signals& signals, const Start& start, Listener& listener);
  // Kills it where it still runs, with its group.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }

  // Queues what the pipe does not take at once.
  void write(const std::string& data);
  // Bytes that the process has not taken yet.
  std::size_t pending() const { return pending_.size(); }
  // Bytes that it has taken since it was started.
  std::size_t taken() const { return taken_; }
  // After everything pending was written.
  void closeInput();
  // While false nothing is read: the process waits when its pipe is full.
  void setReading(bool isReading);

  void signal(int number) const;  // to its group
  // Closes its input; where it does not end in time it is terminated, then killed.
  void end(std::chrono::microseconds patience);
  void kill() const;

 private:
  void flush();
  void read();
  void reap();
  void reportEndIfOver();
  void closeOutput();
  void closeInputNow();

  Loop& loop_;
  Signals& signals_;
  Listener& listener_;
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  bool isReading_ = true;
  bool isClosing_ = false;
  bool hasEnded_ = false;  // reaped
  bool isReported_ = false;
  std::string pending_;
  std::size_t taken_ = 0;
  Ending ending_;
  Signals::Id childId_ = 0;
  TimerId patience_ = 0;
};

}  // namespace loop
