#include "platform/reference/shared_object.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <ostream>
#include <string>
#include <thread>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Sync/VQSyncGuard.h"
#include "platform/descriptor.h"
#include "platform/reference/message_log_layout.h"
#include "platform/reference/named_lock.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"
#include "tests/unit/reference/log_access.h"
#include "tests/unit/reference/log_lines.h"

namespace {

using reference::LogLines;
using test_support::Child;
using test_support::pokeShmWord;
using test_support::removeShm;
using test_support::shmFile;
using testing::ElementsAre;
using vqframework::mapObject;
using vqframework::SharedHeader;
using vqframework::SharedObjectKind;

constexpr const char* kName = "unit_reference.object";
constexpr std::size_t kIsReady = offsetof(SharedHeader, isReady);

struct Content {
  SharedHeader header;
  unsigned int number;
  unsigned int changed;
};

const SharedObjectKind kKind = {0x74736574U, 3, sizeof(Content), [](void* object) {
                                  static_cast<Content*>(object)->number = 7;
                                  return 0;
                                }};

void makeFile(const std::string& name, off_t size) {
  const int fd = open(shmFile(name).c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
  EXPECT_EQ(ftruncate(fd, size), 0);
  close(fd);
}

class SharedObjectTest : public testing::Test {
 public:
  ~SharedObjectTest() override { removeShm(kName); }

 protected:
  // The object, or null with the reason in `error`. Stays mapped: the process is short.
  Content* map() { return static_cast<Content*>(mapObject(kName, kKind, error)); }

  std::string error;
};

TEST_F(SharedObjectTest, IsMadeWithItsHeaderAndItsContent) {
  const Content* const sut = map();
  ASSERT_NE(sut, nullptr);
  EXPECT_EQ(sut->header.magic, kKind.magic);
  EXPECT_EQ(sut->header.layoutVersion, 3U);
  EXPECT_EQ(sut->header.wordSize, sizeof(void*));
  EXPECT_EQ(sut->header.mutexSize, sizeof(pthread_mutex_t));
  EXPECT_EQ(sut->header.objectSize, sizeof(Content));
  EXPECT_EQ(sut->header.isReady, 1U);
  EXPECT_EQ(sut->number, 7U);
  EXPECT_EQ(test_support::shmSize(kName), sizeof(Content));
}

TEST_F(SharedObjectTest, HasMode0664LessTheUmask) {
  const mode_t before = umask(0027);
  map();
  umask(before);
  EXPECT_EQ(test_support::shmMode(kName), 0640U);
}

TEST_F(SharedObjectTest, KeepsItsModeWhenAnotherMapsIt) {
  map();
  chmod(shmFile(kName).c_str(), 0600);
  EXPECT_NE(map(), nullptr);
  EXPECT_EQ(test_support::shmMode(kName), 0600U);
}

TEST_F(SharedObjectTest, KeepsItsContentWhenAnotherMapsIt) {
  map()->changed = 5;
  EXPECT_EQ(map()->changed, 5U);
}

TEST_F(SharedObjectTest, IsCompletedWhereItsMakerDiedBeforeItHadASize) {
  makeFile(kName, 0);
  ASSERT_NE(map(), nullptr);
  EXPECT_EQ(map()->number, 7U);
}

TEST_F(SharedObjectTest, IsCompletedWhereItIsTooShort) {
  makeFile(kName, 10);
  ASSERT_NE(map(), nullptr);
  EXPECT_EQ(map()->number, 7U);
  EXPECT_EQ(test_support::shmSize(kName), sizeof(Content));
}

TEST_F(SharedObjectTest, IsMadeAnewWhereItsMakerDiedBeforeItWasReady) {
  map()->changed = 5;
  pokeShmWord(kName, kIsReady, 0);
  pokeShmWord(kName, offsetof(SharedHeader, magic), 0);
  const Content* const sut = map();
  ASSERT_NE(sut, nullptr);
  EXPECT_EQ(sut->header.magic, kKind.magic);
  EXPECT_EQ(sut->changed, 0U);
}

struct Mismatch {
  const char* description;
  std::size_t offset;
  std::uint32_t word;
  std::string reason;
};

// Or else its bytes are printed, the unset ones between its members, too.
void PrintTo(const Mismatch& mismatch, std::ostream* out) {
  *out << mismatch.description;
}

class MismatchTest : public SharedObjectTest, public testing::WithParamInterface<Mismatch> {};

TEST_P(MismatchTest, IsRefusedAndLeftAsItIs) {
  map()->changed = 5;
  pokeShmWord(kName, GetParam().offset, GetParam().word);
  EXPECT_EQ(map(), nullptr);
  EXPECT_EQ(error, GetParam().reason + "; stop every process that uses it and remove /dev/shm/unit_reference.object");
  EXPECT_EQ(test_support::shmWord(kName, GetParam().offset), GetParam().word);
  EXPECT_EQ(test_support::shmWord(kName, offsetof(Content, changed)), 5U);
}

const std::string kOwnBits = std::to_string(sizeof(void*) * 8);
const std::uint32_t kOtherWord = 12 - sizeof(void*);
INSTANTIATE_TEST_SUITE_P(Of, MismatchTest,
                         testing::Values(Mismatch{"AnotherMagic", offsetof(SharedHeader, magic), 1,
                                                  "it holds something else"},
                                         Mismatch{"AnotherWordSize", offsetof(SharedHeader, wordSize), kOtherWord,
                                                  "it was made by a " + std::to_string(kOtherWord * 8) +
                                                      "-bit process, this one has " + kOwnBits + " bits"},
                                         Mismatch{"AnotherVersion", offsetof(SharedHeader, layoutVersion), 4,
                                                  "it has layout version 4, this library needs 3"},
                                         Mismatch{"AnotherMutexSize", offsetof(SharedHeader, mutexSize), 1,
                                                  "it was made with another C library or build"},
                                         Mismatch{"AnotherObjectSize", offsetof(SharedHeader, objectSize), 1,
                                                  "it was made with another C library or build"}),
                         [](const auto& tested) { return std::string(tested.param.description); });

TEST_F(SharedObjectTest, ThatCannotBeOpenedGivesTheReason) {
  EXPECT_EQ(mapObject("no/such/folder", kKind, error), nullptr);
  EXPECT_THAT(error, testing::StartsWith("shm_open: "));
}

// A ready object of some other kind.
void makeForeign(const std::string& name, std::size_t size) {
  makeFile(name, static_cast<off_t>(size));
  pokeShmWord(name, kIsReady, 1);
}

TEST(LockObjectOfAnotherKind, GivesALockOfThisProcessAndOneLogLine) {
  makeForeign("unit_reference.foreign.lock", sizeof(vqframework::LockObject));
  {
    const LogLines log;
    const VQSharedSyncObject sut("unit_reference.foreign");
    EXPECT_THAT(log.lines(), ElementsAre("VQFramework/SharedMemory/VQSharedSyncObject:0 VQSharedSyncObject 1 "
                                         "lock \"unit_reference.foreign\" cannot be shared with other processes: "
                                         "it holds something else; stop every process that uses it and remove "
                                         "/dev/shm/unit_reference.foreign.lock\n"));
  }
  removeShm("unit_reference.foreign.lock");
}

constexpr const char* kContested = "unit_reference.contested";
constexpr const char* kContestedObject = "unit_reference.contested.lock";
constexpr const char* kOtherFile = "unit_reference.other";

// An empty file of that name, made where it is not there.
int openFile(const std::string& name) {
  return open(shmFile(name).c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
}

bool lockFile(int fd) {
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return fcntl(fd, F_SETLKW, &whole) == 0;
}

// Others see who holds it.
bool isSharedWithOthers(const VQSharedSyncObject& lock) {
  const VQSyncGuard guard(lock);
  return test_support::shmWord(kContestedObject, offsetof(vqframework::LockObject, holderPid)) ==
         static_cast<std::uint32_t>(getpid());
}

TEST_ROLE(unit_reference_opens_the_contested_lock) {
  const platform::Descriptor other(openFile(kOtherFile));
  test_support::answer(lockFile(other.get()) ? "holds the other file" : "cannot lock the other file");
  test_support::hear();
  const VQSharedSyncObject sut(kContested);
  test_support::answer(isSharedWithOthers(sut) ? "shared" : "not shared");
  test_support::waitForParent();
  return 0;
}

// File locks belong to processes. This one holds one that the other process wants, and another thread of it waits for
// one that the other process holds: the kernel sees a circle, and there is none.
TEST(LockObjectInACircleThatIsNone, IsSharedOnceWhoeverMakesItIsDone) {
  Child process("unit_reference_opens_the_contested_lock");
  ASSERT_TRUE(process.expectAnswer("holds the other file"));
  platform::Descriptor maker(openFile(kContestedObject));
  ASSERT_TRUE(lockFile(maker.get()));
  std::atomic<long> waiting{0};
  std::thread bystander([&waiting] {
    const platform::Descriptor other(openFile(kOtherFile));
    waiting = gettid();
    EXPECT_TRUE(lockFile(other.get()));
  });
  EXPECT_TRUE(test_support::waitUntil([&waiting] { return waiting != 0 && test_support::isAsleep(waiting); }));

  process.tell("open it");
  EXPECT_TRUE(test_support::waitUntil([&process] { return process.isAsleep(); }));
  maker = platform::Descriptor();

  EXPECT_TRUE(process.expectAnswer("shared"));
  EXPECT_EQ(process.finish(), 0);
  EXPECT_EQ(process.log(), "");
  bystander.join();
  removeShm(kContestedObject);
  removeShm(kOtherFile);
}

TEST_ROLE(unit_reference_posts_three_times) {
  VQSharedMemNotifier notifier(false);
  conformance::Recorder recorder;
  test_support::say(log_access::add(notifier, recorder, {log_access::kA}) ? "added" : "refused");
  for (int i = 0; i < 3; ++i) {
    test_support::say(log_access::notify(notifier, log_access::kA) ? "posted" : "refused");
  }
  return 0;
}

TEST(LogObjectOfAnotherKind, RefusesObserversAndMessagesWithOneLogLine) {
  const log_access::LogOutOfTheWay fresh;
  makeForeign(vqframework::kMessageLogName, sizeof(vqframework::MessageLogObject));
  Child process("unit_reference_posts_three_times");
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(process.expect("refused"));
  }
  EXPECT_EQ(process.finish(), 0);
  EXPECT_EQ(process.countInLog(
                "notifications are off, the log cannot be shared with other processes: it holds something else; stop "
                "every process that uses it and remove /dev/shm/VQSharedMemNotifier.log\n"),
            1U);
}

TEST(LogObject, IsMadeByWhoeverComesFirst) {
  const log_access::LogOutOfTheWay fresh;
  Child process("unit_reference_posts_three_times");
  EXPECT_TRUE(process.expect("added"));
  EXPECT_TRUE(process.expect("posted"));
  EXPECT_EQ(process.finish(), 0);
  EXPECT_EQ(test_support::shmSize(vqframework::kMessageLogName), sizeof(vqframework::MessageLogObject));
}

}  // namespace
