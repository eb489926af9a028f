// A command that looks on, started and handled as rudely as anybody might.
#pragma once

#include <sys/types.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

// What to run. "FILE" among the arguments stands for a file of the test's own; without it, its standard output is one.
struct OnlookerKind {
  std::string name;
  std::vector<std::string> arguments;  // without the tool itself
};

inline void PrintTo(const OnlookerKind& kind, std::ostream* out) {
  *out << kind.name;
}

class Onlooker {
 public:
  explicit Onlooker(const OnlookerKind& kind);
  ~Onlooker();
  Onlooker(const Onlooker&) = delete;
  Onlooker& operator=(const Onlooker&) = delete;

  pid_t pid() const { return pid_; }
  // Whether it writes something that it had not written when this was called, before the deadline.
  [[nodiscard]] bool writesMore() const;
  void signal(int number) const;
  // Returns when it is stopped; false where it is not before the deadline.
  [[nodiscard]] bool suspend() const;
  // The exit code, 128 + signal, or none after the deadline.
  std::optional<int> awaitEnd();

 private:
  off_t written() const;

  pid_t pid_ = -1;
  int file_ = -1;  // in memory
};
