// iOSAppCommonClient: the head-unit end of the iOS app channel. One per head-unit app.
//
// It registers its app, mirrors what the device side announces, and notifies its own observers
// (VQSubject::AddObserver):
//   id 0   iOSAppCommonClient::DeviceInfo    size 32   connection, session or hands-free link changed
//   id 1   iosapp_def_::SendResultInfo       size 16   how a send of this app ended
//   id 2   iosapp_def_::CommData             size 20   data from the phone app
//   id 3   iosapp_def_::PlaybackAppInfo      size 8    the app that plays media now
// Records live during the call only. The sizes are constants of the interface and smaller than the records on 64-bit
// machines: never copy `size` bytes.
// Threads: operations any. Observers run on the framework's delivery thread, with no lock held, and may call every
// operation of the client, but not destroy it.
// Locks: listLock guards the three lists and is a leaf.
// Refusals return 0 and change nothing.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/Sync/VQSync.h"

class LINKAPP_API iOSAppCommonClient : public VQSubject {
 public:
  // State of a device as this client sees it. Exactly one of the two status and name pairs is filled, the other stays
  // 0 and empty. Status: 0 = not connected, 1 = connected, 2 = this client's session is open.
  struct DeviceInfo {
    std::uint8_t deviceId = 0;       // low byte of the channel's id
    std::string btAddress;           // "aa:bb:cc:dd:ee:ff"; zeros but where a hands-free message is the cause
    std::uint32_t btSppStatus = 0;   // over Bluetooth (connectType 1)
    std::string btSppName;           // this client's app name where btSppStatus is the filled one, else empty
    std::uint32_t usbStatus = 0;     // over anything else
    std::string usbName;             // this client's app name where usbStatus is the filled one, else empty
    std::uint32_t iapVersion = 0;    // 2 where the device's iapType is non-zero, else 1
    std::uint32_t hfpConnected = 0;  // 1 = hands-free link up
  };

  // Opens the channel and registers the app, unless `appName` is empty. `iAP1Name` may be empty. A client without a
  // launch string never asks for a launch. When the table is full the client works unregistered (a log line).
  // At most 10 bytes of iAP1 name, 127 of app name, 127 of launch string. This is not checked: a longer text spoils the
  // fields behind it, and the next app's.
  iOSAppCommonClient(const std::string& iAP1Name, const std::string& appName, const std::string& launchString);
  ~iOSAppCommonClient() override;

  // Selects the device and asks it to launch this client's app. 1 = the session is open, or a launch was requested, or
  // this client has no launch string; 0 = wrong device id (log line), not registered, not connected (log line).
  unsigned int launch(unsigned int deviceId, iosapp_def_::AppLaunchMethod method);
  // 1 = the device side has announced the connection (connectStatus 1) and not its end.
  unsigned int isDeviceConnected(unsigned int deviceId);
  // 1 = a session of the app is open. A client keeps sessions of its own app only.
  unsigned int isSessionOpened(unsigned int deviceId, unsigned int appId);

  // Sends to the phone app of the selected device. 1 = in the ring and announced. 0 with a log line: no open session
  // (nor has an app that is not registered), null data, a size of 0 or above 4096, an unmapped segment; without: no
  // device is selected that has data segments.
  // There is no flow control: more than 40 messages ahead of the device side overwrite each other. Wait for the send
  // result (id 1) to pace.
  unsigned int sendDataFromHU(const unsigned char* data, unsigned int size);

  // A copy of what is known of the device's connection, all zero where that is nothing.
  iosapp_def_::ConnectInfo getConnectInfoToList(unsigned int deviceId);
  // The same for its hands-free link. iOSAppCommonServer's messages leave nothing here: they do not fill `status`, by
  // which the client decides between keeping and forgetting.
  iosapp_def_::BtHfInfo getBtHfInfoToList(unsigned int deviceId);
  // Replaces what is known of the device's connection. Notifies nobody, like all that change a list.
  void addConnectInfoToList(iosapp_def_::ConnectInfo info);
  // Replaces what is known of the session of this device and app.
  void addSessionInfoToList(iosapp_def_::SessionInfo info);
  // Replaces what is known of the device's hands-free link.
  void addBtHfInfoToList(iosapp_def_::BtHfInfo info);
  // Forgets the device's connection, but not its sessions.
  void removeConnectInfoFromList(unsigned int deviceId);
  // Forgets the session of this device and app; with app id 0, every session of the device.
  void removeSessionInfoFromList(unsigned int deviceId, unsigned int appId);
  // Forgets the device's hands-free link. A disconnect does not.
  void removeBtHfInfoFromList(unsigned int deviceId);

  // Handler of connection-status messages (identifier 4) of the kinds 1 to 5, on the delivery thread. Returns 0 in
  // every case and ignores a foreign identifier, a null payload or a zero size.
  unsigned int onConnectStatusUpdate(unsigned int id, void* data, unsigned int size);
  // Handler of announced slots of the ring from the device (identifier 3). Returns and ignores the same, and ignores
  // data that is not for this client's app on the selected device.
  unsigned int onFromDeviceUpdate(unsigned int id, void* data, unsigned int size);

 private:
  void onConnectStatus(const iosapp_def_::ConnectStatusNotify& message);
  void onSessionStatus(const iosapp_def_::ConnectStatusNotify& message);
  void onSendResult(const iosapp_def_::ConnectStatusNotify& message);
  void onBtHfStatus(const iosapp_def_::ConnectStatusNotify& message);
  void onPlaybackAppInfo(const iosapp_def_::ConnectStatusNotify& message);

  iOSAppCommonLocalMem_ConnectStatus* connectStatusMem;
  iOSAppCommonLocalMem_AppInfo* appInfoMem;
  std::vector<iOSAppMemPack*> memPacks;
  VQObserver<iOSAppCommonClient>* connectStatusObserver;
  VQObserver<iOSAppCommonClient>* fromDeviceObserver;
  std::string appName;
  std::atomic<std::uint32_t> currentDeviceId;
  std::atomic<std::uint32_t> appId;
  std::vector<iosapp_def_::ConnectInfo> connectInfoList VQ_GUARDED_BY(listLock);
  std::vector<iosapp_def_::SessionInfo> sessionInfoList VQ_GUARDED_BY(listLock);
  std::vector<iosapp_def_::BtHfInfo> btHfInfoList VQ_GUARDED_BY(listLock);
  VQSync listLock;
  bool launchEnabled;
};
