#include "LinkAppCommon/iOSAppCommonLocalMem.h"

#include "NotifyIds.h"
#include "SegmentRecord.h"

iOSAppCommonLocalMem::iOSAppCommonLocalMem(const char* name, unsigned int device, unsigned int id)
    : VQSharedMemory<iOSAppCommonDataList, 1>(name),
      notifier(false),
      observer(this, &iOSAppCommonLocalMem::update),
      deviceId(device),
      notifyId(id) {
  iOSAppCommonDataList* const ring = segmentRecord(*this);
  if (ring != nullptr) {
    // Without the lock, by every process that starts an endpoint; writers load it atomically.
    __atomic_store_n(&ring->writeIndex, 0U, __ATOMIC_RELAXED);
  }
  notifier.AddObserver(&observer, &notifyId, 1);
}

iOSAppCommonLocalMem::~iOSAppCommonLocalMem() {
  notifier.RemoveObserver(&observer);
}

unsigned int iOSAppCommonLocalMem::update(unsigned int id, void* data, unsigned int size) {
  NotifyObserver(id, data, size, kNotificationType);
  return 0;
}
