// The lines of the debug log while it is alive.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "tests/conformance/Framework.h"

namespace conformance {

class LogLines {
 public:
  LogLines() { watchLog(&LogLines::keep, this); }
  ~LogLines() { watchLog(nullptr, nullptr); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  std::vector<std::string> lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

 private:
  static void keep(const char* line, void* context) {
    LogLines& self = *static_cast<LogLines*>(context);
    const std::lock_guard<std::mutex> lock(self.mutex_);
    self.lines_.emplace_back(line);
  }

  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace conformance
