// VQSBtManager: the host's Bluetooth manager, one per process.
//
// A subject: observers get the notices of VQSBtMgrDef.h, from one thread of the library's own, with no lock held.
// Threads: operations any.
// Lifetime: made at the first getInstance; valid until the process is gone, also for destructors that run at exit.
#pragma once

#include "VQBluetooth/VQBluetoothExport.h"
#include "VQBluetooth/VQSBtMgrDef.h"
#include "VQFramework/Observer/VQSubject.h"

class VQ_BLUETOOTH_API VQSBtManager : public VQSubject {
 public:
  // The one manager of this process, never null; also where there is no Bluetooth.
  static VQSBtManager* getInstance();

  // As VQSubject's. Besides, the present state is told: notice 24 with 0, then 12, then one 15 per device that has a
  // hands-free link. They come later, from the library's thread. Without Bluetooth there is nothing to tell.
  bool AddObserver(VQObserver_* observer);

  ~VQSBtManager() override;  // nobody calls it
  VQSBtManager(const VQSBtManager&) = delete;
  VQSBtManager& operator=(const VQSBtManager&) = delete;

 private:
  VQSBtManager();

  struct State;
  State* const state_;
};
