#include "doctor/report.h"

#include <algorithm>

#include "doctor/checks.h"
#include "doctor/words.h"

namespace doctor {
namespace {

constexpr const char* kBold = "\033[1m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kPlain = "\033[0m";

const char* nameOf(Level level) {
  return level == Level::kFault ? "fault" : level == Level::kNote ? "note" : "unchecked";
}

std::size_t count(const Findings& findings, Level level) {
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(),
                                                [level](const Finding& finding) { return finding.level == level; }));
}

std::string line(const char* title, const std::string& words) {
  return words.empty() ? "" : "    " + std::string(title) + words + "\n";
}

std::string verdictOf(const Findings& findings) {
  std::string verdict =
      count(findings, Level::kFault) == 0 ? "nothing wrong" : number(faults(findings), "fault", "faults");
  const std::size_t notes = count(findings, Level::kNote);
  verdict += notes == 0 ? "" : ", " + number(notes, "thing", "things") + " worth knowing";
  return verdict + (count(findings, Level::kUnchecked) == 0 ? "" : ", not everything could be looked at");
}

}  // namespace

std::size_t faults(const Findings& findings) {
  return count(findings, Level::kFault);
}

std::string reportText(const Findings& findings, const Examination& all, bool isColoured) {
  const auto coloured = [isColoured](const char* colour, const std::string& words) {
    return isColoured ? colour + words + kPlain : words;
  };
  std::string text = coloured(kBold, "linkapp doctor") + "  " + std::to_string(checks().size()) + " checks, " +
                     number(all.system.processes.size(), "process", "processes") + ": " + verdictOf(findings) + "\n";
  for (const Finding& finding : findings) {
    text += "\n" + coloured(finding.level == Level::kFault ? kRed : kBold, nameOf(finding.level)) + "  " +
            coloured(kBold, finding.what) + "  [" + finding.check + "]\n";
    text += line("proof        ", finding.proof) + line("consequence  ", finding.consequence) +
            line("remedy       ", finding.remedy);
  }
  if (all.snapshot.mappings.unseen != 0) {
    text += "\n" + number(all.snapshot.mappings.unseen, "process", "processes") + " could not be looked into" +
            (all.system.user == 0 ? "\n" : "; root sees all\n");
  }
  return text;
}

text::Fields reportFields(const Findings& findings, const Examination& all) {
  text::List list;
  for (const Finding& finding : findings) {
    list.push_back({{"check", finding.check},
                    {"level", nameOf(finding.level)},
                    {"what", finding.what},
                    {"proof", finding.proof},
                    {"consequence", finding.consequence},
                    {"remedy", finding.remedy}});
  }
  return {{"time", all.snapshot.wallTime},
          {"ok", faults(findings) == 0},
          {"checks", checks().size()},
          {"processes", all.system.processes.size()},
          {"unseenProcesses", all.snapshot.mappings.unseen},
          {"faults", faults(findings)},
          {"findings", list}};
}

}  // namespace doctor
