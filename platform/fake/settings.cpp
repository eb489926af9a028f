#include <map>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "platform/fake/FakeFramework.h"
#include "platform/fake/fake_state.h"
#include "platform/inprocess/mutex.h"
#include "platform/inprocess/settings_store.h"

using vqframework::Mutex;
using vqframework::MutexLock;
using vqframework::SettingsStore;

template class VQSingleton<SaveFileAccessFactory>;

namespace {

struct File {
  std::string text;
  unsigned int flushes = 0;
};

struct Files {
  Mutex mutex;
  bool areReadable VQ_GUARDED_BY(mutex) = true;
  bool areWritable VQ_GUARDED_BY(mutex) = true;
  std::map<std::string, File> byName VQ_GUARDED_BY(mutex);
};

// Never destroyed: a late destructor may still save something.
Files& files() {
  static Files* const instance = new Files;
  return *instance;
}

class MemoryStore : public SettingsStore {
 public:
  explicit MemoryStore(const std::string& name) : name_(name) {}

  bool read(std::string& text) override {
    MutexLock lock(files().mutex);
    if (!files().areReadable) {
      return refuse("FOpen");
    }
    text = files().byName[name_].text;
    return true;
  }

  bool replace(const std::function<std::string(const std::string&)>& edit) override {
    MutexLock lock(files().mutex);
    if (!files().areReadable || !files().areWritable) {
      return refuse("Flush");
    }
    File& file = files().byName[name_];
    file.text = edit(file.text);
    ++file.flushes;
    return true;
  }

 private:
  bool refuse(const char* function) const {
    VQDbgOutput::DbgPrint("VQFramework/Settings/SaveFileAccessMetaText", function, 0, 1, "%s refused\n", name_.c_str());
    return false;
  }

  const std::string name_;
};

}  // namespace

std::unique_ptr<SettingsStore> vqframework::settingsStoreFor(const std::string& name) {
  return std::make_unique<MemoryStore>(name);
}

namespace vqfake {

std::string settingsText(const std::string& file) {
  MutexLock lock(files().mutex);
  return files().byName[file].text;
}

void setSettingsText(const std::string& file, const std::string& text) {
  MutexLock lock(files().mutex);
  files().byName[file].text = text;
}

unsigned int settingsFlushes(const std::string& file) {
  MutexLock lock(files().mutex);
  return files().byName[file].flushes;
}

void setSettingsReadable(bool readable) {
  MutexLock lock(files().mutex);
  files().areReadable = readable;
}

void setSettingsWritable(bool writable) {
  MutexLock lock(files().mutex);
  files().areWritable = writable;
}

void resetSettings() {
  MutexLock lock(files().mutex);
  files().areReadable = true;
  files().areWritable = true;
  files().byName.clear();
}

}  // namespace vqfake
