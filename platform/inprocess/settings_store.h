// Where settings files are kept: on the disk, or in a test's memory. Each framework brings its own.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace vqframework {

class SettingsStore {
 public:
  virtual ~SettingsStore() = default;

  // The whole file; a missing one is empty. False, with a log line, when it cannot be read.
  virtual bool read(std::string& text) = 0;

  // Replaces the file by what `edit` makes of it, all or nothing, with no other process doing the same meanwhile.
  // False, with a log line, when it could not: the file is as before, or the new one stands there and may not be on the
  // disk yet.
  virtual bool replace(const std::function<std::string(const std::string&)>& edit) = 0;

 protected:
  SettingsStore() = default;
  SettingsStore(const SettingsStore&) = default;
  SettingsStore& operator=(const SettingsStore&) = default;
};

// Nothing is read or written yet.
std::unique_ptr<SettingsStore> settingsStoreFor(const std::string& name);

}  // namespace vqframework
