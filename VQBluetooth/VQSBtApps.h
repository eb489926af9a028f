// VQSBtApps: the host's Bluetooth SPP service, one per process.
//
// A subject: observers get the notices of VQSBtAppsNtf.h. Obtained through VQSingleton<VQSBtApps>::getInstance(), made
// at the first use, ended by VQSingletonFinalizer.
// Threads: operations any, also from within a notice; they never wait for a remote device. All notices come from one
// thread of the library's own (getSppInfomation may answer on the caller's thread), with no lock held.
// Registering a UUID and its end wait for the head unit's own Bluetooth daemon, and all else here waits meanwhile; the
// library on BlueZ does so for 3 s at most where that hangs, and for 2 s at the first use.
// Results: true = accepted or done; the outcome of what takes time is a notice. false = refused, and nothing changed.
// Without Bluetooth every operation returns false.
// Device numbers are 0..254 and stay with a device over restarts. UUIDs are texts, compared without regard to case.
#pragma once

#include <string>
#include <vector>

#include "VQBluetooth/VQBluetoothExport.h"
#include "VQBluetooth/VQSBtAppsNtf.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/Singleton/VQSingleton.h"

class VQ_BLUETOOTH_API VQSBtApps : public VQSubject {
 public:
  VQSBtApps();
  ~VQSBtApps() override;

  // Whether the service `uuid` is offered now.
  bool isRegisteredUuid(const std::string& uuid);
  // Offers the service to remote devices.
  bool registerUuid(const std::string& uuid);
  // Takes it back. Links that are up stay up, and can still be closed.
  bool unregisterUuid(const std::string& uuid);

  // Offers all of them and waits for devices to connect. True when all were accepted.
  bool registerWaitUuid(const std::vector<std::string>& uuids);

  // Opens the link to a device's service. Outcome: notice 3.
  bool connectSpp(unsigned char deviceId, const std::string& uuid);
  // Closes it. Outcome: notice 3.
  bool disconnectSpp(unsigned char deviceId, std::string uuid);

  // From now on opens the link whenever the device is there.
  bool startAutoConnectSpp(unsigned char deviceId, const std::string& uuid);
  // Ends that, and closes the link.
  bool stopAutoConnectSpp(unsigned char deviceId, std::string uuid);

  // Queues a copy of the bytes for an open link. Outcome: notice 5, one per accepted call.
  bool sendData(unsigned char deviceId, const std::string& uuid, const unsigned char* data, unsigned int size);

  // Asks for the device list. It comes as notice 6, at once or later.
  bool getSppInfomation();

 private:
  struct State;
  State* const state_;
};

extern template class VQSingleton<VQSBtApps>;
