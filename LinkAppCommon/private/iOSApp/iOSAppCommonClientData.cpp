// Launch, data path and send results of the client.
#include <cstring>

#include "ChannelValues.h"
#include "ClientLog.h"
#include "DataRing.h"
#include "LinkAppCommon/iOSAppCommonClient.h"
#include "MemPack.h"
#include "NotifyIds.h"
#include "VQFramework/Debug/VQDbgOutput.h"

unsigned int iOSAppCommonClient::isDeviceConnected(unsigned int deviceId) {
  VQSyncGuard guard(listLock);
  unsigned int connected = 0;
  for (const iosapp_def_::ConnectInfo& info : connectInfoList) {
    if (info.deviceId == deviceId) {
      connected = info.connectStatus == kDeviceConnected ? 1 : 0;
    }
  }
  return connected;
}

unsigned int iOSAppCommonClient::isSessionOpened(unsigned int deviceId, unsigned int sessionAppId) {
  VQSyncGuard guard(listLock);
  unsigned int opened = 0;
  for (const iosapp_def_::SessionInfo& info : sessionInfoList) {
    if (info.deviceId == deviceId && info.appId == sessionAppId) {
      opened = info.status == kSessionOpened ? 1 : 0;
    }
  }
  return opened;
}

unsigned int iOSAppCommonClient::launch(unsigned int deviceId, iosapp_def_::AppLaunchMethod method) {
  if (deviceId != kServedDeviceId) {
    VQDbgOutput::DbgPrint(kClientLogFile, "launch", 0, 1, "##### Launch Error : DeviceId[%d]] is invalid.\n",
                          static_cast<int>(deviceId));
    return 0;
  }
  if (appId == kNoApp) {
    return 0;
  }
  if (isDeviceConnected(deviceId) == 0) {
    // The device id is the tag, too: log readers in the field filter by it.
    VQDbgOutput::DbgPrint(kClientLogFile, "launch", 0, deviceId, "##### Launch Error : DeviceId[%d]] not connected.\n",
                          static_cast<int>(deviceId));
    return 0;
  }
  // Before the session is looked at: every accepted launch selects the device for later sends.
  currentDeviceId = deviceId;
  if (isSessionOpened(deviceId, appId) == 0 && launchEnabled) {
    connectStatusMem->requestAppLAunch(deviceId, appId, method);
  }
  return 1;
}

unsigned int iOSAppCommonClient::sendDataFromHU(const unsigned char* data, unsigned int size) {
  const std::uint32_t deviceId = currentDeviceId;
  const std::uint32_t ownAppId = appId;
  if (isDeviceConnected(deviceId) == 0 || isSessionOpened(deviceId, ownAppId) == 0) {
    VQDbgOutput::DbgPrint(kClientLogFile, "sendDataFromHU", 0, 1, "##### Send Error : DeviceId[%d]] not opened.\n",
                          static_cast<int>(deviceId));
    return 0;
  }
  if (ownAppId == kNoApp) {
    return 0;
  }
  const iOSAppMemPack* const pack = findMemPack(memPacks, deviceId);
  if (pack == nullptr) {
    return 0;
  }
  if (!writeToRing(*pack->fromHU, ownAppId, data, size)) {
    VQDbgOutput::DbgPrint(kClientLogFile, "sendDataFromHU", 0, 1,
                          "##### Error set data from H/U : DevId[%d] AppId[%d] DataSize[%d]\n",
                          static_cast<int>(deviceId), static_cast<int>(ownAppId), static_cast<int>(size));
    return 0;
  }
  return 1;
}

unsigned int iOSAppCommonClient::onFromDeviceUpdate(unsigned int id, void* data, unsigned int size) {
  if (id != kNotifyFromDevice || data == nullptr || size == 0) {
    return 0;
  }
  iOSAppCommonDataNotify announcement;
  memcpy(&announcement, data, sizeof(announcement));
  // Data flows only after a launch has selected the device; the selection outlives a disconnect.
  if (announcement.deviceId != currentDeviceId || announcement.appId == kNoApp || announcement.appId != appId) {
    return 0;
  }
  const iOSAppMemPack* const pack = findMemPack(memPacks, announcement.deviceId);
  if (pack == nullptr) {
    return 0;
  }
  // Valid during the call only, so every message of a delivery thread may lie in the same place.
  static thread_local std::uint8_t bytes[iOSAppCommonDataList::kSlotBytes];
  static thread_local SlotCopy slot = {bytes, 0};
  const std::uint32_t messageSize = readSizeFromRing(*pack->fromDevice, announcement.slotIndex);
  if (messageSize == 0 || !readSlotFromRing(*pack->fromDevice, announcement.slotIndex, slot)) {
    return 0;
  }
  iosapp_def_::CommData received;
  received.deviceId = announcement.deviceId;
  received.appName = appName;
  received.data = bytes;
  received.size = messageSize;
  NotifyObserver(kClientCommData, &received, kCommDataSize, kNotificationType);
  return 0;
}

void iOSAppCommonClient::onSendResult(const iosapp_def_::ConnectStatusNotify& message) {
  if (appId == kNoApp || message.deviceId != currentDeviceId || message.appId != appId) {
    return;
  }
  // `appId` stays 0: observers know their client by its name.
  iosapp_def_::SendResultInfo info;
  info.deviceId = message.deviceId;
  info.appName = appName;
  info.result = static_cast<iosapp_def_::SendResult>(message.sendResult);
  NotifyObserver(kClientSendResult, &info, kClientSendResultSize, kNotificationType);
}
