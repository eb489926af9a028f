#include "LinkAppCommon/iOSAppCommonServer.h"

#include <algorithm>
#include <cstring>

#include "ChannelValues.h"
#include "MemPack.h"
#include "NotifyIds.h"

namespace {

constexpr std::uint32_t kHandsFreeConnectedFlag = 1;

// Null where nothing matches.
template <class Match>
const iOSLinkAppInfo* findLast(const std::vector<iOSLinkAppInfo>& list, Match match) {
  const auto found = std::find_if(list.rbegin(), list.rend(), match);
  return found != list.rend() ? &*found : nullptr;
}

}  // namespace

iOSAppCommonServer::iOSAppCommonServer(unsigned int device)
    : connectStatusMem(new iOSAppCommonLocalMem_ConnectStatus),
      appUtil(VQSingleton<iOSAppCommonUtil>::getInstance()),
      fromHUObserver(new VQObserver<iOSAppCommonServer>(this, &iOSAppCommonServer::onFromHUUpdate)),
      connectStatusObserver(new VQObserver<iOSAppCommonServer>(this, &iOSAppCommonServer::onConnectStatusUpdate)),
      appUtilObserver(new VQObserver<iOSAppCommonServer>(this, &iOSAppCommonServer::onAppUtilUpdate)),
      deviceId(device),
      iapType(kIapTypeWithAppIds) {
  memPacks.push_back(createMemPack(deviceId));

  connectStatusMem->AddObserver(connectStatusObserver);
  appUtil->AddObserver(appUtilObserver);
  for (iOSAppMemPack* pack : memPacks) {
    pack->fromHU->AddObserver(fromHUObserver);
  }
  copyRegistryTable();
}

iOSAppCommonServer::~iOSAppCommonServer() {
  connectStatusMem->RemoveObserver(connectStatusObserver);
  // Before any endpoint ends: an observer that is told of data may answer with a send result.
  for (iOSAppMemPack* pack : memPacks) {
    pack->fromHU->RemoveObserver(fromHUObserver);
  }
  delete connectStatusObserver;
  delete connectStatusMem;

  // A server that lives until the process exits may meet a registry that has gone before it.
  if (VQSingleton<iOSAppCommonUtil>::peekInstance() == appUtil) {
    appUtil->RemoveObserver(appUtilObserver);
  }
  delete appUtilObserver;

  delete fromHUObserver;
  for (iOSAppMemPack* pack : memPacks) {
    destroyMemPack(pack);
  }
}

void iOSAppCommonServer::copyRegistryTable() {
  // The handler of registry changes is attached already. It waits here until the table stands, so that an app which is
  // announced between snapshot and assignment is appended afterwards and not lost.
  VQSyncGuard guard(serverLock);
  const SupportiOSLinkAppInfo snapshot = appUtil->getSupportiOSLinkAppInfo();
  VQSyncGuard tableGuard(appList.lock);
  appList.list = snapshot.list;
}

void iOSAppCommonServer::notifyConnectionState(iosapp_def_::ConnectInfo& info) {
  info.deviceId = deviceId;
  iapType = info.iapType;
  connectStatusMem->setDeviceConnectionStatus(info);
}

void iOSAppCommonServer::notifyBluetoothConnectionStatus(iOSAppExtBluetoothConnectionStatus* status) {
  if (status == nullptr) {
    return;
  }
  iosapp_def_::BtHfInfo info;
  info.deviceId = deviceId;
  info.btConnected = status->flags & kHandsFreeConnectedFlag;
  memcpy(info.btAddress, status->btAddress, sizeof(info.btAddress));
  connectStatusMem->setBtHfInfo(info);
}

void iOSAppCommonServer::notifyPlaybakAppInfo(std::string appName) {
  connectStatusMem->setPlaybackAppInfo({deviceId, appName});
}

void iOSAppCommonServer::notifySessionOpen(unsigned int id, unsigned short sessionId) {
  const unsigned int appId = iapType == kIapTypeWithAppIds ? id : getAppIdFromiAP1Id(id);
  setSessionIdToAppList(appId, sessionId);
  connectStatusMem->setAppSessionInfo({deviceId, appId, kSessionOpened});
}

