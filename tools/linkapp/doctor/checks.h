// The table of what the doctor looks at.
#pragma once

#include <string>
#include <vector>

#include "doctor/examination.h"
#include "doctor/finding.h"

namespace doctor {

struct Check {
  const char* name;   // as --skip takes it
  const char* looks;  // at what, in a few words
  void (*run)(const Examination& all, Findings& findings);
};

const std::vector<Check>& checks();

// Faults first, then notes, then what could not be looked at; within these in the order of the table.
Findings findingsOf(const Examination& all, const std::vector<std::string>& skipped = {});

// The parts of the table, by what they look at.
void checkObjects(const Examination& all, Findings& findings);
void checkModes(const Examination& all, Findings& findings);
void checkUmask(const Examination& all, Findings& findings);
void checkSpace(const Examination& all, Findings& findings);
void checkLocks(const Examination& all, Findings& findings);
void checkTable(const Examination& all, Findings& findings);
void checkLog(const Examination& all, Findings& findings);
void checkReceivers(const Examination& all, Findings& findings);
void checkRemoved(const Examination& all, Findings& findings);
void checkDeviceSides(const Examination& all, Findings& findings);
void checkVersions(const Examination& all, Findings& findings);
void checkIpcRemoval(const Examination& all, Findings& findings);
void checkSettings(const Examination& all, Findings& findings);
void checkBluetooth(const Examination& all, Findings& findings);

}  // namespace doctor
