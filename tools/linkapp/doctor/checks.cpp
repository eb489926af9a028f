#include "doctor/checks.h"

#include <algorithm>

namespace doctor {

const std::vector<Check>& checks() {
  static const auto* const all = new std::vector<Check>{
      {"objects", "segments, locks and log are there, whole, readable", &checkObjects},
      {"modes", "modes and owners of the objects", &checkModes},
      {"umask", "umask of the processes", &checkUmask},
      {"space", "free space of /dev/shm", &checkSpace},
      {"locks", "holders of the locks", &checkLocks},
      {"table", "registered apps and their processes", &checkTable},
      {"log", "the notifier's log: layout, word size, content", &checkLog},
      {"receivers", "receivers that are stopped, behind or have lost messages", &checkReceivers},
      {"removed", "removed objects that somebody still uses", &checkRemoved},
      {"device-sides", "who speaks as the device side", &checkDeviceSides},
      {"versions", "libraries and word sizes of the processes", &checkVersions},
      {"removeipc", "logind's RemoveIPC", &checkIpcRemoval},
      {"settings", "the folder of the settings file", &checkSettings},
      {"bluetooth", "D-Bus, BlueZ, adapter, bus policy", &checkBluetooth},
  };
  return *all;
}

Findings findingsOf(const Examination& all, const std::vector<std::string>& skipped) {
  Findings findings;
  for (const Check& check : checks()) {
    if (std::find(skipped.begin(), skipped.end(), check.name) != skipped.end()) {
      continue;
    }
    const std::size_t before = findings.size();
    check.run(all, findings);
    for (std::size_t i = before; i < findings.size(); ++i) {
      findings[i].check = check.name;
    }
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.level < b.level; });
  return findings;
}

}  // namespace doctor
