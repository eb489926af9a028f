// Scenario files: parsed or refused with a place and words; never more, and never without an end.
#include "scenario/scenario.h"

#include <cstdint>

#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  fuzz::Input input(data, size);
  const std::string source = input.rest();
  const scenario::Variables variables = {{"here", "/folder"}, {"seed", "1"}};
  std::vector<scenario::ProcessLine> implied;
  scenario::Scenario read;
  scenario::ParseMistake mistake;
  if (!scenario::parse(source, variables, implied, read, mistake)) {
    fuzz::require(mistake.place.line > 0 && mistake.place.column > 0, "a mistake has a place");
    fuzz::require(!mistake.text.empty(), "a mistake is told in words");
    return 0;
  }
  for (const scenario::Step& step : read.steps) {
    for (const std::size_t process : step.processes) {
      fuzz::require(process < read.processes.size(), "steps name processes that are there");
    }
    std::string why;
    scenario::holds(R"({"event":"x","n":1,"list":[{"a":"b"}]})", step.conditions, &why);
    for (const scenario::Condition& condition : step.conditions) {
      fuzz::require(!toText(condition).empty(), "a condition can be told");
    }
  }
  return 0;
}
