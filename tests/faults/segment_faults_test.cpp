// The four segments, through the endpoints that own them.
#include <errno.h>
#include <gtest/gtest.h>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "tests/faults/matrix.h"
#include "tests/faults/receiver.h"
#include "tests/support/shm_files.h"

namespace {

using faults::Expectation;
using faults::Operation;
using faults::Receiver;
using faults::Watch;

constexpr const char* kUsable = "usable";
constexpr const char* kUnusable = "unusable";
constexpr unsigned int kOtherId = 0x7D000002U;

// Which endpoint, and the name of its segment.
struct Status {
  static constexpr const char* kName = "iOSAppCommonLocalMem_ConnectStatus";
  static auto make() { return std::make_unique<iOSAppCommonLocalMem_ConnectStatus>(); }
};
struct AppInfo {
  static constexpr const char* kName = "iOSAppCommonLocalMem_AppInfo";
  static auto make() { return std::make_unique<iOSAppCommonLocalMem_AppInfo>(); }
};
struct FromHU {
  static constexpr const char* kName = "iOSAppMem_Device1_From_HU";
  static auto make() { return std::make_unique<iOSAppCommonLocalMem>(kName, 1U, 2U); }
};
struct FromDevice {
  static constexpr const char* kName = "iOSAppMem_Device1_From_Device";
  static auto make() { return std::make_unique<iOSAppCommonLocalMem>(kName, 1U, 3U); }
};

// What stands in /dev/shm before the endpoint is made.
enum class Before { kNothing, kWholeSegment, kShortSegment };

template <class Kind>
class Endpoint : public Operation {
 public:
  explicit Endpoint(Before before) : before_(before) {}

  // Log and delivery thread are there: they have matrices of their own.
  void prepare() override { notifier_.AddObserver(receiver_.observer(), &kOtherId, 1); }

  std::string attempt() override {
    arrange();
    auto endpoint = watchedMake();
    const bool isMapped = endpoint->mapping != MAP_FAILED;
    const bool isLarge = test_support::shmSize(Kind::kName) >= std::size_t{4};
    {
      const Watch watch;
      endpoint.reset();
    }
    return isMapped ? isLarge ? kUsable : "mapped without pages" : kUnusable;
  }

  void finish() override { notifier_.RemoveObserver(receiver_.observer()); }

 private:
  static auto watchedMake() {
    const Watch watch;
    return Kind::make();
  }

  void arrange() const {
    const std::string name = Kind::kName;
    test_support::removeShm(name);
    test_support::removeShm(name + ".lock");
    if (before_ != Before::kNothing) {
      Kind::make();
    }
    if (before_ == Before::kShortSegment) {
      EXPECT_EQ(truncate(test_support::shmFile(name).c_str(), 3), 0);
    }
  }

