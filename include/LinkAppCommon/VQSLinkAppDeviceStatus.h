// VQSLinkAppDeviceStatus: tells which phones are there and how each is linked. Its listener is a
// VQSLinkAppDeviceStatusListener.
//
// Merges two sources into one stream of LinkAppCommon::ConnectionInfo::DeviceInfo records for one listener: the SPP
// service (VQSBtApps) and, where it has a wrapper, the iOS app channel. Apple devices that the SPP service lists are
// left out: they come over the iOS side.
// Threads: operations any. Callbacks run on the thread of their source, the SPP service's or the framework's delivery
// thread, with no lock held; the two may call the listener at the same time. Each source is taken to deliver on one
// thread at a time.
// Lifetime: a callback may destroy other objects, never the one that is calling it. The destructor leaves the SPP
// service, but does not call the wrapper: call removeListener first, or destroy the wrapper first.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "LinkAppCommon/ConnectionInfo.h"
#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/LinkAppiOSWrapper.h"
#include "VQBluetooth/VQSBtApps.h"
#include "VQBluetooth/VQSBtAppsNtf.h"
#include "VQFramework/Observer/VQObserver.h"

template <class Listener>
class LinkAppListenerSlot;

// What an application implements to hear which phones are there. The body here does nothing. Which thread calls, says
// VQSLinkAppDeviceStatus.
class LINKAPP_API VQSLinkAppDeviceStatusListener {
 public:
  // The order of the virtual operations is part of the interface.
  virtual ~VQSLinkAppDeviceStatusListener();
  // The state of one device changed. The record is the listener's own copy.
  virtual void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo info);
};

class LINKAPP_API VQSLinkAppDeviceStatus : public LinkAppiOSWrapperListener {
 public:
  // What the listener gets.
  using DeviceInfo = LinkAppCommon::ConnectionInfo::DeviceInfo;

  // SPP only. `name` is the owning application's, for diagnostics.
  explicit VQSLinkAppDeviceStatus(std::string name);
  // `wrapper` is the iOS side. It is not taken over and may be null: then there is none.
  VQSLinkAppDeviceStatus(LinkAppiOSWrapper* wrapper, std::string name);
  // The same. `uuid` is the application's SPP service; nothing depends on it.
  VQSLinkAppDeviceStatus(LinkAppiOSWrapper* wrapper, std::string uuid, std::string name);
  ~VQSLinkAppDeviceStatus() override;
  VQSLinkAppDeviceStatus(const VQSLinkAppDeviceStatus&) = delete;
  VQSLinkAppDeviceStatus& operator=(const VQSLinkAppDeviceStatus&) = delete;

  // Subscribes to the sources, makes `listener` the one that is called, in place of a former one, and asks the SPP
  // service for its list, so that the first calls may come before this returns. Null is stored: nobody is called then.
  // The listener is not taken over: it lives until it is removed or replaced, or this object is gone. Replacing waits
  // for a running call of the former one: hold no lock that its callback takes.
  // Returns true in every case.
  bool setListener(VQSLinkAppDeviceStatusListener* listener);

  // Leaves the sources, whatever `listener` is, and forgets the listener if it is this one. When it returns, no call of
  // it is running, except one that the caller is inside of. Returns true in every case.
  bool removeListener(VQSLinkAppDeviceStatusListener* listener);

  // Asks the SPP service for its device list; the result is the service's. The list comes as notice 6, at once or
  // later.
  bool getBtDeviceInfo();

  // Handler of the SPP service's notices 3 and 6. Returns false in every case and ignores foreign identifiers, a null
  // record and a size of 0.
  bool onBtAppsUpdate(unsigned int id, void* record, unsigned int size);

  // Notice 3, a VQSBtAppsNtf::SppConnectionState: reports the device, where the last list has it and its state or UUID
  // differs from the notice before. Null is ignored.
  void analyzeBtAppsConnectionState(void* record);
  // Notice 6, a VQSBtAppsNtf::SppInformation: compares it with the list before, place by place, reports what differs
  // and keeps it. Null is ignored, and a list with an error code. `size` is not used.
  void analyzeBtAppsSppInfo(void* record, unsigned int size);

  // What the wrapper calls, with a LinkAppiOSWrapperListener::DeviceInfo. Null is ignored.
  void oniOSClientDeviceInfo(void* record) override;

  // Whether the Bluetooth link of an iOS device is to be reported, going by the kept list. May change `info`: a jump
  // from 0 to 2 counts as no change and shows 0, and `appName` is filled in on the step from 1 to 2.
  bool analyzeiOSBtSppConnectionInfo(DeviceInfo& info, std::string appName);
  // The same for its link over USB.
  bool analyzeiOSUsbConnectionInfo(DeviceInfo& info, std::string appName);

 private:
  friend class VQSLinkAppOperator;  // waits for the calls of both before it takes either apart

  struct Unused {};

  void reportPresent(DeviceInfo& info, const VQSBtAppsDef::SppInformationImpl& entry);
  void reportGone(DeviceInfo& info, const VQSBtAppsDef::SppInformationImpl* entry);
  void compareSppEntry(DeviceInfo& info, const VQSBtAppsNtf::SppInformation& list, std::size_t index,
                       std::size_t smallerCount);
  void report(const DeviceInfo& info);
  bool isLinkReportable(DeviceInfo& info, LinkAppCommon::ConnectionInfo::DeviceStatusInfo DeviceInfo::*link,
                        const std::string& appName);
  std::vector<DeviceInfo>::iterator findDevice(std::uint8_t deviceId);
  void storeDevice(const DeviceInfo& info, bool isSppChanged, bool isUsbChanged);

  LinkAppListenerSlot<VQSLinkAppDeviceStatusListener>* listener;
  LinkAppiOSWrapper* wrapper;
  VQSBtApps* btApps;
  std::atomic<bool> btObserverAdded;  // what btAttachment follows
  VQObserver<VQSLinkAppDeviceStatus>* btObserver;
  Unused* unused;  // keeps its place
  VQSBtAppsNtf::SppInformation* lastSppInfo;
  VQSBtAppsNtf::SppConnectionState* lastConnectionState;
  std::vector<DeviceInfo> devices;  // iOS devices only
  LinkAppAttachment* btAttachment;
};

// Diagnostics of this class; 0 in every normal build.
extern LINKAPP_API unsigned char stsLog_;
