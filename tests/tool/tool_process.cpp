#include "tests/tool/tool_process.h"

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace {

class Program final : public loop::Process::Listener {
 public:
  Program(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments)
      : process_(loop, signals, {arguments, {}}, *this) {
    process_.closeInput();
  }

  void onOutput(const char* data, std::size_t size) override {
    lines_.add(data, size, [this](const std::string& line) {
      ran.lines.push_back(line);
      return true;
    });
  }
  void onEnded(const loop::Ending& ending) override {
    ran.code = ending.signal != 0 ? 128 + ending.signal : ending.code;
  }

  Ran ran;

 private:
  loop::Lines lines_{std::size_t{1024} * 1024};
  loop::Process process_;
};

bool holdsAll(const std::string& line, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    if (line.find(part) == std::string::npos) {
      return false;
    }
  }
  return true;
}

std::vector<std::string> withTool(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {LINKAPP_TOOL};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

}  // namespace

std::chrono::milliseconds patience() {
  return std::chrono::milliseconds(static_cast<int>(test_support::kDeadline * 1000));
}

ToolProcess::ToolProcess(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments)
    : loop_(loop), process_(loop, signals, {withTool(arguments), {}}, *this) {}

void ToolProcess::onOutput(const char* data, std::size_t size) {
  lines_.add(data, size, [this](const std::string& line) {
    told_.push_back(line);
    return true;
  });
}

bool ToolProcess::await(const std::vector<std::string>& parts) {
  const std::size_t begin = awaited_;
  const bool hasCome = loop_.runUntil(
      [&] {
        while (awaited_ < told_.size()) {
          if (holdsAll(told_[awaited_++], parts)) {
            return true;
          }
        }
        return false;
      },
      patience());
  if (!hasCome) {
    std::string all;
    for (std::size_t i = begin; i < told_.size(); ++i) {
      all += told_[i] + "\n";
    }
    ADD_FAILURE() << "no line with " << testing::PrintToString(parts) << " in\n" << all;
  }
  return hasCome;
}

std::optional<int> ToolProcess::awaitEnd() {
  if (!loop_.runUntil([this] { return ending_.has_value(); }, patience())) {
    return std::nullopt;
  }
  return ending_->signal != 0 ? 128 + ending_->signal : ending_->code;
}

Ran runProgram(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments) {
  Program program(loop, signals, arguments);
  loop.runUntil([&] { return program.ran.code.has_value(); }, 3 * patience());
  return program.ran;
}
