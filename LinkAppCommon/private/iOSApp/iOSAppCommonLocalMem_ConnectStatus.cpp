#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"

#include <cstring>

#include "NotifyIds.h"
#include "VQFramework/Text/vq_strcpy.h"

using iosapp_def_::ConnectStatusNotify;

namespace {

// Every field that the kind does not fill is sent as zero.
ConnectStatusNotify makeMessage(iosapp_def_::NotifyType type, std::uint32_t deviceId) {
  ConnectStatusNotify message = {};
  message.notifyType = type;
  message.deviceId = deviceId;
  return message;
}

void post(VQSharedMemNotifier& notifier, const ConnectStatusNotify& message) {
  notifier.NotifyDataUpdate(kNotifyConnectStatus, &message, sizeof(message));
}

}  // namespace

iOSAppCommonLocalMem_ConnectStatus::iOSAppCommonLocalMem_ConnectStatus()
    : VQSharedMemory<ConnectStatusNotify, 1>("iOSAppCommonLocalMem_ConnectStatus"),
      notifier(false),
      observer(this, &iOSAppCommonLocalMem_ConnectStatus::update) {
  notifier.AddObserver(&observer, &kNotifyConnectStatus, 1);
}

iOSAppCommonLocalMem_ConnectStatus::~iOSAppCommonLocalMem_ConnectStatus() {
  notifier.RemoveObserver(&observer);
}

void iOSAppCommonLocalMem_ConnectStatus::requestAppLAunch(unsigned int deviceId, unsigned int appId,
                                                          iosapp_def_::AppLaunchMethod method) {
  ConnectStatusNotify message = makeMessage(iosapp_def_::NOTIFYID_APPLAUNCH, deviceId);
  message.appId = appId;
  message.launchMethod = method;
  post(notifier, message);
}

void iOSAppCommonLocalMem_ConnectStatus::setDeviceConnectionStatus(iosapp_def_::ConnectInfo& info) {
  ConnectStatusNotify message = makeMessage(iosapp_def_::NOTIFYID_CONNECTSTATUS, info.deviceId);
  message.connectStatus = info.connectStatus;
  message.connectType = info.connectType;
  message.iapType = info.iapType;
  post(notifier, message);
}

void iOSAppCommonLocalMem_ConnectStatus::setAppSessionInfo(iosapp_def_::SessionInfo info) {
  ConnectStatusNotify message = makeMessage(iosapp_def_::NOTIFYID_SESSIONSTATUS, info.deviceId);
  message.appId = info.appId;
  message.status = info.status;
  post(notifier, message);
}

void iOSAppCommonLocalMem_ConnectStatus::setBtHfInfo(iosapp_def_::BtHfInfo info) {
  // `status` stays 0 although receivers decide add or remove by it: receivers in the field depend on it.
  ConnectStatusNotify message = makeMessage(iosapp_def_::NOTIFYID_BTHFSTATUS, info.deviceId);
  message.btConnected = info.btConnected;
  memcpy(message.btAddress, info.btAddress, sizeof(message.btAddress));
  post(notifier, message);
}

void iOSAppCommonLocalMem_ConnectStatus::setPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) {
  ConnectStatusNotify message = makeMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, info.deviceId);
  vq_strcpy(message.playbackAppName, sizeof(message.playbackAppName), info.appName.c_str());
  post(notifier, message);
}

unsigned int iOSAppCommonLocalMem_ConnectStatus::update(unsigned int id, void* data, unsigned int size) {
  NotifyObserver(id, data, size, kNotificationType);
  return 0;
}
