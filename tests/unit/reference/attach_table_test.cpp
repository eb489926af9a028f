#include "platform/reference/attach_table.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/recorder.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"
#include "tests/unit/reference/log_access.h"

namespace {

using conformance::Recorder;
using log_access::add;
using log_access::kA;
using log_access::kB;
using log_access::notify;
using test_support::Child;
using test_support::waitUntil;
using vqframework::AttachedPlace;
using vqframework::AttachedProcess;
using vqframework::MessageLogObject;

const std::uint32_t kSelf = static_cast<std::uint32_t>(getpid());

TEST_ROLE(unit_reference_waits) {
  test_support::say("here");
  test_support::waitForParent();
  return 0;
}

std::uint64_t startTimeOf(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  std::getline(file, line);
  line.erase(0, line.rfind(')') + 2);
  for (int field = 3; field < 22; ++field) {
    line.erase(0, line.find(' ') + 1);
  }
  return std::strtoull(line.c_str(), nullptr, 10);
}

// Whose it is, the way the owner itself would write it.
void occupy(AttachedPlace& place, pid_t pid, std::uint64_t startTime) {
  place.pid = static_cast<std::uint32_t>(pid);
  place.startTime = startTime;
}

std::string nameIn(const AttachedPlace& place) {
  std::string name;
  for (const std::atomic<char>& letter : place.name) {
    if (letter != '\0') {
      name += letter;
    }
  }
  return name;
}

class AttachTableTest : public testing::Test {
 protected:
  AttachTableTest() { EXPECT_TRUE(other.expect("here")); }
  void occupyEveryPlace() {
    for (AttachedPlace& place : log->places) {
      occupy(place, other.pid(), startTimeOf(other.pid()));
    }
  }

