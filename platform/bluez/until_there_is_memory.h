// For whom has nobody to tell that memory has ended.
#pragma once

#include <sched.h>

#include <new>

namespace vqbluez {

// What `step` returns, once it finds memory. It is called again from its beginning.
template <class Step>
auto untilThereIsMemory(const Step& step) -> decltype(step()) {
  for (;;) {
    try {
      return step();
    } catch (const std::bad_alloc&) {
      sched_yield();
    }
  }
}

}  // namespace vqbluez
