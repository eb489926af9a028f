// Code that every party compiles for itself, as users of the libraries do.
#pragma once

#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "LinkAppCommon/private/SysDataFactory.h"
#include "VQBluetooth/VQSBtApps.h"
#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "tests/abi/singletons.h"

template <class... T>
void lookAtThese(Singletons& singletons) {
  static_assert(sizeof...(T) == kSingletonCount, "one for each name");
  std::size_t peeks = 0;
  ((singletons.peeked[peeks++] = VQSingleton<T>::peekInstance()), ...);
  std::size_t gets = 0;
  ((singletons.got[gets++] = VQSingleton<T>::getInstance()), ...);
}

inline void lookHere(Singletons* singletons) {
  lookAtThese<VQSBtApps, SaveFileAccessFactory, iOSAppCommonUtil, SysDataFactory, SysDataBtSetting>(*singletons);
}
