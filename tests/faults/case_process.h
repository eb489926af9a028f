// One case of a matrix: a forked process that makes the two attempts and reports.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/faults/held.h"
#include "tests/faults/matrix.h"

namespace faults {

struct Report {
  std::string end;  // empty: it came to its end; else "hangs", or how it died
  std::string outcome;
  std::vector<std::string> log;
  std::string again;
  std::vector<std::string> logAgain;
  unsigned int fired = 0;
  Held held = {};
  std::vector<Place> places;
};

Report runCase(const Matrix& matrix, const std::optional<Fault>& fault);

}  // namespace faults
