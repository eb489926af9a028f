// iOSAppCommonUtil: the process-wide registry of the head-unit apps that are registered for iOS.
//
// It mirrors the shared registration table, numbers the apps that have an iAP1 name (1, 2, 3, ... in the order in which
// this process saw them) and notifies its observers, with identifier 0 and no payload, after every app it appends.
// Threads: queries any; onAppInfoUpdate and the notification run on the framework's delivery thread, with no lock held.
// Lifetime: obtained through VQSingleton<iOSAppCommonUtil>::getInstance(); lives until the process exits.
// Locks: utilLock, then the table's lock. The table segment's lock is taken alone.
#pragma once

#include <cstdint>

#include "LinkAppCommon/LinkAppExport.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "VQFramework/Sync/VQSync.h"

class LINKAPP_API iOSAppCommonUtil : public VQSubject, public VQSingleton<iOSAppCommonUtil> {
 public:
  iOSAppCommonUtil();
  ~iOSAppCommonUtil() override;

  // Number of registered apps that have an iAP1 name.
  std::uint16_t getiAP1AppCount();

  // A copy of the table, blank entry first, with a lock of its own.
  SupportiOSLinkAppInfo getSupportiOSLinkAppInfo();

  // Appends a copy. Notifies nobody.
  void pushAppInfo(const iOSLinkAppInfo& info);

  // Whether a registered app's name contains "spotify", byte for byte.
  bool isSupportediOSLinkAppSpotify();
  // The same with "pandora".
  bool isSupportediOSLinkAppPandora();

  // Handler of the table's endpoint: notify identifier 5 with the 4-byte index of the new entry. An entry that is
  // announced after the constructor has read it is appended a second time. Returns 0.
  unsigned int onAppInfoUpdate(unsigned int id, void* data, unsigned int size);

 private:
  bool convertiOSAppInfoToLinkAppInfo(std::uint32_t index, iOSLinkAppInfo& info);
  void readRegisteredApps();
  bool isAppNameRegistered(const char* part);

  iOSAppCommonLocalMem_AppInfo* appInfoMem;
  VQObserver<iOSAppCommonUtil>* appInfoObserver;
  SupportiOSLinkAppInfo supportInfo VQ_GUARDED_BY(utilLock);
  VQSync utilLock;  // taken before supportInfo.lock
  std::uint16_t iAP1Counter VQ_GUARDED_BY(utilLock);
};

extern template class VQSingleton<iOSAppCommonUtil>;
