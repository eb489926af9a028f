#include "platform/reference/loss_counter.h"

#include <gmock/gmock.h>

#include <cstdint>

namespace {

using testing::ElementsAre;
using vqframework::LossCounter;
using vqframework::Message;

constexpr std::uint32_t kA = 1;
constexpr std::uint32_t kB = 2;

Message message(std::uint32_t id, std::uint32_t number) {
  Message result = {};
  result.id = id;
  result.number = number;
  return result;
}

TEST(LossCounter, CountsNothingWhereNothingWasSkipped) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onMessage(message(kA, 5));
  sut.onMessage(message(kA, 6));
  EXPECT_EQ(sut.takeFinishedBurst(1000), 0U);
}

TEST(LossCounter, CountsNoForeignMessages) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {6}});
  sut.onMessage(message(kB, 700));
  sut.onMessage(message(kA, 5));
  EXPECT_EQ(sut.takeFinishedBurst(9000), 0U);
}

TEST(LossCounter, CountsNothingForAReaderThatOthersLapped) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {5}});
  EXPECT_EQ(sut.takeFinishedBurst(9000), 0U);
}

TEST(LossCounter, CountsTheGapBeforeASurvivingMessage) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {12}});
  sut.onMessage(message(kA, 11));
  EXPECT_EQ(sut.takeFinishedBurst(9000), 6U);
}

TEST(LossCounter, CountsABurstThatNoMessageOfTheIdentifierSurvived) {
  LossCounter sut;
  sut.follow({{kA, 5}, {kB, 0}});
  sut.onSkip({9000, {8, 40}});
  EXPECT_EQ(sut.takeFinishedBurst(9000), 43U);
}

TEST(LossCounter, TellsABurstWhenItsEndIsPassedAndNotBefore) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {8}});
  EXPECT_EQ(sut.takeFinishedBurst(8999), 0U);
  EXPECT_EQ(sut.takeFinishedBurst(9000), 3U);
}

TEST(LossCounter, TellsABurstOnce) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {8}});
  sut.takeFinishedBurst(9000);
  EXPECT_EQ(sut.takeFinishedBurst(9001), 0U);
  sut.onMessage(message(kA, 8));
  EXPECT_EQ(sut.takeFinishedBurst(9002), 0U);
}

TEST(LossCounter, TellsOfASecondBurstItsOwnLossesOnly) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {8}});
  sut.takeFinishedBurst(9000);
  sut.onSkip({20000, {10}});
  EXPECT_EQ(sut.takeFinishedBurst(20000), 2U);
}

TEST(LossCounter, TakesTwoLapsForOneBurstWhereTheSecondComesBeforeTheEndOfTheFirst) {
  LossCounter sut;
  sut.follow({{kA, 0}});
  sut.onSkip({9000, {10}});
  sut.onMessage(message(kA, 4));
  EXPECT_EQ(sut.takeFinishedBurst(5000), 0U);
  sut.onSkip({20000, {30}});
  EXPECT_EQ(sut.takeFinishedBurst(12000), 0U);
  sut.onMessage(message(kA, 25));
  EXPECT_EQ(sut.takeFinishedBurst(20000), 4U + 20U + 4U);
}

TEST(LossCounter, CountsOnWhereTheNumbersWrapAround) {
  LossCounter sut;
  sut.follow({{kA, 0xFFFFFFFEU}});
  sut.onSkip({9000, {3}});
  sut.onMessage(message(kA, 1));
  EXPECT_EQ(sut.takeFinishedBurst(9000), 3U + 1U);
}

TEST(LossCounter, LetsAnIdentifierThatItFollowsAlreadyKeepItsNumber) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onMessage(message(kA, 5));
  sut.follow({{kB, 100}, {kA, 20}});
  EXPECT_THAT(sut.identifiers(), ElementsAre(kB, kA));
  sut.onSkip({9000, {100, 20}});
  EXPECT_EQ(sut.takeFinishedBurst(9000), 14U);
}

TEST(LossCounter, CountsNoLossesOfAnIdentifierThatItFollowsSinceTheMiddleOfABurst) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onSkip({9000, {8}});
  sut.follow({{kA, 5}, {kB, 50}});
  EXPECT_EQ(sut.takeFinishedBurst(9000), 3U);
}

TEST(LossCounter, CountsNoLossesOfAnIdentifierThatItFollowsNoMore) {
  LossCounter sut;
  sut.follow({{kA, 5}, {kB, 0}});
  sut.onSkip({9000, {8, 40}});
  sut.follow({{kA, 5}});
  EXPECT_EQ(sut.takeFinishedBurst(9000), 3U);
}

TEST(LossCounter, CountsNoLossesFromBeforeAnIdentifierWasFollowed) {
  LossCounter sut;
  sut.follow({{kA, 5}});
  sut.onMessage(message(kA, 0));  // posted before, read late
  sut.onSkip({9000, {6}});
  EXPECT_EQ(sut.takeFinishedBurst(9000), 1U);
}

TEST(LossCounter, CountsNothingForAnIdentifierWhoseMessagesHaveNoNumbers) {
  LossCounter sut;
  sut.follow({{kA, 0}});
  sut.onMessage(message(kA, 0));
  sut.onMessage(message(kA, 0));
  sut.onSkip({9000, {0}});
  sut.onMessage(message(kA, 0));
  EXPECT_EQ(sut.takeFinishedBurst(9000), 0U);
}

}  // namespace
