// The function behind an interposed one: the next of its name. Where a sanitizer has put itself in between, its own.
#pragma once

#include <dlfcn.h>

#include <atomic>

namespace faults {

// No static local: its guard may call what is being interposed.
template <class Function>
Function* realFunction(std::atomic<void*>& found, const char* name, const char* interceptor) {
  void* address = found.load(std::memory_order_acquire);
  if (address == nullptr) {
    address = dlsym(RTLD_DEFAULT, interceptor);
    address = address != nullptr ? address : dlsym(RTLD_NEXT, name);
    found.store(address, std::memory_order_release);
  }
  return reinterpret_cast<Function*>(address);
}

}  // namespace faults

// Within the interposed function of that name.
#define FAULTS_REAL(name)                                                                \
  [] {                                                                                   \
    static std::atomic<void*> found{nullptr};                                            \
    return faults::realFunction<decltype(::name)>(found, #name, "__interceptor_" #name); \
  }()
