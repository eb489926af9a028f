#include "platform/bluez/auto_connect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using vqbluez::AutoConnect;
using vqbluez::BackOff;
using vqbluez::LinkKey;
using vqbluez::Time;

const LinkKey kLink{3, "a"};
const LinkKey kOther{4, "a"};
const Time kStart{seconds(1000)};

TEST(BackOff, DoublesFromOneSecondToAMinute) {
  BackOff sut;
  for (const int expected : {1, 2, 4, 8, 16, 32, 60, 60, 60}) {
    EXPECT_EQ(sut.next(), seconds(expected));
  }
  sut.reset();
  EXPECT_EQ(sut.next(), seconds(1));
}

TEST(AutoConnect, WithNothingWantedIsNeverDue) {
  AutoConnect sut;
  EXPECT_EQ(sut.nextDue(), std::nullopt);
  EXPECT_THAT(sut.takeDue(kStart), IsEmpty());
}

TEST(AutoConnect, TriesAtOnceAndThenWaitsForTheOutcome) {
  AutoConnect sut;
  EXPECT_TRUE(sut.start(kLink, kStart));
  EXPECT_EQ(sut.nextDue(), kStart);
  EXPECT_THAT(sut.takeDue(kStart), ElementsAre(kLink));
  EXPECT_EQ(sut.nextDue(), std::nullopt);
  EXPECT_THAT(sut.takeDue(kStart + seconds(600)), IsEmpty());
}

TEST(AutoConnect, PausesLongerAfterEachFailure) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  Time now = kStart;
  for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
    ASSERT_THAT(sut.takeDue(now), ElementsAre(kLink));
    sut.failed(kLink, now);
    EXPECT_THAT(sut.takeDue(now + seconds(pause) - milliseconds(1)), IsEmpty());
    now += seconds(pause);
    EXPECT_EQ(sut.nextDue(), now);
  }
}

TEST(AutoConnect, BeginsWithShortPausesAgainAfterALinkWasUp) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  for (int i = 0; i < 5; ++i) {
    sut.takeDue(kStart + seconds(600 * i));
    sut.failed(kLink, kStart + seconds(600 * i));
  }
  sut.linkUp(kLink);
  EXPECT_EQ(sut.nextDue(), std::nullopt);
  sut.linkLost(kLink, kStart);
  EXPECT_EQ(sut.nextDue(), kStart + seconds(1));
}

TEST(AutoConnect, HurriesWhenItsDeviceMayBeThere) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  sut.takeDue(kStart);
  for (int i = 0; i < 5; ++i) {
    sut.failed(kLink, kStart);
  }
  ASSERT_EQ(sut.nextDue(), kStart + seconds(16));
  sut.wake(kOther.device, kStart + seconds(5));
  EXPECT_EQ(sut.nextDue(), kStart + seconds(16));
  sut.wake(kLink.device, kStart + seconds(5));
  EXPECT_EQ(sut.nextDue(), kStart + seconds(5));
}

// A failing connect makes the device come and go itself.
TEST(AutoConnect, DoesNotHurryWithinASecondAfterAFailure) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  sut.takeDue(kStart);
  sut.failed(kLink, kStart);
  sut.takeDue(kStart + seconds(1));
  sut.failed(kLink, kStart + seconds(1));
  sut.wake(kLink.device, kStart + milliseconds(1001));
  EXPECT_EQ(sut.nextDue(), kStart + seconds(2));
}

TEST(AutoConnect, DoesNotTryTwiceWhenItIsWokenDuringATry) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  sut.takeDue(kStart);
  sut.wakeAll(kStart + seconds(10));
  EXPECT_THAT(sut.takeDue(kStart + seconds(10)), IsEmpty());
}

TEST(AutoConnect, AskedForAgainKeepsItsPause) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  sut.takeDue(kStart);
  sut.failed(kLink, kStart);
  EXPECT_FALSE(sut.start(kLink, kStart));
  EXPECT_EQ(sut.nextDue(), kStart + seconds(1));
}

TEST(AutoConnect, ThatIsStoppedIsOverAndHearsOfNothing) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  EXPECT_TRUE(sut.isWanted(kLink));
  EXPECT_TRUE(sut.stop(kLink));
  EXPECT_FALSE(sut.stop(kLink));
  EXPECT_FALSE(sut.isWanted(kLink));
  sut.failed(kLink, kStart);
  sut.linkLost(kLink, kStart);
  sut.linkUp(kLink);
  sut.wakeAll(kStart);
  EXPECT_EQ(sut.nextDue(), std::nullopt);
}

TEST(AutoConnect, KeepsItsLinksApart) {
  AutoConnect sut;
  sut.start(kLink, kStart);
  sut.start(kOther, kStart);
  EXPECT_THAT(sut.takeDue(kStart), UnorderedElementsAre(kLink, kOther));
  sut.failed(kOther, kStart);
  EXPECT_THAT(sut.takeDue(kStart + seconds(1)), ElementsAre(kOther));
}

}  // namespace
