#include "app/registration.h"

#include <algorithm>
#include <cstring>

#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "VQFramework/Sync/VQSyncGuard.h"

namespace app {
namespace {

// A copy of the table as it is now; empty where the segment cannot be had.
iOSAppInfoList readTable() {
  const iOSAppCommonLocalMem_AppInfo memory;
  iOSAppInfoList table = {};
  if (memory.mapping != MAP_FAILED) {
    VQSyncGuard guard(memory);
    memcpy(&table, static_cast<const char*>(memory.mapping) + 4, sizeof table);
  }
  table.count = std::min(table.count, iOSAppInfoList::kEntryCount);
  return table;
}

// Whether the bytes up to the end of the entry begin with the text. What follows may be the next field, where the text
// is as long as its own.
bool beginsWith(const iOSAppInfo& entry, const char* field, const std::string& text) {
  const char* const end = reinterpret_cast<const char*>(&entry + 1);
  return text.size() <= static_cast<std::size_t>(end - field) && memcmp(field, text.data(), text.size()) == 0;
}

bool isField(const iOSAppInfo& entry, const char* field, std::size_t bytes, const std::string& text) {
  return beginsWith(entry, field, text) && (text.size() >= bytes || field[text.size()] == '\0');
}

}  // namespace

std::uint32_t tablePlaces() {
  return iOSAppInfoList::kEntryCount;
}

std::uint32_t takenPlaces() {
  return readTable().count;
}

std::uint32_t findAppId(const Setup& setup, std::uint32_t from) {
  const iOSAppInfoList table = readTable();
  for (std::uint32_t i = table.count; i > from; --i) {
    const iOSAppInfo& entry = table.entry[i - 1];
    if (isField(entry, entry.appName, sizeof entry.appName, setup.name) &&
        isField(entry, entry.launchString, sizeof entry.launchString, setup.launchString)) {
      return entry.appId;
    }
  }
  return 0;
}

}  // namespace app