void iOSAppCommonServer::notifySessionClose(unsigned short sessionId) {
  const unsigned int appId = getAppIdFromAppList(sessionId);
  setSessionIdToAppList(appId, 0);
  connectStatusMem->setAppSessionInfo({deviceId, appId, kSessionClosed});
}

unsigned short iOSAppCommonServer::getSessionIdFromAppList(unsigned int appId) {
  VQSyncGuard guard(serverLock);
  VQSyncGuard tableGuard(appList.lock);
  const iOSLinkAppInfo* const app =
      findLast(appList.list, [appId](const iOSLinkAppInfo& info) { return info.appId == appId; });
  return app != nullptr ? app->sessionId : 0;
}

unsigned short iOSAppCommonServer::getAppIdFromAppList(unsigned short sessionId) {
  // Session id 0 meets every app without an open session, the blank entry too, and answers the last of them.
  VQSyncGuard guard(serverLock);
  VQSyncGuard tableGuard(appList.lock);
  const iOSLinkAppInfo* const app =
      findLast(appList.list, [sessionId](const iOSLinkAppInfo& info) { return info.sessionId == sessionId; });
  return app != nullptr ? app->appId : 0;
}

unsigned short iOSAppCommonServer::getAppIdFromiAP1Id(unsigned int iAP1Id) {
  VQSyncGuard guard(serverLock);
  VQSyncGuard tableGuard(appList.lock);
  const iOSLinkAppInfo* const app =
      findLast(appList.list, [iAP1Id](const iOSLinkAppInfo& info) { return info.iAP1Id == iAP1Id; });
  return app != nullptr ? app->appId : 0;
}

std::string iOSAppCommonServer::getLaunchStringFromAppList(unsigned int appId) {
  // The first match wins here, the last one everywhere else.
  VQSyncGuard guard(serverLock);
  VQSyncGuard tableGuard(appList.lock);
  const auto found = std::find_if(appList.list.begin(), appList.list.end(),
                                  [appId](const iOSLinkAppInfo& info) { return info.appId == appId; });
  return found != appList.list.end() ? found->launchString : std::string();
}

void iOSAppCommonServer::setSessionIdToAppList(unsigned int appId, unsigned short sessionId) {
  VQSyncGuard guard(serverLock);
  VQSyncGuard tableGuard(appList.lock);
  for (iOSLinkAppInfo& info : appList.list) {
    if (info.appId == appId) {
      info.sessionId = sessionId;
    }
  }
}

unsigned int iOSAppCommonServer::onAppUtilUpdate(unsigned int id, void* /*data*/, unsigned int /*size*/) {
  if (id != kUtilTableChanged) {
    return 0;
  }
  const SupportiOSLinkAppInfo snapshot = appUtil->getSupportiOSLinkAppInfo();

  // Entries that are here already keep their session ids. An app is known by its place: both tables begin with the
  // blank entry, and the registry only appends.
  VQSyncGuard guard(serverLock);
  VQSyncGuard tableGuard(appList.lock);
  for (std::size_t place = appList.list.size(); place < snapshot.list.size(); ++place) {
    appList.list.push_back(snapshot.list[place]);
  }
  return 0;
}

unsigned int iOSAppCommonServer::onConnectStatusUpdate(unsigned int id, void* data, unsigned int size) {
  if (id != kNotifyConnectStatus || data == nullptr || size == 0) {
    return 0;
  }
  iosapp_def_::ConnectStatusNotify message;
  memcpy(&message, data, sizeof(message));
  if (message.notifyType != iosapp_def_::NOTIFYID_APPLAUNCH) {
    return 0;
  }
  // Requests for another device are passed on too; the device-side code decides.
  iOSAppLaunchRequest request;
  request.deviceId = message.deviceId;
  request.appId = message.appId;
  request.launchString = getLaunchStringFromAppList(message.appId);
  request.launchMethod = static_cast<iosapp_def_::AppLaunchMethod>(message.launchMethod);
  NotifyObserver(kServerLaunchRequest, &request, kServerLaunchRequestSize, kNotificationType);
  return 0;
}
