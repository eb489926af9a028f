#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"

#include <algorithm>
#include <cstring>

#include "NotifyIds.h"
#include "SegmentRecord.h"
#include "VQFramework/Debug/VQDbgOutput.h"

namespace {

// No terminator and no width check: a text that is too long runs on into the next field, as readers in the field know
// it. It ends with the table.
void copyText(iOSAppInfoList& table, std::size_t offset, const std::string& text) {
  memcpy(reinterpret_cast<char*>(&table) + offset, text.data(), std::min(text.size(), sizeof(table) - offset));
}

void writeTexts(iOSAppInfoList& table, std::uint32_t index, const std::string& iAP1Name, const std::string& appName,
                const std::string& launchString) {
  const std::size_t entry = index * sizeof(iOSAppInfo);
  copyText(table, entry + offsetof(iOSAppInfo, iAP1Name), iAP1Name);
  copyText(table, entry + offsetof(iOSAppInfo, appName), appName);
  copyText(table, entry + offsetof(iOSAppInfo, launchString), launchString);
}

}  // namespace

iOSAppCommonLocalMem_AppInfo::iOSAppCommonLocalMem_AppInfo()
    : VQSharedMemory<iOSAppInfoList, 1>("iOSAppCommonLocalMem_AppInfo"),
      notifier(false),
      observer(this, &iOSAppCommonLocalMem_AppInfo::update) {
  notifier.AddObserver(&observer, &kNotifyAppInfo, 1);
}

iOSAppCommonLocalMem_AppInfo::~iOSAppCommonLocalMem_AppInfo() {
  notifier.RemoveObserver(&observer);
}

void iOSAppCommonLocalMem_AppInfo::registAppInfo(const std::string& iAP1Name, const std::string& appName,
                                                 const std::string& launchString, std::atomic<std::uint32_t>& appId) {
  iOSAppInfoList* const table = segmentRecord(*this);
  if (table == nullptr) {
    return;
  }
  {
    VQSyncGuard guard(*this);
    // Tested and used under one hold: of two processes that meet at the last entry one is refused.
    const std::uint32_t index = __atomic_load_n(&table->count, __ATOMIC_RELAXED);
    if (index < iOSAppInfoList::kEntryCount) {
      writeTexts(*table, index, iAP1Name, appName, launchString);
      // After the texts: one that is too long may have run over `count`.
      table->entry[index].appId = index + 1;
      appId = index + 1;
      __atomic_store_n(&table->count, index + 1, __ATOMIC_RELAXED);
      notifier.NotifyDataUpdate(kNotifyAppInfo, &index, sizeof(index));
      return;
    }
  }
  VQDbgOutput::DbgPrint("LinkAppCommon/private/iOSApp/iOSAppCommonLocalMem_AppInfo", "registAppInfo", 0, 1,
                        "### Error : iOSAppInfoList overflow!\r\n");
}

unsigned int iOSAppCommonLocalMem_AppInfo::update(unsigned int id, void* data, unsigned int size) {
  NotifyObserver(id, data, size, kNotificationType);
  return 0;
}