  // A log of the test's own, all zero as a new one is.
  const std::unique_ptr<MessageLogObject> log = std::make_unique<MessageLogObject>();
  Child other{"unit_reference_waits"};
};

TEST_F(AttachTableTest, GivesTheFirstFreePlaceToAProcess) {
  occupy(log->places[0], other.pid(), startTimeOf(other.pid()));
  const AttachedProcess sut(*log);
  EXPECT_EQ(log->places[0].pid, static_cast<std::uint32_t>(other.pid()));
  EXPECT_EQ(log->places[1].pid, kSelf);
  EXPECT_EQ(log->places[1].startTime, startTimeOf(getpid()));
}

TEST_F(AttachTableTest, TakesThePlaceBack) {
  { const AttachedProcess sut(*log); }
  EXPECT_EQ(log->places[0].pid, 0U);
}

TEST_F(AttachTableTest, TakesThePlaceBackOnce) {
  AttachedProcess sut(*log);
  sut.release();
  occupy(log->places[0], other.pid(), startTimeOf(other.pid()));
  sut.release();
  sut.setPosition(7);
  EXPECT_EQ(log->places[0].pid, static_cast<std::uint32_t>(other.pid()));
  EXPECT_EQ(log->places[0].position, 0U);
}

TEST_F(AttachTableTest, ShowsIdentifiersPositionAndLosses) {
  AttachedProcess sut(*log);
  sut.setIdentifiers({5, 9});
  sut.setPosition(77);
  sut.addLost(3);
  sut.addLost(4);
  EXPECT_EQ(log->places[0].idCount, 2U);
  EXPECT_EQ(log->places[0].ids[0], 5U);
  EXPECT_EQ(log->places[0].ids[1], 9U);
  EXPECT_EQ(log->places[0].position, 77U);
  EXPECT_EQ(log->places[0].lost, 7U);
}

TEST_F(AttachTableTest, ShowsTheFirst16IdentifiersAndHowManyThereAre) {
  AttachedProcess sut(*log);
  std::vector<std::uint32_t> ids;
  for (std::uint32_t id = 100; id < 120; ++id) {
    ids.push_back(id);
  }
  sut.setIdentifiers(ids);
  EXPECT_EQ(log->places[0].idCount, 20U);
  EXPECT_EQ(log->places[0].ids[15], 115U);
}

TEST_F(AttachTableTest, ShowsNothingOfThePlacesFormerProcess) {
  {
    AttachedProcess former(*log);
    former.setIdentifiers({5});
    former.setPosition(77);
    former.addLost(3);
  }
  const AttachedProcess sut(*log);
  EXPECT_EQ(log->places[0].idCount, 0U);
  EXPECT_EQ(log->places[0].position, 0U);
  EXPECT_EQ(log->places[0].lost, 0U);
}

TEST_F(AttachTableTest, GivesADeadProcesssPlaceToTheNext) {
  occupyEveryPlace();
  other.kill();
  const AttachedProcess sut(*log);
  EXPECT_EQ(log->places[0].pid, kSelf);
}

TEST_F(AttachTableTest, TellsALaterProcessOfTheSameNumberByItsStartTime) {
  occupyEveryPlace();
  occupy(log->places[40], other.pid(), startTimeOf(other.pid()) + 1);
  const AttachedProcess sut(*log);
  EXPECT_EQ(log->places[40].pid, kSelf);
}

TEST_F(AttachTableTest, LeavesLiveProcessesTheirPlacesWhereItIsFull) {
  occupyEveryPlace();
  AttachedProcess sut(*log);
  sut.setIdentifiers({5});
  sut.setPosition(77);
  sut.addLost(3);
  sut.release();
  for (const AttachedPlace& place : log->places) {
    EXPECT_EQ(place.pid, static_cast<std::uint32_t>(other.pid()));
    EXPECT_EQ(place.idCount + place.position + place.lost, 0U);
  }
}

// The place of this process in the log that it uses.
const AttachedPlace* ownPlace() {
  for (const AttachedPlace& place : log_access::object().places) {
    if (place.pid == kSelf) {
      return &place;
    }
  }
  return nullptr;
}

TEST(ReceivingProcess, IsListedWhileItHasRegistrations) {
  Recorder recorder;
  VQSharedMemNotifier notifier(false);
  add(notifier, recorder, {kA, kB});
  ASSERT_TRUE(waitUntil([] { return ownPlace() != nullptr && ownPlace()->idCount == 2; }));
  EXPECT_EQ(ownPlace()->ids[0], kA);
  EXPECT_EQ(ownPlace()->ids[1], kB);
  notifier.RemoveObserver(recorder.observer());
  EXPECT_EQ(ownPlace(), nullptr);
}

TEST(ReceivingProcess, IsListedWithItsPosition) {
  Recorder recorder;
  VQSharedMemNotifier notifier(false);
  add(notifier, recorder, {kA});
  notify(notifier, kB);
  notify(notifier, kA);
  EXPECT_TRUE(waitUntil([] { return ownPlace() != nullptr && ownPlace()->position == log_access::object().head; }));
}

TEST(ReceivingProcess, IsListedUnderItsOwnName) {
  std::string name;
  std::getline(std::ifstream("/proc/self/comm"), name);
  Recorder recorder;
  VQSharedMemNotifier notifier(false);
  add(notifier, recorder, {kA});
  ASSERT_TRUE(waitUntil([] { return ownPlace() != nullptr && ownPlace()->idCount == 1; }));
  EXPECT_EQ(nameIn(*ownPlace()), name);
}

TEST(ReceivingProcess, WorksUnlistedWhereTheTableIsFull) {
  Child other("unit_reference_waits");
  ASSERT_TRUE(other.expect("here"));
  for (AttachedPlace& place : log_access::object().places) {
    occupy(place, other.pid(), startTimeOf(other.pid()));
  }
  Recorder recorder;
  VQSharedMemNotifier notifier(false);
  add(notifier, recorder, {kA});
  notify(notifier, kA);
  EXPECT_TRUE(waitUntil([&] { return recorder.count() == 1; }));
  EXPECT_EQ(ownPlace(), nullptr);
  notifier.RemoveObserver(recorder.observer());
  for (AttachedPlace& place : log_access::object().places) {
    EXPECT_EQ(place.pid, static_cast<std::uint32_t>(other.pid()));
    place.pid = 0;
  }
}

}  // namespace
