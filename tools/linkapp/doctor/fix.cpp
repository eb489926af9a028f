#include "doctor/fix.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <iostream>

#include "doctor/repair.h"
#include "doctor/words.h"
#include "reset/segments.h"
#include "text/fields.h"

namespace doctor {
namespace {

struct Result {
  const char* state = "planned";  // refused, done, failed
  std::string words;
};

std::string nameOf(const reset::AttachedProcess& process) {
  return std::to_string(process.pid) + "  " + text::quoted(process.command.empty() ? process.name : process.command);
}

void tellPlan(const std::vector<Repair>& repairs, std::size_t unseen) {
  for (const Repair& repair : repairs) {
    printf("%s  %s\n        %s\n", repair.inTheWay.empty() ? "would " : "refuse", repair.what.c_str(),
           repair.why.c_str());
    if (!repair.inTheWay.empty()) {
      printf("        it would hurt processes that are attached; stop them first:\n");
    }
    for (const reset::AttachedProcess& process : repair.inTheWay) {
      printf("          %s\n", nameOf(process).c_str());
    }
  }
  if (unseen != 0 && !repairs.empty()) {
    printf("%s that could not be looked into; root sees all\n",
           number(unseen, "process is there", "processes are there").c_str());
  }
  fflush(stdout);
}

bool isAgreedTo() {
  printf("Do it? [y/N] ");
  fflush(stdout);
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

Result run(const Repair& repair) {
  if (!repair.inTheWay.empty()) {
    return {"refused", "processes are attached"};
  }
  try {
    return {"done", repair.run()};
  } catch (const std::exception& error) {
    return {"failed", error.what()};
  }
}

text::Fields fieldsOf(const Repair& repair, const Result& result) {
  text::List users;
  for (const reset::AttachedProcess& process : repair.inTheWay) {
    users.push_back({{"pid", process.pid}, {"name", process.name}, {"command", process.command}});
  }
  return {{"what", repair.what},
          {"why", repair.why},
          {"state", result.state},
          {"result", result.words},
          {"attached", users}};
}

bool mayGoOn(const FixOptions& options, bool isAnythingToDo) {
  if (options.isOnlyLooking || !isAnythingToDo) {
    return false;
  }
  if (!options.isAgreed && (options.isJson || isatty(STDIN_FILENO) != 1)) {
    fprintf(stderr, "linkapp doctor: nothing was changed; --yes does it without asking\n");
    return false;
  }
  return options.isAgreed || isAgreedTo();
}

}  // namespace

int fix(const FixOptions& options, const Places& places) {
  const Look look = [] { return reset::attachedProcesses(reset::channelObjects()); };
  const Examination all = examine(places);
  const std::vector<Repair> repairs = repairsFor(all, look);
  bool isAnythingToDo = false;
  for (const Repair& repair : repairs) {
    isAnythingToDo = isAnythingToDo || repair.inTheWay.empty();
  }
  if (!options.isJson) {
    tellPlan(repairs, all.snapshot.mappings.unseen);
    fputs(repairs.empty() ? "nothing is dead that could be repaired\n" : "", stdout);
  }
  const bool isGoingOn = mayGoOn(options, isAnythingToDo);
  int code = 0;
  text::List list;
  for (const Repair& repair : repairs) {
    const Result result = isGoingOn                 ? run(repair)
                          : repair.inTheWay.empty() ? Result()
                                                    : Result{"refused", "processes are attached"};
    code = std::string(result.state) == "done" ? code : 1;
    list.push_back(fieldsOf(repair, result));
    if (!options.isJson && isGoingOn) {
      printf("%s  %s: %s\n", result.state, repair.what.c_str(), result.words.c_str());
    }
  }
  if (options.isJson) {
    printf("%s\n", text::toJson({{"ok", code == 0}, {"repairs", list}}).c_str());
  }
  return code;
}

}  // namespace doctor
