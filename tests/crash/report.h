// What a sweep found: a table to read, and a file for programs.
#pragma once

#include <string>
#include <vector>

#include "tests/crash/sweep.h"

namespace crash {

void printRow(const OperationResult& result);
void printSum(const std::vector<OperationResult>& results, double seconds);

// False where the file cannot be written.
bool writeJson(const std::string& path, const std::vector<OperationResult>& results, const SweepOptions& options,
               double seconds);

}  // namespace crash
