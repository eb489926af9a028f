// VQSLinkAppOperator: what an application creates to talk to its phone app, over Bluetooth SPP or over the iOS channel.
//
// The application connects or launches, then sends with requestMsgSend and receives through its listeners. Messages go
// over the link that was established last by a successful requestSppConnect, requestSppAutoConnectStart or
// requestiOSLaunch; device status that comes in does not change it.
// Nothing is received before setStatusListener: it is what switches the operator's subscriptions on.
// Threads: operations any, also from within a callback. SPP callbacks run on the SPP service's thread, iOS callbacks on
// the framework's delivery thread, with no lock held, in ascending order of the listeners' addresses; both may reach
// one listener at the same time.
// Waiting: the first object of a process with an SPP side or a device status waits up to 2 s for the Bluetooth library;
// requests that register the UUID or take it back wait for the Bluetooth daemon, 3 s at most. See VQSBtApps.
// Lifetime: a callback may destroy other objects, never the operator that is calling it. The destructor waits for
// running callbacks. Listeners are not taken over: each lives until it is removed or replaced, or the operator is gone.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/LinkAppiOSWrapper.h"
#include "LinkAppCommon/VQSILinkAppSenderReceiver.h"
#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "VQBluetooth/VQSBtApps.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Sync/VQSync.h"

class LINKAPP_API VQSLinkAppOperator : public VQSILinkAppSenderReceiver, public LinkAppiOSWrapperListener {
 public:
  // How an app is to be launched. Every value but WITHOUT_ALERT counts as WITH_USER_ALERT.
  enum IOSAppLaunchMethod : unsigned int {
    IOSAPPLAUNCHMETHOD_WITH_USER_ALERT = 0,  // the device asks its user first
    IOSAPPLAUNCHMETHOD_WITHOUT_ALERT = 1,    // the app opens at once
  };

  // SPP only. `sppUuid` names the application's SPP service.
  explicit VQSLinkAppOperator(std::string sppUuid);
  // iOS only. For the three strings see LinkAppiOSWrapper; results and messages must carry `appName`.
  VQSLinkAppOperator(std::string appName, std::string iAP1Name, std::string launchString);
  // SPP and iOS. The strings are those of the other two.
  VQSLinkAppOperator(std::string sppUuid, std::string appName, std::string iAP1Name, std::string launchString);
  ~VQSLinkAppOperator() override;
  VQSLinkAppOperator(const VQSLinkAppOperator&) = delete;
  VQSLinkAppOperator& operator=(const VQSLinkAppOperator&) = delete;

  // Adds a listener for messages and send results. False, and no change, for one that is there already, and, with a log
  // line, for null.
  bool setListener(VQSILinkAppSenderReceiverListener* listener) override;

  // Removes it. When it returns, no call of the listener by this operator is running, except one that the caller is
  // inside of. False, and no change, for one that is not there, and, with a log line, for null.
  bool removeListener(VQSILinkAppSenderReceiverListener* listener) override;

  // Sends a copy of the bytes over the link in use. Over iOS: 1 to 4096 bytes, to the device of the last launch. False:
  // there is no link in use, it has no such side, or the send was refused. For the outcome see onSendResult.
  bool requestMsgSend(const unsigned char* data, unsigned int size) override;

  // What the wrapper calls, with a LinkAppiOSWrapperListener::SendResult. One of another app, and null, is ignored.
  void oniOSClientSendResult(void* result) override;
  // The same with a LinkAppiOSWrapperListener::ReceivedMsg.
  void oniOSClientReceivedMsg(void* msg) override;

  // Subscribes to the SPP service and the iOS channel and hands `listener` to the device status (see
  // VQSLinkAppDeviceStatus::setListener). Returns true.
  bool setStatusListener(VQSLinkAppDeviceStatusListener* listener);

  // Ends the subscriptions, whatever `listener` is; messages and results do not come any more. Returns true.
  bool removeStatusListener(VQSLinkAppDeviceStatusListener* listener);

  // Registers the UUID where it is not, and opens the SPP link, which on success is the one in use. Both are tried, and
  // both must be accepted. False, with a log line, where the operator has no SPP side; a failed request leaves the link
  // in use as it is.
  bool requestSppConnect(unsigned char deviceId);
  // Takes the UUID back where it is registered, and closes the SPP link. The operator then has no link in use, unless
  // that is an iOS device's. False as above.
  bool requestSppDisconnect(unsigned char deviceId);
  // As requestSppConnect, with a link that the SPP service opens by itself whenever the device is there.
  bool requestSppAutoConnectStart(unsigned char deviceId);
  // As requestSppDisconnect, for such a link: it is closed and not opened again.
  bool requestSppAutoConnectStop(unsigned char deviceId);
  // Offers the UUID and waits for devices to connect. False without an SPP side.
  bool registerStandby();

  // Asks the iOS device to launch the app. False, with a log line, where the operator has no iOS side; else the
  // result of LinkAppiOSWrapper::requestLaunch. On true the iOS channel is the link in use; nothing ends that but a
  // successful SPP connection.
  bool requestiOSLaunch(unsigned char deviceId, IOSAppLaunchMethod method);

  // Handler of the SPP service's notices 4 and 5. Returns 0 in every case and ignores foreign identifiers, null data
  // and a size of 0.
  unsigned int onBtAppsUpdate(unsigned int id, void* data, unsigned int size);

 private:
  struct Link {
    std::uint8_t device;
    bool isIos;
  };

  bool registerOwnUuid();
  bool unregisterOwnUuid();
  void useLink(Link link);
  Link linkInUse();
  void forgetSppLink();
  void attachToBtApps();
  void detachFromBtApps();
  void tellSendResult(unsigned int failed);
  void tellReceivedMsg(const unsigned char* data, unsigned int size);

  VQSLinkAppDeviceStatus* deviceStatus;
  VQSBtApps* mpBtApps;
  VQObserver<VQSLinkAppOperator>* btObserver;
  LinkAppiOSWrapper* mpiOSWrapper;
  LinkAppListenerSet<VQSILinkAppSenderReceiverListener>* listeners;
  std::atomic<bool> btAttached;  // what btAttachment follows
  std::string sppUuid;
  std::string iosAppName;
  std::string iAP1Name;
  std::string launchString;
  std::uint8_t currentDevice VQ_GUARDED_BY(linkLock);  // 255 = none
  bool currentIsIos VQ_GUARDED_BY(linkLock);
  VQSync linkLock;  // a leaf
  LinkAppAttachment* btAttachment;
};

// Diagnostics of this class; 0 in every normal build.
extern LINKAPP_API unsigned char opeLog_;
