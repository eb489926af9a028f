// iOSAppCommonLocalMem: one process's handle on a data ring.
//
// It is the segment with its lock, the cross-process notifier that announces written slots, and the in-process subject
// that relays every announcement to the objects of this process. Server and clients write and read the ring.
// Threads: `update` and with it every observer run on the framework's delivery thread.
// Lifetime: observers may stay attached; the destructor stops delivery first.
#pragma once

#include <cstdint>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"

class LINKAPP_API iOSAppCommonLocalMem : public VQSharedMemory<iOSAppCommonDataList, 1>, public VQSubject {
 public:
  // Opens segment `name` and registers for `notifyId`. Sets the ring's write position back to 0, without the lock:
  // starting an endpoint under traffic may lose or repeat up to 40 messages. Slot contents stay.
  // An unusable name leaves an endpoint whose `mapping` is MAP_FAILED.
  iOSAppCommonLocalMem(const char* name, unsigned int deviceId, unsigned int notifyId);
  ~iOSAppCommonLocalMem() override;

  // Relays whatever the notifier delivers, unchanged, to the observers of this endpoint. Returns 0.
  unsigned int update(unsigned int id, void* data, unsigned int size);

  VQSharedMemNotifier notifier;               // announces written slots to all processes, this one included
  VQObserver<iOSAppCommonLocalMem> observer;  // registered with the notifier, calls `update`
  std::uint32_t deviceId;                     // device that the segment serves
  std::uint32_t notifyId;  // 2 = from the head unit, 3 = from the device, 0 = a device without a segment
};
