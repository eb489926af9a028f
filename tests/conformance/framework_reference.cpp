#include <gtest/gtest.h>

#include <chrono>
#include <future>

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
