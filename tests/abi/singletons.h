// The process-wide instances, as one party of a process (the program, a plug-in) gets them.
#pragma once

#include <cstddef>

constexpr const char* kSingletonNames[] = {"VQSBtApps", "SaveFileAccessFactory", "iOSAppCommonUtil", "SysDataFactory",
                                           "SysDataBtSetting"};
constexpr std::size_t kSingletonCount = sizeof kSingletonNames / sizeof *kSingletonNames;

struct Singletons {
  const void* peeked[kSingletonCount];  // before anything below was asked for; null = not made yet
  const void* got[kSingletonCount];
};

using LookAtSingletons = void (*)(Singletons* singletons);
constexpr const char* kPluginFunction = "lookAtSingletons";
