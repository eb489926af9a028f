// Processes of the channel as they are: the reference framework's own notifier and locks.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "inspect/snapshot.h"
#include "inspect/status_json.h"
#include "tests/support/roles.h"

namespace {

using test_support::hear;
using test_support::say;

// "post COUNT ID": posts numbered messages as fast as it can, when it is told to.
TEST_ROLE(post) {
  VQSharedMemNotifier notifier(false);
  say("ready");
  hear();
  const auto count = static_cast<std::uint32_t>(std::stoul(args.at(0)));
  const auto id = static_cast<unsigned int>(std::stoul(args.at(1)));
  for (std::uint32_t number = 0; number < count; ++number) {
    notifier.NotifyDataUpdate(id, &number, sizeof number);
  }
  say("posted");
  test_support::waitForParent();
  return 0;
}

// "listen ID": registers, and does nothing with what comes.
TEST_ROLE(listen) {
  struct Ear {
    unsigned int hear(unsigned int, void*, unsigned int) { return 0; }
  } ear;
  const unsigned int id = static_cast<unsigned int>(std::stoul(args.at(0)));
  VQSharedMemNotifier notifier(false);
  VQObserver<Ear> observer(&ear, &Ear::hear);
  if (!notifier.AddObserver(&observer, &id, 1)) {
    return 1;
  }
  say("ready");
  test_support::waitForParent();
  return 0;
}

// "hold NAME": holds the lock of a segment.
TEST_ROLE(hold) {
  const VQSharedSyncObject lock(args.at(0).c_str());
  lock.lock();
  say("ready");
  test_support::waitForParent();
  lock.unlock();
  return 0;
}

// What this user sees, as a line of JSON.
TEST_ROLE(look) {
  say(text::toJson(statusFields(inspect::takeSnapshot())));
  return 0;
}

}  // namespace
