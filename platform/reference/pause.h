// Tells the processor that the thread looks at the same word again and again.
#pragma once

namespace vqframework {

inline void pauseBriefly() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__arm__) || defined(__aarch64__)
  asm volatile("yield");
#endif
}

}  // namespace vqframework
