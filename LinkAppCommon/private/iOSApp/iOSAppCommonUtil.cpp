#include "LinkAppCommon/iOSAppCommonUtil.h"

#include <algorithm>
#include <cstring>

#include "NotifyIds.h"
#include "SegmentRecord.h"
#include "VQFramework/Debug/VQDbgOutput.h"

template class VQSingleton<iOSAppCommonUtil>;

namespace {

std::uint32_t readCount(const iOSAppCommonLocalMem_AppInfo& endpoint) {
  const iOSAppInfoList* const table = segmentRecord(endpoint);
  if (table == nullptr) {
    return 0;
  }
  VQSyncGuard guard(endpoint);
  return std::min(__atomic_load_n(&table->count, __ATOMIC_RELAXED), iOSAppInfoList::kEntryCount);
}

// An empty entry, which no reader accepts, where there is none at `index`.
iOSAppInfo readEntry(const iOSAppCommonLocalMem_AppInfo& endpoint, std::uint32_t index) {
  iOSAppInfo entry = {};
  const iOSAppInfoList* const table = segmentRecord(endpoint);
  if (table != nullptr && index < iOSAppInfoList::kEntryCount) {
    VQSyncGuard guard(endpoint);
    entry = table->entry[index];
  }
  return entry;
}

// A text that fills its field runs on into the next one: it ends at the first NUL or with the entry.
std::string readText(const iOSAppInfo& entry, std::size_t offset) {
  const char* const text = reinterpret_cast<const char*>(&entry) + offset;
  return std::string(text, strnlen(text, sizeof(entry) - offset));
}

}  // namespace

iOSAppCommonUtil::iOSAppCommonUtil()
    : appInfoMem(new iOSAppCommonLocalMem_AppInfo),
      appInfoObserver(new VQObserver<iOSAppCommonUtil>(this, &iOSAppCommonUtil::onAppInfoUpdate)),
      iAP1Counter(1) {
  appInfoMem->AddObserver(appInfoObserver);
  readRegisteredApps();
}

iOSAppCommonUtil::~iOSAppCommonUtil() {
  appInfoMem->RemoveObserver(appInfoObserver);
  delete appInfoObserver;
  delete appInfoMem;
}

void iOSAppCommonUtil::readRegisteredApps() {
  const std::uint32_t count = readCount(*appInfoMem);
  for (std::uint32_t index = 0; index < count; ++index) {
    iOSLinkAppInfo info;
    if (convertiOSAppInfoToLinkAppInfo(index, info)) {
      pushAppInfo(info);
    }
  }
}

std::uint16_t iOSAppCommonUtil::getiAP1AppCount() {
  VQSyncGuard guard(utilLock);
  return static_cast<std::uint16_t>(iAP1Counter - 1);
}

SupportiOSLinkAppInfo iOSAppCommonUtil::getSupportiOSLinkAppInfo() {
  VQSyncGuard guard(utilLock);
  VQSyncGuard tableGuard(supportInfo.lock);
  return supportInfo;
}

void iOSAppCommonUtil::pushAppInfo(const iOSLinkAppInfo& info) {
  VQSyncGuard guard(utilLock);
  VQSyncGuard tableGuard(supportInfo.lock);
  supportInfo.list.push_back(info);
}

bool iOSAppCommonUtil::isSupportediOSLinkAppSpotify() {
  return isAppNameRegistered("spotify");
}

bool iOSAppCommonUtil::isSupportediOSLinkAppPandora() {
  return isAppNameRegistered("pandora");
}

bool iOSAppCommonUtil::isAppNameRegistered(const char* part) {
  VQSyncGuard guard(utilLock);
  VQSyncGuard tableGuard(supportInfo.lock);
  // The blank entry's empty name contains nothing.
  return std::any_of(supportInfo.list.begin(), supportInfo.list.end(),
                     [part](const iOSLinkAppInfo& info) { return info.appName.find(part) != std::string::npos; });
}

unsigned int iOSAppCommonUtil::onAppInfoUpdate(unsigned int id, void* data, unsigned int size) {
  if (id != kNotifyAppInfo || data == nullptr || size == 0) {
    return 0;
  }
  std::uint32_t index = 0;
  memcpy(&index, data, sizeof(index));

  // Not looked up first: an entry that the constructor has read before its announcement came is appended again.
  iOSLinkAppInfo info;
  if (convertiOSAppInfoToLinkAppInfo(index, info)) {
    pushAppInfo(info);
    NotifyObserver(kUtilTableChanged, nullptr, 0, kNotificationType);
  }
  return 0;
}

bool iOSAppCommonUtil::convertiOSAppInfoToLinkAppInfo(std::uint32_t index, iOSLinkAppInfo& info) {
  const iOSAppInfo entry = readEntry(*appInfoMem, index);
  if (entry.appId == 0 || entry.appName[0] == '\0') {
    VQDbgOutput::DbgPrint("LinkAppCommon/private/iOSApp/iOSAppCommonUtil", "convertiOSAppInfoToLinkAppInfo", 0, 1,
                          "### Error : iOSAppInfo is invalid.\r\n");
    return false;
  }
  info.appId = static_cast<std::uint16_t>(entry.appId);
  info.iAP1Name = readText(entry, offsetof(iOSAppInfo, iAP1Name));
  info.appName = readText(entry, offsetof(iOSAppInfo, appName));
  info.launchString = readText(entry, offsetof(iOSAppInfo, launchString));
  if (!info.iAP1Name.empty()) {
    VQSyncGuard guard(utilLock);  // only now: the segment's lock is taken alone
    info.iAP1Id = iAP1Counter++;
  }
  return true;
}
