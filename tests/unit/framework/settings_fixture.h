// Settings tests work on a folder of their own, which VQ_SETTINGS_DIR names.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "VQFramework/Settings/SaveFileAccessFactory.h"

class SettingsTest : public testing::Test {
 public:
  SettingsTest();
  ~SettingsTest() override;

 protected:
  static std::unique_ptr<SaveFileAccessMetaText> access(const char* name = "test.ini", const char* mode = "a+");

  std::string path(const std::string& name = "test.ini") const { return folder + "/" + name; }
  void write(const std::string& text, const std::string& name = "test.ini") const;
  std::string read(const std::string& name = "test.ini") const;
  std::vector<std::string> files() const;  // names in the folder, sorted

  // Lines that the log got since the test began.
  static const std::vector<std::string>& log();

  const std::string folder;
  unsigned int value = 7;
};

// Root ignores the permission bits unless it lays these rights down.
class PermissionsCount {
 public:
  PermissionsCount();
  ~PermissionsCount();
  PermissionsCount(const PermissionsCount&) = delete;
  PermissionsCount& operator=(const PermissionsCount&) = delete;
};
