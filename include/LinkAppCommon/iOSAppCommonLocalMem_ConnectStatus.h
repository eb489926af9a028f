// iOSAppCommonLocalMem_ConnectStatus: one process's handle on the connection-status channel.
//
// Every sender builds a 304-byte ConnectStatusNotify of its own and posts it under notify identifier 4; none takes the
// segment's lock or touches the segment. The endpoint hears its own messages too.
// Threads: senders any; `update` and with it every observer run on the framework's delivery thread.
// Results are not reported: a message that cannot be posted is told by the framework's log.
#pragma once

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"

class LINKAPP_API iOSAppCommonLocalMem_ConnectStatus : public VQSharedMemory<iosapp_def_::ConnectStatusNotify, 1>,
                                                       public VQSubject {
 public:
  // Opens segment "iOSAppCommonLocalMem_ConnectStatus" and registers for identifier 4.
  iOSAppCommonLocalMem_ConnectStatus();
  ~iOSAppCommonLocalMem_ConnectStatus() override;

  // Kind 0: asks the device side to launch an app. (The capital A is part of the exported name.)
  void requestAppLAunch(unsigned int deviceId, unsigned int appId, iosapp_def_::AppLaunchMethod method);
  // Kind 1: connection state of the device.
  void setDeviceConnectionStatus(iosapp_def_::ConnectInfo& info);
  // Kind 2: an app's session opened (status 1) or closed (0).
  void setAppSessionInfo(iosapp_def_::SessionInfo info);
  // Kind 4: hands-free link. Fills `btConnected` and leaves `status` alone, although receivers decide by `status`.
  void setBtHfInfo(iosapp_def_::BtHfInfo info);
  // Kind 5: the app that plays media now; a name of 256 or more characters is cut to 255.
  void setPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info);

  // Relays whatever the notifier delivers, unchanged, to the observers of this endpoint. Returns 0.
  unsigned int update(unsigned int id, void* data, unsigned int size);

  VQSharedMemNotifier notifier;                             // carries the messages to all processes, this one included
  VQObserver<iOSAppCommonLocalMem_ConnectStatus> observer;  // registered with the notifier, calls `update`
};
