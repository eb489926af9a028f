// `linkapp status`, `doctor` and `why` over objects of any content and size: looking at them ends, and what is said of
// them is text and JSON.
#include <array>
#include <nlohmann/json.hpp>

#include "doctor/checks.h"
#include "doctor/report.h"
#include "inspect/status_json.h"
#include "inspect/status_text.h"
#include "tests/fuzz/folder_objects.h"
#include "tests/fuzz/require.h"
#include "why/report.h"

namespace {

using fuzz::Input;

constexpr unsigned int kMostSteps = 16;

void requireJson(const text::Fields& fields) {
  fuzz::require(nlohmann::json::accept(text::toJson(fields)), "what is shown as JSON is JSON");
}

void consult(const inspect::Snapshot& snapshot, const inspect::Place& place, Input& input) {
  static constexpr std::array kWalks = {&why::walkLaunch, &why::walkSend, &why::walkReceive, &why::walkSpp};
  doctor::Examination all;
  all.snapshot = snapshot;
  all.history = doctor::readHistory(place, snapshot);
  const doctor::Findings findings = findingsOf(all);
  fuzz::require(!reportText(findings, all, true).empty(), "the doctor has an answer");
  requireJson(reportFields(findings, all));
  for (const auto& walk : kWalks) {
    const why::Walk walked = walk(all, {std::to_string(input.below(22)), 1, ""});
    fuzz::require(!reportText(walked, true).empty(), "there is an answer to why");
    requireJson(reportFields(walked));
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static fuzz::FolderObjects objects;
  Input input(data, size);
  const std::uint8_t shape = input.byte();
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    switch (input.below(8)) {
      case 0:
        if (shape % 8 == 0) {
          objects.resize(input);
        }
        break;
      case 1:
      case 2:
        objects.post(input);
        break;
      default:
        objects.disturb(input);
        break;
    }
  }
  const inspect::Snapshot snapshot = inspect::takeSnapshot(objects.place());
  fuzz::require(!statusText(snapshot, (shape & 1) != 0).empty(), "there is a status");
  requireJson(statusFields(snapshot));
  if ((shape & 2) != 0) {
    consult(snapshot, objects.place(), input);
  }
  objects.restore();
  return 0;
}
