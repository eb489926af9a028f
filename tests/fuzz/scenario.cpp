// Scenario files: parsed or refused with a place and words; never more, and never without an end. Behind a NUL stands
// what one of its processes tells.
#include "scenario/scenario.h"

#include <cstdint>

#include "scenario/actor.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

void requireSense(const scenario::Scenario& read) {
  for (const scenario::Step& step : read.steps) {
    for (const std::size_t process : step.processes) {
      fuzz::require(process < read.processes.size(), "steps name processes that are there");
    }
    for (const scenario::Condition& condition : step.conditions) {
      fuzz::require(!toText(condition).empty(), "a condition can be told");
    }
  }
}

void listen(const scenario::Scenario& read, const std::string& output) {
  const scenario::ProcessLine process = {"process", scenario::kindOf("app"), {}, {}};
  scenario::Actor actor(process);
  for (const scenario::Step& step : read.steps) {
    actor.forbid(step.event, step.conditions);
  }
  for (std::size_t begin = 0; begin < output.size();) {
    const std::size_t end = std::min(output.find('\n', begin), output.size());
    actor.onLine(output.substr(begin, end - begin));
    begin = end + 1;
  }
  for (const scenario::Step& step : read.steps) {
    actor.takeEvent(step.event, step.conditions);
    fuzz::require(!actor.tellNearest(step.event, step.conditions).empty(), "what has come can be told");
  }
  while (const auto reply = actor.takeReply()) {
    for (const scenario::Step& step : read.steps) {
      std::string why;
      fuzz::require(holds(*reply, step.conditions, &why) || !why.empty(), "what does not hold is told");
    }
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  fuzz::Input input(data, size);
  const std::string all = input.rest();
  const std::size_t end = std::min(all.find('\0'), all.size());
  scenario::Scenario read;
  scenario::ParseMistake mistake;
  if (!scenario::parse(all.substr(0, end), {{"here", "/folder"}, {"seed", "1"}}, {}, read, mistake)) {
    fuzz::require(mistake.place.line > 0 && mistake.place.column > 0, "a mistake has a place");
    fuzz::require(!mistake.text.empty(), "a mistake is told in words");
    return 0;
  }
  requireSense(read);
  constexpr std::size_t kMostSteps = 64;  // of those that listen: a repeat makes thousands
  read.steps.resize(std::min(read.steps.size(), kMostSteps));
  listen(read, end < all.size() ? all.substr(end + 1) : "");
  return 0;
}
