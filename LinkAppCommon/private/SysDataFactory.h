// SysDataFactory and SysDataBtSetting: the process-wide access to the settings that this library reads.
//
// Threads: any. One each per process, through VQSingleton; they live until the process exits.
#pragma once

#include <memory>

#include "LinkAppCommon/LinkAppExport.h"
#include "VQFramework/Settings/SaveFileAccessMetaText.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "VQFramework/Sync/VQSync.h"

class LINKAPP_API SysDataFactory : public VQSingleton<SysDataFactory> {
 public:
  // The settings file of the Bluetooth applications, made at the first use. Null where the host cannot make it; the
  // next use tries again. The caller's share outlives this object: a notification may come in while the process exits.
  std::shared_ptr<SaveFileAccessMetaText> getBtSettingFile();

 private:
  VQSync lock_;
  std::shared_ptr<SaveFileAccessMetaText> btSettingFile_ VQ_GUARDED_BY(lock_);
};

// Access to single settings of that file, by their names.
class LINKAPP_API SysDataBtSetting : public VQSingleton<SysDataBtSetting> {
 public:
  // The number of the Bluetooth device that is linked with the iPhone on the iOS channel; 255 = none. A value that
  // cannot be read is set to 255 in the file.
  unsigned int getLinkAppDevice();
};

extern template class VQSingleton<SysDataFactory>;
extern template class VQSingleton<SysDataBtSetting>;
