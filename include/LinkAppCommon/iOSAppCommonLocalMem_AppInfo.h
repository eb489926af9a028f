// iOSAppCommonLocalMem_AppInfo: one process's handle on the table of registered apps.
//
// Threads: registration any; `update` and with it every observer run on the framework's delivery thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"

class LINKAPP_API iOSAppCommonLocalMem_AppInfo : public VQSharedMemory<iOSAppInfoList, 1>, public VQSubject {
 public:
  // Opens segment "iOSAppCommonLocalMem_AppInfo" and registers for identifier 5. Registers no app.
  iOSAppCommonLocalMem_AppInfo();
  ~iOSAppCommonLocalMem_AppInfo() override;

  // Appends an app to the table under the segment's lock and announces its index with notify identifier 5.
  // Texts are copied without a terminator and without a width check: one that is as long as its field (11, 128, 128
  // bytes) or longer runs on into what follows, never past the end of the table.
  // Stores the app id (index + 1) in `appId` before the announcement goes out, so that its owner knows itself when the
  // answer comes. `appId` keeps its value, and nothing changes, when the table is full (one log line) or the segment is
  // not mapped. An entry can not be taken back.
  void registAppInfo(const std::string& iAP1Name, const std::string& appName, const std::string& launchString,
                     std::atomic<std::uint32_t>& appId);

  // Relays whatever the notifier delivers, unchanged, to the observers of this endpoint. Returns 0.
  unsigned int update(unsigned int id, void* data, unsigned int size);

  VQSharedMemNotifier notifier;                       // announces registered apps to all processes, this one included
  VQObserver<iOSAppCommonLocalMem_AppInfo> observer;  // registered with the notifier, calls `update`
};
