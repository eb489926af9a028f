#include <string.h>

#include <map>
#include <optional>
#include <utility>

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "platform/inprocess/mutex.h"
#include "platform/inprocess/settings_store.h"
#include "platform/inprocess/settings_text.h"

using vqframework::MutexLock;

struct SaveFileAccessBase::State {
  State(std::unique_ptr<vqframework::SettingsStore> where, bool mayWrite)
      : store(std::move(where)), isWritable(mayWrite) {}

  // Serialises the threads that share the access. Held while the file is read and written, so that nobody gets a value
  // that another thread's flush is about to replace.
  vqframework::Mutex mutex;
  const std::unique_ptr<vqframework::SettingsStore> store;
  const bool isWritable;
  unsigned int opens VQ_GUARDED_BY(mutex) = 0;
  std::string text VQ_GUARDED_BY(mutex);                             // as read or last flushed
  std::map<std::string, unsigned int> changes VQ_GUARDED_BY(mutex);  // set, but not flushed yet
};

SaveFileAccessBase::SaveFileAccessBase(State* state) : state_(state) {}

SaveFileAccessBase::~SaveFileAccessBase() {
  delete state_;
}

bool SaveFileAccessBase::FOpen() {
  MutexLock lock(state_->mutex);
  if (state_->opens == 0 && !state_->store->read(state_->text)) {
    return false;
  }
  ++state_->opens;
  return true;
}

bool SaveFileAccessBase::FClose() {
  MutexLock lock(state_->mutex);
  if (state_->opens == 0) {
    return false;
  }
  if (--state_->opens == 0) {
    state_->text.clear();
    state_->changes.clear();
  }
  return true;
}

SaveFileAccessMetaText::SaveFileAccessMetaText(State* state) : SaveFileAccessBase(state) {}

SaveFileAccessMetaText::~SaveFileAccessMetaText() = default;

bool SaveFileAccessMetaText::Get(const char* key, unsigned int* value) const {
  if (!vqframework::isSettingsKey(key) || value == nullptr) {
    return false;
  }
  MutexLock lock(state_->mutex);
  if (state_->opens == 0) {
    return false;
  }
  const auto change = state_->changes.find(key);
  if (change != state_->changes.end()) {
    *value = change->second;
    return true;
  }
  const std::optional<unsigned int> found = vqframework::settingsValue(state_->text, key);
  if (found) {
    *value = *found;
  }
  return found.has_value();
}

bool SaveFileAccessMetaText::Set(const char* key, unsigned int value) {
  if (!vqframework::isSettingsKey(key) || !state_->isWritable) {
    return false;
  }
  MutexLock lock(state_->mutex);
  if (state_->opens == 0) {
    return false;
  }
  state_->changes[key] = value;
  return true;
}

bool SaveFileAccessMetaText::Flush() {
  MutexLock lock(state_->mutex);
  if (state_->opens == 0) {
    return false;
  }
  if (state_->changes.empty()) {
    return true;
  }
  const std::map<std::string, unsigned int> changes = state_->changes;
  std::string edited;
  const bool isReplaced = state_->store->replace([&changes, &edited](const std::string& current) {
    edited = current;
    for (const auto& change : changes) {
      edited = vqframework::withSettingsValue(edited, change.first, change.second);
    }
    return edited;
  });
  if (isReplaced) {
    state_->text = edited;
    state_->changes.clear();
  }
  return isReplaced;
}

SaveFileAccessMetaText* SaveFileAccessFactory::CreateMetaText(const char* name, const char* mode) {
  if (name == nullptr || mode == nullptr || strchr(name, '/') != nullptr) {
    return nullptr;
  }
  const std::string file = name;
  const bool isWritable = strcmp(mode, "a+") == 0;
  if (file.empty() || file == "." || file == ".." || (!isWritable && strcmp(mode, "r") != 0)) {
    return nullptr;
  }
  return new SaveFileAccessMetaText(new SaveFileAccessMetaText::State(vqframework::settingsStoreFor(file), isWritable));
}
