// How the facade's classes listen to the SPP service. At exit the service may be gone before the objects that listen to
// it: nothing is done then.
#pragma once

#include <atomic>

#include "Attachment.h"
#include "VQBluetooth/VQSBtApps.h"

inline bool isAlive(const VQSBtApps* btApps) {
  return VQSingleton<VQSBtApps>::peekInstance() == btApps;
}

// To be called after every change of `isWanted`.
inline void followWish(const VQSBtApps* btApps, LinkAppAttachment& attachment, const std::atomic<bool>& isWanted) {
  if (isAlive(btApps)) {
    attachment.follow([&isWanted] { return isWanted.load(); });
  }
}

// Also where `observer` has left already: when it returns, the service calls it no more.
inline void leave(VQSBtApps* btApps, VQObserver_* observer) {
  if (isAlive(btApps)) {
    btApps->RemoveObserver(observer);
  }
}
