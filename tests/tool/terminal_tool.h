// The tool at a terminal: what is typed, and what the screen gets.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

class TerminalTool {
 public:
  // `arguments` without the tool itself. The environment is given to the child only; an empty value takes it away.
  explicit TerminalTool(const std::vector<std::string>& arguments,
                        const std::vector<std::pair<std::string, std::string>>& environment = {});
  ~TerminalTool();
  TerminalTool(const TerminalTool&) = delete;
  TerminalTool& operator=(const TerminalTool&) = delete;

  void type(const std::string& keys) const;
  // Whether this comes on the screen behind what was awaited last. A failure is reported.
  bool await(const std::string& text);
  void hangUp();
  void signal(int number) const;
  // As a terminal whose window somebody pulls at.
  void resize(unsigned short rows, unsigned short columns) const;
  // The exit code, 128 + signal, or none after the deadline.
  std::optional<int> awaitEnd();
  // Everything so far.
  const std::string& screen() const { return screen_; }

 private:
  bool readMore(int milliseconds);

  pid_t pid_ = -1;
  int fd_ = -1;
  std::string screen_;
  std::size_t awaited_ = 0;
};
