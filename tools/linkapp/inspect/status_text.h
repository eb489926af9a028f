// A snapshot for people.
#pragma once

#include <string>

#include "inspect/snapshot.h"

namespace inspect {

std::string statusText(const Snapshot& snapshot, bool isColoured);

// What is there, in one line: "no channel", "3 of 20 apps, ...".
std::string summaryOf(const Snapshot& snapshot);

}  // namespace inspect
