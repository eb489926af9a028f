// What a run of a scenario shows: its steps as they are begun, and one line at the end.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "scenario/runner.h"

namespace scenario {

class Report final : public Progress {
 public:
  // Steps go to standard output as text, with JSON to standard error; the summary to standard output.
  Report(const std::string& file, bool isJson, bool isReverse);

  void onStep(const Step& step) override;
  // `failure` is empty where all went well.
  void finish(const std::string& failure);

 private:
  const std::string file_;
  const bool isJson_;
  const bool isReverse_;
  const bool isColoured_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::size_t steps_ = 0;
};

}  // namespace scenario
