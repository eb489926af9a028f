// What the run has found, for the table in the documentation: written to $LINKAPP_FAULTS_JSON at the end of the run.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/plan.h"

namespace faults {

struct Result {
  std::string operation;
  Fault fault;
  std::string outcome;
  std::vector<std::string> log;  // with "%m" for the text of the error
  std::string again;             // outcome of the next attempt
};

void addResult(const Result& result);

}  // namespace faults
