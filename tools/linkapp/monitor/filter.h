// Which messages somebody wants to see.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/losses.h"
#include "monitor/watch.h"

namespace monitor {

// What is empty lets everything pass; of several in one list any will do.
struct Filter {
  std::vector<std::string> apps;   // names, or app ids
  std::vector<std::string> kinds;  // as kindsText() lists them
  std::vector<std::uint32_t> ids;

  bool passes(const inspect::Message& message, const Watch& watch) const;
  // Losses of other apps are left out; those of nobody known are not.
  bool passes(const inspect::Loss& loss, const Watch& watch) const;

 private:
  bool isWanted(std::uint32_t app, const Watch& watch) const;
};

// What --kind takes: names of kinds, without NOTIFYID_, and of identifiers.
const std::vector<std::string>& kindNames();

}  // namespace monitor
