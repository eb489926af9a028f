#include "tests/unit/framework/settings_fixture.h"

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "VQFramework/Debug/VQDbgOutput.h"

namespace {

std::vector<std::string>& keptLog() {
  static std::vector<std::string>* const lines = new std::vector<std::string>;
  return *lines;
}

void keep(const VQDbgRecord& record, void* /*context*/) {
  keptLog().push_back(std::string(record.function) + ": " + record.text);
}

std::string newFolder() {
  std::string name = testing::TempDir() + "/settings-XXXXXX";
  return mkdtemp(name.data()) == nullptr ? "" : name;
}

void setOverride(bool isOn) {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  constexpr unsigned int kOverrides = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
  bool isDone = syscall(SYS_capget, &header, data) == 0;
  data[0].effective = isOn ? data[0].effective | (data[0].permitted & kOverrides) : data[0].effective & ~kOverrides;
  isDone = isDone && syscall(SYS_capset, &header, data) == 0;
  EXPECT_TRUE(isDone) << "cannot change capabilities";
}

}  // namespace

SettingsTest::SettingsTest() : folder(newFolder()) {
  setenv("VQ_SETTINGS_DIR", folder.c_str(), 1);
  keptLog().clear();
  VQDbgOutput::SetSink(&keep, nullptr);
}

SettingsTest::~SettingsTest() {
  VQDbgOutput::SetSink(nullptr, nullptr);
  unsetenv("VQ_SETTINGS_DIR");
  std::filesystem::remove_all(folder);
}

std::unique_ptr<SaveFileAccessMetaText> SettingsTest::access(const char* name, const char* mode) {
  return std::unique_ptr<SaveFileAccessMetaText>(SaveFileAccessFactory::getInstance()->CreateMetaText(name, mode));
}

void SettingsTest::write(const std::string& text, const std::string& name) const {
  std::ofstream(path(name), std::ios::binary) << text;
}

std::string SettingsTest::read(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::vector<std::string> SettingsTest::files() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

const std::vector<std::string>& SettingsTest::log() {
  return keptLog();
}

PermissionsCount::PermissionsCount() {
  setOverride(false);
}

PermissionsCount::~PermissionsCount() {
  setOverride(true);
}
