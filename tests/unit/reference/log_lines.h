// The lines of the debug log while it is alive, with file, line, function and tag, which the conformance suite leaves
// to the framework.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "VQFramework/Debug/VQDbgOutput.h"

namespace reference {

class LogLines {
 public:
  LogLines() { VQDbgOutput::SetSink(&LogLines::keep, this); }
  ~LogLines() { VQDbgOutput::SetSink(nullptr, nullptr); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  // "file:line function tag text" each.
  std::vector<std::string> lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

 private:
  static void keep(const VQDbgRecord& record, void* context) {
    LogLines& self = *static_cast<LogLines*>(context);
    const std::lock_guard<std::mutex> lock(self.mutex_);
    self.lines_.push_back(std::string(record.file) + ":" + std::to_string(record.line) + " " + record.function + " " +
                          std::to_string(record.tag) + " " + record.text);
  }

  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace reference