  const Before before_;
  VQSharedMemNotifier notifier_{false};
  Receiver receiver_;
};

std::vector<std::string> cannotBeShared(const std::string& name, const std::string& why) {
  return {"VQSharedSyncObject:0 lock \"" + name + "\" cannot be shared with other processes: " + why};
}

std::vector<std::string> withLine(std::vector<std::string> lines, const std::string& line) {
  lines.push_back(line);
  return lines;
}

constexpr const char* kOpenError = "VQSharedMemory:122 shm_open error";
constexpr const char* kSizeError = "VQSharedMemory:135 ftruncate error";
constexpr const char* kMapError = "VQSharedMemory:151 mmap error";

// The lock comes first: what fails for good meets the segment, too.
std::vector<Expectation> expectations(const std::string& name, bool isThere) {
  using faults::Way;
  const std::vector<std::string> takenOver = {"lock:0 lock \"" + name + "\": its holder died; taken over"};
  const std::vector<std::string> damaged = {
      "lock:0 lock \"" + name +
      "\" is damaged and works inside this process only; stop every process that uses it "
      "and remove /dev/shm/" +
      name + ".lock"};
  const std::string openError = kOpenError;
  const auto lock = [&name](const std::string& why) { return cannotBeShared(name, why + ": %m"); };
  std::vector<Expectation> all;
  if (isThere) {
    // O_CREAT may be refused where the object is another user's; then it goes without.
    all.push_back({"shm_open", "*.lock", {EACCES}, kUsable, {}, {}, Way::kOnce});
  }
  const std::vector<Expectation> rest = {
      {"shm_open", "*.lock", {}, kUsable, lock("shm_open"), {}, Way::kOnce},
      {"shm_open", "*.lock", {}, kUnusable, withLine(lock("shm_open"), kOpenError), {}, Way::kAlways},
      // The first of two: whether the object is there. What the second one says shows at the mapping; O_CREAT may be
      // refused where the object is another user's, and then it goes without.
      {"shm_open", "", {EACCES}, kUsable, {}, {}, Way::kOnce, 2},
      {"shm_open", "", {}, kUnusable, {kMapError}, {}, {}, 2},
      {"shm_open", "", {}, kUnusable, {kOpenError}},
      {"fcntl", "", {EINTR}, kUsable},
      {"fcntl", "", {EDEADLK}, kUsable, {}, {}, Way::kOnce},
      {"fcntl", "", {}, kUsable, lock("fcntl")},
      {"posix_fallocate", "", {EINTR}, kUsable},
      {"posix_fallocate", "*.lock", {}, kUsable, lock("posix_fallocate"), {}, Way::kOnce},
      {"posix_fallocate", "*.lock", {}, kUnusable, withLine(lock("posix_fallocate"), kSizeError), {}, Way::kAlways},
      {"posix_fallocate", "", {}, kUnusable, {kSizeError}},
      {"ftruncate", "", {}, kUnusable, {kSizeError}},
      {"pread", "*.lock", {}, kUsable},
      {"fstat", "*.lock", {}, kUsable, {}, {}, Way::kOnce, 1},
      {"fstat", "*.lock", {}, kUsable, lock("posix_fallocate"), {}, Way::kOnce},
      {"fstat",
       "*.lock",
       {},
       isThere ? kUnusable : kUsable,
       isThere ? withLine(lock("posix_fallocate"), kSizeError) : lock("posix_fallocate"),
       {},
       Way::kAlways},
      {"fstat", "", {}, kUnusable, {kSizeError}},
      {"mmap", "*.lock", {}, kUsable, lock("mmap"), {}, Way::kOnce},
      {"mmap", "*.lock", {}, kUnusable, withLine(lock("mmap"), kMapError), {}, Way::kAlways},
      {"mmap", "", {}, kUnusable, {kMapError}},
      {"mutex init", "", {}, kUsable, lock("pthread_mutex_init")},
      {"mutexattr init", "", {}, kUsable, lock("pthread_mutex_init")},
      {"mutexattr setprotocol", "", {}, kUsable, lock("pthread_mutex_init")},
      {"mutex trylock", "", {EBUSY}, kUsable},
      {"close", "", {}, kUsable},
      {"pthread_setspecific", "", {}, kUsable},
      {"clock_gettime", "", {}, kUsable},
      {"sched_getcpu", "", {}, kUsable},
      {"futex wake", "", {}, kUsable},
      {"membarrier", "", {}, kUsable},
      // A destructor needs none.
      {"new", "", {}, "std::bad_alloc", {}, {}, {}, {}, kUsable},
  };
  all.insert(all.end(), rest.begin(), rest.end());
  return all;
}

template <class Kind>
void runFor(Before before, const std::string& what) {
  const std::string name = Kind::kName;
  faults::run({"segment " + name + ", " + what,
               kUsable,
               [before] { return std::make_unique<Endpoint<Kind>>(before); },
               expectations(name, before != Before::kNothing),
               2,
               // Taken and given back: the lock's own matrix, and the notifier's.
               {"mutex trylock", "mutex lock", "munmap"}});
}

template <class Kind>
class SegmentFaults : public testing::Test {};

using Kinds = testing::Types<Status, AppInfo, FromHU, FromDevice>;

struct KindNames {
  template <class Kind>
  static std::string GetName(int /*index*/) {
    return Kind::kName;
  }
};

TYPED_TEST_SUITE(SegmentFaults, Kinds, KindNames);

TYPED_TEST(SegmentFaults, WhileItIsCreated) {
  runFor<TypeParam>(Before::kNothing, "created");
}

TYPED_TEST(SegmentFaults, WhileItIsAttached) {
  runFor<TypeParam>(Before::kWholeSegment, "attached");
}

TYPED_TEST(SegmentFaults, WhileItIsCompleted) {
  runFor<TypeParam>(Before::kShortSegment, "completed after its creator's death");
}

}  // namespace
