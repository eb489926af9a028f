#include "reset/clearing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "platform/fake/FakeFramework.h"
#include "reset/segments.h"
#include "tests/support/shm_files.h"

namespace {

using reset::AttachedProcess;
using reset::Outcome;

class Clearing : public testing::Test {
 public:
  Clearing() {
    test_support::clearShm();
    vqfake::reset();
  }
  ~Clearing() override { vqfake::setAfterUnlock({}); }

  // A channel with one registered app, and the lock objects that the doubles do without.
  static void makeChannel() {
    const iOSAppCommonClient client("", "navi", "com.example.navi");
    for (const reset::Segment& segment : reset::segments()) {
      std::ofstream(std::string("/dev/shm/") + segment.name + ".lock") << "lock";
    }
  }
  static bool areAllLocksHeld() {
    for (const reset::Segment& segment : reset::segments()) {
      if (vqfake::lockDepth(segment.name) == 0) {
        return false;
      }
    }
    return true;
  }

  // Calls of `look`; what each gave, and whether the locks were held.
  Outcome clear(const std::vector<std::vector<AttachedProcess>>& given, bool isOnlyLooking = false) {
    return reset::clearChannel(isOnlyLooking, [this, given] {
      heldWhileLooking_.push_back(areAllLocksHeld());
      return given.at(heldWhileLooking_.size() - 1);
    });
  }

  const std::vector<AttachedProcess> nobody_;
  const std::vector<AttachedProcess> somebody_ = {{4711, "navi", "navi --now"}};
  std::vector<bool> heldWhileLooking_;
};

TEST_F(Clearing, looks_before_it_takes_the_locks_and_once_more_when_it_holds_them) {
  makeChannel();
  const Outcome outcome = clear({nobody_, nobody_});
  EXPECT_THAT(heldWhileLooking_, testing::ElementsAre(false, true));
  EXPECT_TRUE(outcome.isCleared);
  EXPECT_EQ(outcome.segments, 4U);
  EXPECT_EQ(outcome.places, 1U);
  EXPECT_EQ(reset::takenPlaces(), 0U);
}

TEST_F(Clearing, gives_no_lock_back_before_everything_is_cleared) {
  makeChannel();
  unsigned int placesAtFirstUnlock = 99;
  vqfake::setAfterUnlock([&](const std::string&) {
    if (placesAtFirstUnlock == 99) {
      placesAtFirstUnlock = reset::takenPlaces();
    }
  });
  EXPECT_TRUE(clear({nobody_, nobody_}).isCleared);
  EXPECT_EQ(placesAtFirstUnlock, 0U);
}

TEST_F(Clearing, changes_nothing_where_somebody_is_found_at_once) {
  makeChannel();
  const Outcome outcome = clear({somebody_});
  EXPECT_FALSE(outcome.isCleared);
  EXPECT_EQ(outcome.attached.size(), 1U);
  EXPECT_EQ(reset::takenPlaces(), 1U);
}

TEST_F(Clearing, changes_nothing_where_somebody_has_attached_before_the_locks_were_held) {
  makeChannel();
  const Outcome outcome = clear({nobody_, somebody_});
  EXPECT_FALSE(outcome.isCleared);
  EXPECT_EQ(outcome.attached.size(), 1U);
  EXPECT_EQ(reset::takenPlaces(), 1U);
  EXPECT_EQ(vqfake::lockDepth("iOSAppCommonLocalMem_AppInfo"), 0U);
}

TEST_F(Clearing, only_looks_where_it_is_asked_to) {
  makeChannel();
  const Outcome outcome = clear({nobody_, nobody_}, true);
  EXPECT_FALSE(outcome.isCleared);
  EXPECT_EQ(outcome.places, 1U);
  EXPECT_EQ(reset::takenPlaces(), 1U);
}

TEST_F(Clearing, does_not_look_where_there_is_no_channel) {
  const Outcome outcome = clear({});
  EXPECT_FALSE(outcome.isCleared);
  EXPECT_EQ(outcome.segments, 0U);
}

TEST_F(Clearing, makes_no_lock_object_for_a_segment_that_has_lost_its_own) {
  makeChannel();
  unlink("/dev/shm/iOSAppCommonLocalMem_AppInfo.lock");
  EXPECT_THROW(clear({nobody_, nobody_}), std::runtime_error);
  EXPECT_EQ(reset::takenPlaces(), 1U);
  EXPECT_NE(access("/dev/shm/iOSAppCommonLocalMem_AppInfo.lock", F_OK), 0);
}

TEST_F(Clearing, leaves_a_segment_alone_that_its_creator_has_not_given_a_size) {
  makeChannel();
  ASSERT_EQ(truncate("/dev/shm/iOSAppMem_Device1_From_HU", 0), 0);
  EXPECT_TRUE(clear({nobody_, nobody_}).isCleared);
  EXPECT_EQ(reset::takenPlaces(), 0U);
}

}  // namespace
