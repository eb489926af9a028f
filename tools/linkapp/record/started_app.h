// A `linkapp app` that a replay has started and tells what to do.
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "loop/lines.h"
#include "loop/loop.h"
#include "loop/process.h"
#include "loop/signals.h"

namespace record {

class StartedApp final : private loop::Process::Listener {
 public:
  // Everything it tells goes to the file `log`, too, where that is no empty text; its folder is made. Throws
  // std::runtime_error where the file cannot be written, std::system_error where the application cannot be started.
  StartedApp(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments,
             const std::string& log);

  std::uint32_t pid() const { return static_cast<std::uint32_t>(process_.pid()); }
  bool isReady() const { return isReady_; }
  bool hasEnded() const { return ending_.has_value(); }
  bool isStopped() const { return isStopped_; }

  // One line; the reply is awaited. None where none came.
  std::optional<std::string> ask(const std::string& command);
  void stop();
  void proceed();
  // Asks it to end; by force where it does not.
  void end();
  void kill();

 private:
  void onOutput(const char* data, std::size_t size) override;
  void onEnded(const loop::Ending& ending) override { ending_ = ending; }
  void take(const std::string& line);

  loop::Loop& loop_;
  std::ofstream log_;
  loop::Lines lines_;
  bool isReady_ = false;
  bool isStopped_ = false;
  std::uint64_t asked_ = 0;
  std::uint64_t replied_ = 0;
  std::string reply_;
  std::optional<loop::Ending> ending_;
  loop::Process process_;
};

}  // namespace record
