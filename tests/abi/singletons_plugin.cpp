#include "tests/abi/look_at_singletons.h"

extern "C" __attribute__((visibility("default"))) void lookAtSingletons(Singletons* singletons) {
  lookHere(singletons);
}
