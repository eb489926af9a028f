#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <system_error>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/Framework.h"
#include "tests/support/wait_until.h"

namespace {

constexpr unsigned int kMarker = 0x7CFFFFFFU;

class Marker {
 public:
  unsigned int onUpdate(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
    if (!hasArrived_) {  // another drain's marker comes here too
      hasArrived_ = true;
      arrived_.set_value();
    }
    return 0;
  }

  bool isDelivered() {
    VQSharedMemNotifier notifier(false);
    VQObserver<Marker> observer(this, &Marker::onUpdate);
    return notifier.AddObserver(&observer, &kMarker, 1) && notifier.NotifyDataUpdate(kMarker, nullptr, 0) &&
           arrived_.get_future().wait_for(std::chrono::duration<double>(test_support::kDeadline)) ==
               std::future_status::ready;
  }

 private:
  bool hasArrived_ = false;
  std::promise<void> arrived_;
};

}  // namespace

// All messages come in one order: a message of our own is delivered after everything before it.
void conformance::drain() {
  EXPECT_TRUE(Marker().isDelivered());
}

namespace {

struct SettingsFolder {
  SettingsFolder() { setenv("VQ_SETTINGS_DIR", mkdtemp(name.data()) == nullptr ? "/nonexistent" : name.c_str(), 1); }
  ~SettingsFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(name, ignored);
  }
  std::string name = testing::TempDir() + "/conformance-XXXXXX";
};

}  // namespace

void conformance::forgetSettings() {
  static const SettingsFolder folder;
  std::filesystem::remove(folder.name + "/Conformance.ini");
}
