#include "record/started_app.h"

#include <signal.h>

#include <chrono>

#include "text/file.h"

namespace record {
namespace {

constexpr std::size_t kLongestLine = std::size_t{1024} * 1024;
constexpr std::chrono::seconds kReplyPatience{10};
constexpr std::chrono::seconds kEndPatience{5};

}  // namespace

StartedApp::StartedApp(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments,
                       const std::string& log)
    : loop_(loop),
      log_(log.empty() ? std::ofstream() : text::openLog(log, true)),
      lines_(kLongestLine),
      process_(loop, signals, {arguments, {}}, *this) {}

void StartedApp::onOutput(const char* data, std::size_t size) {
  const auto takeLine = [this](const std::string& line) {
    take(line);
    return true;
  };
  for (bool isGood = lines_.add(data, size, takeLine); !isGood; isGood = lines_.go(takeLine)) {
  }
}

void StartedApp::take(const std::string& line) {
  if (log_.is_open()) {
    log_ << line << '\n' << std::flush;
  }
  if (line.rfind(R"({"reply":)", 0) == 0) {
    ++replied_;
    reply_ = line;
  } else if (line.rfind(R"({"event":"ready")", 0) == 0) {
    isReady_ = true;
  }
}

std::optional<std::string> StartedApp::ask(const std::string& command) {
  if (hasEnded() || isStopped_) {
    return std::nullopt;
  }
  const std::uint64_t wanted = ++asked_;
  process_.write(command + "\n");
  loop_.runUntil([&] { return replied_ >= wanted || hasEnded(); }, kReplyPatience);
  return replied_ >= wanted ? std::optional(reply_) : std::nullopt;
}

void StartedApp::stop() {
  isStopped_ = true;
  process_.signal(SIGSTOP);
}

void StartedApp::proceed() {
  isStopped_ = false;
  process_.signal(SIGCONT);
}

void StartedApp::end() {
  proceed();
  process_.write("quit\n");
  process_.end(kEndPatience);
  loop_.runUntil([this] { return hasEnded(); }, 3 * kEndPatience);
}

void StartedApp::kill() {
  process_.kill();
  loop_.runUntil([this] { return hasEnded(); }, kEndPatience);
}

}  // namespace record
