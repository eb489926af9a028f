// `linkapp doctor --fix`: says what it would do, asks, does it.
#pragma once

#include "doctor/examination.h"

namespace doctor {

struct FixOptions {
  bool isOnlyLooking = false;
  bool isAgreed = false;  // without asking
  bool isJson = false;
};

// The exit code: 0 where nothing is left to repair.
int fix(const FixOptions& options, const Places& places);

}  // namespace doctor
