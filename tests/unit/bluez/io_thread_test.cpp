#include "platform/bluez/io_thread.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "tests/support/wait_until.h"
#include "tests/unit/bluez/scarce_memory.h"

namespace {

using test_support::waitUntil;
using vqbluez::Bluetooth;
using vqbluez::IoThread;

// Without a bus, and with notices of its own.
class IoThreadTest : public testing::TestWithParam<unsigned int> {
 public:
  IoThreadTest() {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/shm/no-bus", 1);
    subject_.AddObserver(&observer_);
  }
  ~IoThreadTest() override { scarce_memory::plan(0, 0); }

  unsigned int hear(unsigned int /*id*/, void* /*record*/, unsigned int /*size*/) {
    ++heard_;
    return 0;
  }
  // Whether the thread, from its start to its end, tells a notice.
  bool tellsOne() {
    sut_.attachManager(subject_);
    sut_.run([](Bluetooth& bluetooth) {
      bluetooth.outbox().put(VQSBtMgrDef::PairedListFreeze{});
      return true;
    });
    const bool isTold = waitUntil([this] { return heard_ == 1; });
    sut_.detachManager();
    return isTold;
  }

  std::atomic<unsigned int> heard_{0};
  VQSubject subject_;
  VQObserver<IoThreadTest> observer_{this, &IoThreadTest::hear};
  IoThread& sut_ = IoThread::instance();
};

// In a process of its own for each place: what the framework keeps for a thread the next one takes over.
TEST_P(IoThreadTest, TellsItsNoticesWhereverMemoryEndsForAWhile) {
  scarce_memory::plan(GetParam(), 100);
  EXPECT_TRUE(tellsOne());
  EXPECT_TRUE(GetParam() != 0 || scarce_memory::refusalsLeft() == 0) << "nothing was refused";
}

INSTANTIATE_TEST_SUITE_P(AfterSoMuch, IoThreadTest, testing::Range(0U, 12U));

}  // namespace
