// Faults of the channel and the machine around it, and the words in which the tool names each. The tests make every
// fault (faults_test.cpp); docs/observability.md shows the table (fault_table.cpp writes it).
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace fault_table {

struct Fault {
  const char* test;      // its name
  const char* fault;     // what is wrong
  const char* injected;  // how the test makes it
  const char* command;   // that finds it, without "linkapp"
  const char* words;     // that it says
  bool isNote = false;   // worth knowing, no fault: the exit code is 0
  bool needsBlueZ = false;
};

inline std::ostream& operator<<(std::ostream& out, const Fault& fault) {
  return out << fault.test;
}

const std::vector<Fault>& faults();

}  // namespace fault_table
