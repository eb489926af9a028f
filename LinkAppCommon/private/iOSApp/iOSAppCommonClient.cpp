#include "LinkAppCommon/iOSAppCommonClient.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "ChannelValues.h"
#include "ClientLog.h"
#include "MemPack.h"
#include "NotifyIds.h"
#include "VQFramework/Debug/VQDbgOutput.h"

using iosapp_def_::BtHfInfo;
using iosapp_def_::ConnectInfo;
using iosapp_def_::ConnectStatusNotify;
using iosapp_def_::SessionInfo;

namespace {

// Status of a link in DeviceInfo.
constexpr std::uint32_t kLinkNotConnected = 0;
constexpr std::uint32_t kLinkConnected = 1;
constexpr std::uint32_t kLinkSessionOpen = 2;

template <class Record>
Record findFirst(const std::vector<Record>& list, std::uint32_t deviceId) {
  const auto found =
      std::find_if(list.begin(), list.end(), [deviceId](const Record& record) { return record.deviceId == deviceId; });
  return found != list.end() ? *found : Record();
}

template <class Record, class Match>
void eraseWhere(std::vector<Record>& list, Match match) {
  list.erase(std::remove_if(list.begin(), list.end(), match), list.end());
}

template <class Record>
void eraseDevice(std::vector<Record>& list, std::uint32_t deviceId) {
  eraseWhere(list, [deviceId](const Record& record) { return record.deviceId == deviceId; });
}

void formatAddress(const std::uint8_t (&address)[6], std::string& text) {
  constexpr const char* kDigits = "0123456789abcdef";
  text.clear();
  for (const std::uint8_t byte : address) {
    if (!text.empty()) {
      text += ':';
    }
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
}

// A record whose texts keep their room from message to message: connection messages reach every client of the machine
// and take no memory. A call within a call finds the spare one gone and makes another.
class SpareDeviceInfo {
 public:
  SpareDeviceInfo() : info_(std::move(spare())) {}
  ~SpareDeviceInfo() { spare() = std::move(info_); }
  SpareDeviceInfo(const SpareDeviceInfo&) = delete;
  SpareDeviceInfo& operator=(const SpareDeviceInfo&) = delete;

  iOSAppCommonClient::DeviceInfo* get() { return &info_; }

 private:
  static iOSAppCommonClient::DeviceInfo& spare() {
    static thread_local iOSAppCommonClient::DeviceInfo info;
    return info;
  }

  iOSAppCommonClient::DeviceInfo info_;
};

// `connection` says over which link and with which protocol, `status` how far the link is. Leaves nothing as it was.
void fillDeviceInfo(iOSAppCommonClient::DeviceInfo& info, std::uint32_t deviceId, const ConnectInfo& connection,
                    std::uint32_t status, const BtHfInfo& handsFree, const std::string& appName) {
  const bool isBluetooth = connection.connectType == kConnectTypeBluetooth;
  info.deviceId = static_cast<std::uint8_t>(deviceId);
  formatAddress(handsFree.btAddress, info.btAddress);
  info.btSppStatus = isBluetooth ? status : 0;
  info.btSppName.clear();
  info.usbStatus = isBluetooth ? 0 : status;
  info.usbName.clear();
  (isBluetooth ? info.btSppName : info.usbName) = appName;
  info.iapVersion = connection.iapType != 0 ? 2 : 1;
  info.hfpConnected = handsFree.btConnected == kHandsFreeConnected ? 1 : 0;
}

}  // namespace

iOSAppCommonClient::iOSAppCommonClient(const std::string& iAP1Name, const std::string& name,
                                       const std::string& launchString)
    : connectStatusMem(new iOSAppCommonLocalMem_ConnectStatus),
      appInfoMem(new iOSAppCommonLocalMem_AppInfo),
      connectStatusObserver(new VQObserver<iOSAppCommonClient>(this, &iOSAppCommonClient::onConnectStatusUpdate)),
      fromDeviceObserver(new VQObserver<iOSAppCommonClient>(this, &iOSAppCommonClient::onFromDeviceUpdate)),
      appName(name),
      currentDeviceId(0),
      appId(0),
      launchEnabled(!launchString.empty()) {
  memPacks.push_back(createMemPack(kServedDeviceId));

  connectStatusMem->AddObserver(connectStatusObserver);
  for (iOSAppMemPack* pack : memPacks) {
    pack->fromDevice->AddObserver(fromDeviceObserver);
  }
  if (!appName.empty()) {
    appInfoMem->registAppInfo(iAP1Name, appName, launchString, appId);
  }
}

iOSAppCommonClient::~iOSAppCommonClient() {
  connectStatusMem->RemoveObserver(connectStatusObserver);
  // Before any endpoint ends: an observer that is told of data may launch and send.
  for (iOSAppMemPack* pack : memPacks) {
    pack->fromDevice->RemoveObserver(fromDeviceObserver);
  }
  delete connectStatusObserver;
  delete connectStatusMem;
  delete appInfoMem;

  delete fromDeviceObserver;
  for (iOSAppMemPack* pack : memPacks) {
    destroyMemPack(pack);
  }
}

ConnectInfo iOSAppCommonClient::getConnectInfoToList(unsigned int deviceId) {
  VQSyncGuard guard(listLock);
  return findFirst(connectInfoList, deviceId);
}

BtHfInfo iOSAppCommonClient::getBtHfInfoToList(unsigned int deviceId) {
  VQSyncGuard guard(listLock);
  return findFirst(btHfInfoList, deviceId);
}

void iOSAppCommonClient::addConnectInfoToList(ConnectInfo info) {
  VQSyncGuard guard(listLock);
  eraseDevice(connectInfoList, info.deviceId);
  connectInfoList.push_back(info);
}

void iOSAppCommonClient::addSessionInfoToList(SessionInfo info) {
  VQSyncGuard guard(listLock);
  eraseWhere(sessionInfoList, [&info](const SessionInfo& session) {
    return session.deviceId == info.deviceId && session.appId == info.appId;
  });
  sessionInfoList.push_back(info);
}

void iOSAppCommonClient::addBtHfInfoToList(BtHfInfo info) {
  VQSyncGuard guard(listLock);
  eraseDevice(btHfInfoList, info.deviceId);
  btHfInfoList.push_back(info);
}

void iOSAppCommonClient::removeConnectInfoFromList(unsigned int deviceId) {
  VQSyncGuard guard(listLock);
  eraseDevice(connectInfoList, deviceId);
}

void iOSAppCommonClient::removeSessionInfoFromList(unsigned int deviceId, unsigned int sessionAppId) {
  VQSyncGuard guard(listLock);
  eraseWhere(sessionInfoList, [deviceId, sessionAppId](const SessionInfo& session) {
    return session.deviceId == deviceId && (sessionAppId == kNoApp || session.appId == sessionAppId);
  });
}

void iOSAppCommonClient::removeBtHfInfoFromList(unsigned int deviceId) {
  VQSyncGuard guard(listLock);
  eraseDevice(btHfInfoList, deviceId);
}

unsigned int iOSAppCommonClient::onConnectStatusUpdate(unsigned int id, void* data, unsigned int size) {
  if (id != kNotifyConnectStatus || data == nullptr || size == 0) {
    return 0;
  }
  ConnectStatusNotify message;
  memcpy(&message, data, sizeof(message));
  switch (message.notifyType) {
    case iosapp_def_::NOTIFYID_CONNECTSTATUS:
      onConnectStatus(message);
      break;
    case iosapp_def_::NOTIFYID_SESSIONSTATUS:
      onSessionStatus(message);
      break;
    case iosapp_def_::NOTIFYID_SENDRESULT:
      onSendResult(message);
      break;
    case iosapp_def_::NOTIFYID_BTHFSTATUS:
      onBtHfStatus(message);
      break;
    case iosapp_def_::NOTIFYID_PLAYBACKAPPINFO:
      onPlaybackAppInfo(message);
      break;
    default:
      break;
  }
  return 0;
}

void iOSAppCommonClient::onConnectStatus(const ConnectStatusNotify& message) {
  const BtHfInfo handsFree = getBtHfInfoToList(message.deviceId);
  const ConnectInfo connection = {message.deviceId, message.connectStatus, message.connectType, message.iapType};
  // The list takes exactly 1 as connected, the report below every value but 0: users depend on both.
  if (message.connectStatus == kDeviceConnected) {
    addConnectInfoToList(connection);
  } else {
    removeConnectInfoFromList(message.deviceId);
    removeSessionInfoFromList(message.deviceId, kNoApp);
  }
  const std::uint32_t status = message.connectStatus != 0 ? kLinkConnected : kLinkNotConnected;
  SpareDeviceInfo info;
  fillDeviceInfo(*info.get(), message.deviceId, connection, status, handsFree, appName);
  NotifyObserver(kClientDeviceInfo, info.get(), kClientDeviceInfoSize, kNotificationType);
}

void iOSAppCommonClient::onSessionStatus(const ConnectStatusNotify& message) {
  const ConnectInfo connection = getConnectInfoToList(message.deviceId);
  const BtHfInfo handsFree = getBtHfInfoToList(message.deviceId);
  if (connection.connectStatus != kDeviceConnected) {
    VQDbgOutput::DbgPrint(kClientLogFile, "onConnectStatusUpdate", 0, 1,
                          "[NOTIFYID_SESSIONSTATUS] Error: DeviceId[%d] not connected!\n",
                          static_cast<int>(message.deviceId));
    return;
  }
  // A client follows the sessions of its own app only.
  const std::uint32_t ownAppId = appId;
  if (ownAppId == kNoApp || ownAppId != message.appId) {
    return;
  }
  const bool opened = message.status == kSessionOpened;
  if (opened) {
    addSessionInfoToList({message.deviceId, message.appId, message.status});
  } else {
    removeSessionInfoFromList(message.deviceId, message.appId);
  }
  const std::uint32_t status = opened ? kLinkSessionOpen : kLinkConnected;
  SpareDeviceInfo info;
  fillDeviceInfo(*info.get(), message.deviceId, connection, status, handsFree, appName);
  NotifyObserver(kClientDeviceInfo, info.get(), kClientDeviceInfoSize, kNotificationType);
}

void iOSAppCommonClient::onBtHfStatus(const ConnectStatusNotify& message) {
  const ConnectInfo connection = getConnectInfoToList(message.deviceId);
  BtHfInfo handsFree;
  handsFree.deviceId = message.deviceId;
  handsFree.btConnected = message.btConnected;
  memcpy(handsFree.btAddress, message.btAddress, sizeof(handsFree.btAddress));
  // Add or remove is decided by `status`, which senders leave at 0; users depend on it.
  if (message.status == kSessionOpened) {
    addBtHfInfoToList(handsFree);
  } else {
    removeBtHfInfoFromList(message.deviceId);
  }
  std::uint32_t status = kLinkNotConnected;
  if (connection.connectStatus == kDeviceConnected) {
    status = isSessionOpened(message.deviceId, appId) != 0 ? kLinkSessionOpen : kLinkConnected;
  }
  SpareDeviceInfo info;
  fillDeviceInfo(*info.get(), message.deviceId, connection, status, handsFree, appName);
  NotifyObserver(kClientDeviceInfo, info.get(), kClientDeviceInfoSize, kNotificationType);
}

void iOSAppCommonClient::onPlaybackAppInfo(const ConnectStatusNotify& message) {
  const char* const name = message.playbackAppName;
  iosapp_def_::PlaybackAppInfo info;
  info.deviceId = message.deviceId;
  info.appName.assign(name, strnlen(name, sizeof(message.playbackAppName)));
  NotifyObserver(kClientPlaybackAppInfo, &info, kClientPlaybackAppInfoSize, kNotificationType);
}
