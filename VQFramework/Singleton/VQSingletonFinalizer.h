// VQSingletonFinalizer: ends the process-wide instances when the process exits.
//
// At the first addDestroyFunc it registers itself with atexit. It then pops one function at a time, the newest first,
// and calls it with no lock held, until none is left; functions may add others meanwhile.
#pragma once

#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQSingletonFinalizer {
 public:
  // Any thread. A null function is ignored.
  static void addDestroyFunc(void (*destroy)());
};
