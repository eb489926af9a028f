// What the library asks for when it is loaded, before main.
#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdlib>
#include <thread>

#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/faults/receiver.h"
#include "tests/faults/results.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

using faults::Receiver;
using test_support::Child;

constexpr unsigned int kId = 0x7D000001U;
constexpr pthread_key_t kFirstKey = 0;

// Observers come and go on threads that come and go.
bool worksOnThreads() {
  VQSharedMemNotifier notifier(false);
  bool works = true;
  for (unsigned int round = 0; round < 20; ++round) {
    std::thread([&] {
      Receiver receiver;
      works = works && notifier.AddObserver(receiver.observer(), &kId, 1) &&
              notifier.NotifyDataUpdate(kId, nullptr, 0) && receiver.waitFor(1) &&
              notifier.RemoveObserver(receiver.observer());
    }).join();
  }
  return works;
}

// Where the library got no key the first one is somebody else's.
bool leavesForeignKeyAlone() {
  pthread_key_t foreign = 1;
  pthread_key_create(&foreign, nullptr);
  if (foreign != kFirstKey) {
    return true;  // the library has it
  }
  bool isSame = false;
  std::thread([&isSame] {
    const void* const before = pthread_getspecific(kFirstKey);
    VQSubject subject;
    Receiver receiver;
    subject.AddObserver(receiver.observer());
    subject.NotifyObserver(kId, nullptr, 0, 0);
    isSame = pthread_getspecific(kFirstKey) == before;
  }).join();
  return isSame;
}

TEST_ROLE(starts_with_a_fault) {
  test_support::say(leavesForeignKeyAlone() ? "foreign key as it was" : "foreign key overwritten");
  test_support::say(worksOnThreads() ? "works" : "does not work");
  return 0;
}

class StartFaults : public testing::TestWithParam<const char*> {};

TEST_P(StartFaults, LeaveALibraryThatWorks) {
  const std::string call = GetParam();
  for (const int error : faults::callOf(call).errors) {
    SCOPED_TRACE(call + " fails with " + faults::nameOf(error));
    setenv("LINKAPP_FAULTS_AT_START", (call + " " + std::to_string(error)).c_str(), 1);
    Child process("starts_with_a_fault");
    unsetenv("LINKAPP_FAULTS_AT_START");
    EXPECT_TRUE(process.expect("foreign key as it was"));
    EXPECT_TRUE(process.expect("works"));
    EXPECT_EQ(process.finish(), 0);
    faults::addResult({"start of the process",
                       {{call, "", faults::Who::kCaller, 1}, error, faults::Way::kOnce},
                       "works",
                       {},
                       "works"});
  }
}

INSTANTIATE_TEST_SUITE_P(Of, StartFaults, testing::Values("pthread_key_create", "membarrier", "atfork"),
                         [](const auto& tested) { return std::string(tested.param); });

}  // namespace
