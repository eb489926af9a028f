// Layers over a good framework: what a file of this folder defines takes the place of the library's own, since a
// program is searched before its libraries. original() is what the library has.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace wrong {

// `symbol` is the mangled name. A member function is called as a free one with the object in front.
template <class Function>
Function* original(const char* symbol) {
  void* const found = dlsym(RTLD_NEXT, symbol);
  if (found == nullptr) {
    fprintf(stderr, "no %s behind this layer\n", symbol);
    abort();
  }
  Function* result = nullptr;
  static_assert(sizeof result == sizeof found, "as POSIX has it");
  memcpy(&result, &found, sizeof result);
  return result;
}

}  // namespace wrong
