#include "SysDataFactory.h"

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "VQFramework/Sync/VQSyncGuard.h"

template class VQSingleton<SysDataFactory>;
template class VQSingleton<SysDataBtSetting>;

namespace {

constexpr const char* kLinkAppDevice = "LinkAppDevice";
constexpr unsigned int kNoLinkAppDevice = 255;

}  // namespace

std::shared_ptr<SaveFileAccessMetaText> SysDataFactory::getBtSettingFile() {
  VQSyncGuard guard(lock_);
  if (btSettingFile_ == nullptr) {
    btSettingFile_.reset(VQSingleton<SaveFileAccessFactory>::getInstance()->CreateMetaText("BtSetting.ini", "a+"));
  }
  return btSettingFile_;
}

unsigned int SysDataBtSetting::getLinkAppDevice() {
  const std::shared_ptr<SaveFileAccessMetaText> file = VQSingleton<SysDataFactory>::getInstance()->getBtSettingFile();
  if (file == nullptr) {
    return kNoLinkAppDevice;
  }
  // Where the file cannot be opened the operations that follow refuse, and the value counts as missing.
  file->FOpen();
  unsigned int value = kNoLinkAppDevice;
  if (!file->Get(kLinkAppDevice, &value)) {
    value = kNoLinkAppDevice;
    file->Set(kLinkAppDevice, value);
    file->Flush();
  }
  file->FClose();
  return value;
}
