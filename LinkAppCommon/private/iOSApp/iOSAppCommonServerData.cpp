// The data path of the server.
#include <cstring>
#include <memory>
#include <new>

#include "ChannelValues.h"
#include "DataRing.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "MemPack.h"
#include "NotifyIds.h"
#include "VQFramework/Debug/VQDbgOutput.h"

void iOSAppCommonServer::sendDataFromDevice(unsigned short sessionId, const unsigned char* data, unsigned int size) {
  const unsigned short appId = getAppIdFromAppList(sessionId);
  const iOSAppMemPack* const pack = findMemPack(memPacks, deviceId);
  if (pack == nullptr) {
    return;
  }
  if (appId == kNoApp || !writeToRing(*pack->fromDevice, appId, data, size)) {
    VQDbgOutput::DbgPrint("LinkAppCommon/private/iOSApp/iOSAppCommonServer", "sendDataFromDevice", 186, 1,
                          "##### Error set data from Device : AppId[%d] DataSize[%d]\n", appId, static_cast<int>(size));
  }
}

unsigned int iOSAppCommonServer::onFromHUUpdate(unsigned int id, void* data, unsigned int size) {
  if (id != kNotifyFromHU || data == nullptr || size == 0) {
    return 0;
  }
  iOSAppCommonDataNotify announcement;
  memcpy(&announcement, data, sizeof(announcement));
  // The message's own device decides, not the server's.
  const iOSAppMemPack* const pack = findMemPack(memPacks, announcement.deviceId);
  if (pack == nullptr) {
    return 0;
  }
  const std::uint32_t messageSize = readSizeFromRing(*pack->fromHU, announcement.slotIndex);
  if (messageSize == 0) {
    return 0;
  }
  constexpr std::uint32_t kBytes = iOSAppCommonDataList::kSlotBytes;
  std::unique_ptr<std::uint8_t[]> bytes(new (std::nothrow) std::uint8_t[kBytes]);
  SlotCopy slot = {bytes.get(), kBytes};
  if (bytes == nullptr || !readSlotFromRing(*pack->fromHU, announcement.slotIndex, slot)) {
    return 0;
  }
  iosapp_def_::CommData received;
  received.deviceId = announcement.deviceId;
  received.size = messageSize;
  received.sessionId = getSessionIdFromAppList(announcement.appId);
  // From here on the array belongs to the one observer of this server, who releases it.
  received.data = bytes.release();
  NotifyObserver(kServerCommData, &received, kCommDataSize, kNotificationType);
  return 0;
}

void iOSAppCommonServer::notifySendResult(unsigned short sessionId, iosapp_def_::SendResult result) {
  iosapp_def_::ConnectStatusNotify message = {};
  message.notifyType = iosapp_def_::NOTIFYID_SENDRESULT;
  message.deviceId = deviceId;
  message.appId = getAppIdFromAppList(sessionId);
  message.sendResult = result;
  connectStatusMem->notifier.NotifyDataUpdate(kNotifyConnectStatus, &message, sizeof(message));
}
