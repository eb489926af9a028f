// LinkAppiOSWrapper: a head-unit application's entry to the iOS app channel. Its listeners are
// LinkAppiOSWrapperListeners.
//
// It owns one iOSAppCommonClient, turns the client's notifications into records of its own and hands them to any number
// of listeners. It listens to the client exactly while it has a listener.
// Threads: operations any, also from within a callback. Callbacks run on the framework's delivery thread, with no lock
// held, in ascending order of the listeners' addresses.
// Lifetime: a callback may destroy other objects, never the wrapper that is calling it. The destructor waits for a
// running callback and calls nobody.
#pragma once

#include <cstdint>
#include <string>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppCommonClient.h"
#include "VQFramework/Observer/VQObserver.h"

template <class Listener>
class LinkAppListenerSet;
class LinkAppAttachment;

// What an application implements to hear of its iOS device. The records live during the call only: copy what you keep.
// The bodies here do nothing, so implement what you need.
class LINKAPP_API LinkAppiOSWrapperListener {
 public:
  // How a device is linked, as seen by the wrapper's app. One of the two status and name pairs is filled, by the link
  // that the device came over; the other is 0 and empty.
  struct DeviceInfo {
    std::uint8_t deviceId = 0;      // the device side's number; requestLaunch takes 1 only
    std::string btAddress;          // "aa:bb:cc:dd:ee:ff"; zeros where unknown (iOSAppCommonClient::DeviceInfo)
    std::uint32_t btSppStatus = 0;  // over Bluetooth: 0 = not connected, 1 = connected, 2 = app session open
    std::string btSppName;          // this app's name where the device is connected over Bluetooth, else empty
    std::uint32_t usbStatus = 0;    // over USB, the same scale
    std::string usbName;            // this app's name where the device is connected over USB, else empty
    std::uint32_t iapVersion = 0;   // 1 or 2; 0 for anything else
  };

  // How a message that this app sent ended on its way to the device.
  struct SendResult {
    std::string uuid;          // name of the app that sent
    std::uint32_t result = 0;  // 0 = sent, 1 = not
  };

  // One message of the phone app, as the device side put it into the channel.
  struct ReceivedMsg {
    std::string uuid;                    // name of the app that the data is for
    const std::uint8_t* data = nullptr;  // valid during the call only
    std::uint32_t size = 0;              // bytes, 1 to 4096
  };

  // The order of the virtual operations is part of the interface.
  virtual ~LinkAppiOSWrapperListener();
  virtual void oniOSClientDeviceInfo(void* info);    // a link changed; `info` is a DeviceInfo
  virtual void oniOSClientSendResult(void* result);  // a send ended; `result` is a SendResult
  virtual void oniOSClientReceivedMsg(void* msg);    // data came; `msg` is a ReceivedMsg
};

class LINKAPP_API LinkAppiOSWrapper {
 public:
  // How an app is to be launched. Every value but WITHOUT_ALERT counts as WITH_USER_ALERT.
  enum AppLaunchMethod : unsigned int {
    APPLAUNCHMETHOD_WITH_USER_ALERT = 0,  // the device asks its user first
    APPLAUNCHMETHOD_WITHOUT_ALERT = 1,    // the app opens at once
  };

  // Registers the app (see iOSAppCommonClient, which says how long the texts may be): its name, its iAP1 name (may be
  // empty) and the string by which the device launches it (empty = it is never launched).
  LinkAppiOSWrapper(std::string appName, std::string iAP1Name, std::string launchString);
  ~LinkAppiOSWrapper();
  LinkAppiOSWrapper(const LinkAppiOSWrapper&) = delete;
  LinkAppiOSWrapper& operator=(const LinkAppiOSWrapper&) = delete;

  // Adds a listener, which is not taken over: it lives until it is removed, or this object is gone. True also when it
  // is there already: it is still called once per notification. False, with a log line and no change, for null.
  bool setListener(LinkAppiOSWrapperListener* listener);

  // Removes it. When it returns, no call of the listener by this wrapper is running, except one that the caller is
  // inside of. False, and no change, for one that is not there, and, with a log line, for null.
  bool removeListener(LinkAppiOSWrapperListener* listener);

  // iOSAppCommonClient::launch. The result is the client's: 1 = the session is open, a launch was requested, or there
  // is no launch string; 0 = refused.
  unsigned int requestLaunch(unsigned char deviceId, AppLaunchMethod method);

  // iOSAppCommonClient::sendDataFromHU. The result is the client's: 1 = on its way, 0 = refused. The bytes are copied.
  // 1 to 4096 bytes; no more than 40 messages may be under way without their send results.
  unsigned int requestSendData(const unsigned char* data, unsigned int size);

  // Handler of the client's notifications, on the delivery thread. Returns 0 in every case and ignores foreign
  // identifiers, null data and a size of 0.
  unsigned int oniOSClientUpdate(unsigned int id, void* data, unsigned int size);

 private:
  void onDeviceInfo(const iOSAppCommonClient::DeviceInfo& info);
  void onSendResult(const iosapp_def_::SendResultInfo& info);
  void onReceivedData(const iosapp_def_::CommData& data);

  iOSAppCommonClient* client;
  VQObserver<LinkAppiOSWrapper>* observer;
  LinkAppListenerSet<LinkAppiOSWrapperListener>* listeners;
  LinkAppAttachment* attachment;  // of the observer to the client
};

// Diagnostics of this class; 0 in every normal build.
extern LINKAPP_API unsigned char wrapLog_;
