// Processes for the tests of doctor and why.
#include <sstream>

#include "doctor/checks.h"
#include "doctor/report.h"
#include "reset/segments.h"
#include "tests/support/roles.h"

namespace {

// What the doctor says to this user, Bluetooth left out.
TEST_ROLE(ask_doctor) {
  const doctor::Examination all = doctor::examine({});
  std::istringstream lines(reportText(findingsOf(all, {"bluetooth"}), all, false));
  for (std::string line; std::getline(lines, line);) {
    test_support::say(line);
  }
  test_support::say("that is all");
  return 0;
}

// Stands in the middle of what `linkapp reset` does.
TEST_ROLE(clear_half) {
  const reset::SegmentLocks locks(reset::existingSegments());
  reset::clear(reset::segments()[0]);
  reset::clear(reset::segments()[1]);
  test_support::say("ready");
  test_support::waitForParent();
  return 0;
}

}  // namespace
