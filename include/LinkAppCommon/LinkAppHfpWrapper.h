// LinkAppHfpWrapper: tells which devices have a hands-free link that the head unit should show. Its listener is a
// LinkAppHfpWrapperListener.
//
// Merges the Bluetooth manager (VQSBtManager: paired devices and hands-free events) and the iOS app channel (its own
// client that registers no app). What reaches the listener:
//   a device that is not Apple's     from the Bluetooth manager, by its number there, as long as it is paired
//   an iPhone without SPP (USB)      from the iOS channel, by its iOS device number
//   an iPhone linked over SPP        by its iOS device number, when the Bluetooth device that is saved as
//                                    "LinkAppDevice" in "BtSetting.ini" has a hands-free link
// A setting that cannot be read is set to 255, which is no device.
// Creating it under traffic resets the rings' write positions, as every client does: create it at start-up.
// Threads: operations any. Callbacks run on the Bluetooth manager's thread or on the framework's delivery thread; each
// of the two is taken to deliver on one thread at a time. Where an iPhone that is linked over SPP is reported, `lock`
// is held: a callback must not call back into the wrapper. Lifetime: a callback may destroy other objects, never the
// one that is calling it. The destructor does not need a removeListener before it and waits for running callbacks.
#pragma once

#include <cstdint>
#include <vector>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppCommonClient.h"
#include "VQBluetooth/VQSBtManager.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Sync/VQSync.h"

template <class Listener>
class LinkAppListenerSlot;

// What an application implements to hear of hands-free links. The body here does nothing. Which thread calls, says
// LinkAppHfpWrapper.
class LINKAPP_API LinkAppHfpWrapperListener {
 public:
  // The hands-free link of one device. The two kinds have numbers of their own: a number alone names no device.
  struct HfpStatus {
    std::uint32_t deviceKind = 0;  // 1 = Apple's, 0 = any other
    std::uint8_t deviceId = 0;     // the Bluetooth manager's number, or the iOS device's
    bool connected = false;        // whether the link is up
  };

  // The order of the virtual operations is part of the interface.
  virtual ~LinkAppHfpWrapperListener();
  // The hands-free link of one device came up or went down. The record is the listener's own copy.
  virtual void onHfpStatus(HfpStatus status);
};

class LINKAPP_API LinkAppHfpWrapper {
 public:
  // Opens the channel; nothing is heard before setListener.
  LinkAppHfpWrapper();
  ~LinkAppHfpWrapper();
  LinkAppHfpWrapper(const LinkAppHfpWrapper&) = delete;
  LinkAppHfpWrapper& operator=(const LinkAppHfpWrapper&) = delete;

  // Makes `listener` the one that is called, in place of a former one, and subscribes to both sources. Each successful
  // call subscribes once more. False, with a log line and no change, for null.
  // The listener is not taken over: it lives until it is removed or replaced, or this object is gone. Replacing waits
  // for a running call of the former one: hold no lock that its callback takes.
  bool setListener(LinkAppHfpWrapperListener* listener);

  // Ends all subscriptions and forgets the listener, if it is this one; else logs a line and changes nothing. Returns
  // false in every case. When it returns, no call of the listener is running.
  bool removeListener(LinkAppHfpWrapperListener* listener);

  // Handler of the client's notification 0, on the delivery thread. Returns 0 in every case and ignores foreign
  // identifiers, null data and a size of 0.
  unsigned int oniOSClientUpdate(unsigned int id, void* data, unsigned int size);

  // Handler of the Bluetooth manager's notices 12, 15 and 24, on the manager's thread. Returns and ignores the same.
  unsigned int onBtMgrUpdate(unsigned int id, void* data, unsigned int size);

  // Goes through the paired devices and reports what changed for those that are not Apple's. On the Bluetooth manager's
  // thread.
  void judgeHfpStatusNotifiable();

  // Reports the iPhone that is linked over SPP, where that changed. Takes `lock` for its whole run.
  void judgeiOSBtHfpStatusNotifiable();

 private:
  using HfpStatus = LinkAppHfpWrapperListener::HfpStatus;

  void onHfpConnection(const VQSBtMgrDef::HfpConnection& event);
  void onPairedDevices(const std::vector<VQSBtMgrDef::PairedDevice>& pairedDevices);
  void judgeAppleDevice(const HfpStatus& event);
  void reportConnections(const std::vector<HfpStatus>& connections);
  void reportDisconnections(const std::vector<HfpStatus>& connections);
  void onLinkedDeviceInfo(const iOSAppCommonClient::DeviceInfo& info);
  void linkSppDevice(std::uint8_t deviceId);
  void onOtherDeviceInfo(const HfpStatus& status);
  bool isCandidate(const HfpStatus& status);  // both under the lock
  void reportSppDevice(bool connected);
  void report(const HfpStatus& status);

  iOSAppCommonClient* client;
  VQSBtManager* btManager;
  VQObserver<LinkAppHfpWrapper>* clientObserver;
  VQObserver<LinkAppHfpWrapper>* btMgrObserver;
  LinkAppListenerSlot<LinkAppHfpWrapperListener>* listener;
  VQSync* lock;
  bool pairedListFrozen;                // this and pairedList, hfpConnList, reportedList: Bluetooth manager's thread
  std::vector<HfpStatus> iosHfpList;    // delivery thread
  std::vector<HfpStatus> iosBtHfpList;  // changed by the Bluetooth manager's thread, under the lock
  HfpStatus iosSppStatus;               // changed by the delivery thread, under the lock
  HfpStatus lastIosReport;              // under the lock
  std::vector<HfpStatus> pairedList;
  std::vector<HfpStatus> hfpConnList;
  std::vector<HfpStatus> reportedList;
};
