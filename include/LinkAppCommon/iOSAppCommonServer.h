// iOSAppCommonServer: the device-side end of the iOS app channel. One per iOS device, in the process that speaks to it.
//
// The device-side code announces what happens on the device; head-unit requests come back as notifications of this
// subject (VQSubject::AddObserver):
//   id 0   iOSAppLaunchRequest      size 16   a client asks to launch an app
//   id 1   iosapp_def_::CommData    size 20   data from a client; `data` is an array that the observer owns: delete[]
// The sizes are constants of the interface and smaller than the records on 64-bit machines: never copy `size` bytes.
// Attach exactly one observer: with none the arrays of id 1 leak, with two they are freed twice.
// Threads: operations any. Observers run on the framework's delivery thread, with no lock held, and may call every
// operation of the server, but not destroy it.
// Locks: serverLock, then the app table's lock.
// Nothing reports failure to the caller; look-ups answer 0 or an empty text.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/Sync/VQSync.h"

class LINKAPP_API iOSAppCommonServer : public VQSubject {
 public:
  // Only device id 1 has data segments; a server for another id has no data path.
  explicit iOSAppCommonServer(unsigned int deviceId);
  ~iOSAppCommonServer() override;

  // Announces the device's connection. Sets `info.deviceId` to the server's own and remembers `info.iapType`.
  void notifyConnectionState(iosapp_def_::ConnectInfo& info);
  // Announces the hands-free link. Null is ignored.
  void notifyBluetoothConnectionStatus(iOSAppExtBluetoothConnectionStatus* status);
  // Announces the app that plays media now. (The spelling is part of the exported name.)
  void notifyPlaybakAppInfo(std::string appName);
  // Announces an open session. `id` is the app id where the last announced iapType is exactly 1 (also before the first
  // announcement), otherwise an iAP1 id. An unknown iAP1 id is announced with app id 0.
  void notifySessionOpen(unsigned int id, unsigned short sessionId);
  // Announces that the session is closed, for the app that getAppIdFromAppList finds; for none, with app id 0.
  void notifySessionClose(unsigned short sessionId);

  // Sends a phone app's data to the client whose app has this session. Refused with a log line, and nothing is
  // written: null data, a size of 0 or above 4096, an unknown session, an unmapped segment. Session 0 is not refused:
  // it is that of all apps without one, and the last of them gets the data. Never pass it. There is no flow control:
  // more than 40 messages ahead of the slowest client overwrite each other.
  void sendDataFromDevice(unsigned short sessionId, const unsigned char* data, unsigned int size);
  // Reports how a transfer to the device ended to the client whose app has this session. For an unknown session the
  // report carries app id 0, which is no client's; session 0 is as above.
  void notifySendResult(unsigned short sessionId, iosapp_def_::SendResult result);

  // The app's open session: 0 where it has none or is not in the table. The last match wins.
  unsigned short getSessionIdFromAppList(unsigned int appId);
  // The app that has the session, 0 where there is none. The last match wins; session 0 is that of all without one.
  unsigned short getAppIdFromAppList(unsigned short sessionId);
  // The app with this iAP1 id, 0 where there is none. The last match wins; id 0 is that of all without one.
  unsigned short getAppIdFromiAP1Id(unsigned int iAP1Id);
  // What the device needs to launch the app, empty where the app is not in the table. The first match wins.
  std::string getLaunchStringFromAppList(unsigned int appId);
  // Sets the session of every entry with this app id.
  void setSessionIdToAppList(unsigned int appId, unsigned short sessionId);

  // Handler of announced slots of the ring from the head unit (identifier 2), on the delivery thread. Returns 0 in
  // every case and ignores a foreign identifier, a null payload or a zero size.
  unsigned int onFromHUUpdate(unsigned int id, void* data, unsigned int size);
  // Handler of connection-status messages (identifier 4) of kind 0. Returns and ignores the same.
  unsigned int onConnectStatusUpdate(unsigned int id, void* data, unsigned int size);
  // Handler of the registry's notification 0, which has no payload: appends the new apps to the app table. Returns 0.
  unsigned int onAppUtilUpdate(unsigned int id, void* data, unsigned int size);

 private:
  void copyRegistryTable();

  iOSAppCommonLocalMem_ConnectStatus* connectStatusMem;
  iOSAppCommonUtil* appUtil;
  std::vector<iOSAppMemPack*> memPacks;
  SupportiOSLinkAppInfo appList VQ_GUARDED_BY(serverLock);
  VQObserver<iOSAppCommonServer>* fromHUObserver;
  VQObserver<iOSAppCommonServer>* connectStatusObserver;
  VQObserver<iOSAppCommonServer>* appUtilObserver;
  std::uint32_t deviceId;
  std::atomic<std::uint32_t> iapType;
  VQSync serverLock;  // taken before appList.lock
};
