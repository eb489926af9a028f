#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "tests/conformance/Framework.h"
#include "tests/conformance/log_lines.h"
#include "tests/conformance/recorder.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::drain;
using conformance::LogLines;
using conformance::Recorder;
using conformance::Worker;
using testing::ElementsAre;
using testing::SizeIs;

constexpr unsigned int kA = 0x7C000001U;
constexpr unsigned int kB = 0x7C000002U;
constexpr unsigned int kC = 0x7C000003U;
constexpr unsigned int kMaxPayload = VQSharedMemNotifier::kMaxPayload;
constexpr std::size_t kZerosBehind = 512;

bool add(VQSharedMemNotifier& notifier, Recorder& recorder, const std::vector<unsigned int>& ids) {
  return notifier.AddObserver(recorder.observer(), ids.data(), static_cast<unsigned int>(ids.size()));
}

bool notify(VQSharedMemNotifier& notifier, unsigned int id, const std::string& payload = "") {
  return notifier.NotifyDataUpdate(id, payload.data(), static_cast<unsigned int>(payload.size()));
}

class NotifierTest : public testing::Test {
 protected:
  // Before the notifiers: these outlive them.
  Recorder first;
  Recorder second;
  VQSharedMemNotifier sut{false};
  VQSharedMemNotifier another{false};
};

TEST_F(NotifierTest, DeliversIdentifierPayloadAndSizeToTheSendersOwnObserver) {
  add(sut, first, {kA});
  EXPECT_TRUE(notify(sut, kA, std::string("a\0b", 3)));
  drain();
  EXPECT_THAT(first.ids(), ElementsAre(kA));
  EXPECT_THAT(first.payloads(), ElementsAre(std::string("a\0b", 3)));
}

TEST_F(NotifierTest, DeliversWhatAnotherNotifierPosted) {
  add(sut, first, {kA});
  notify(another, kA, "x");
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("x"));
}

TEST_F(NotifierTest, DeliversOnceToEachRegisteredNotifier) {
  add(sut, first, {kA});
  add(another, second, {kA});
  notify(sut, kA, "x");
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("x"));
  EXPECT_THAT(second.payloads(), ElementsAre("x"));
}

TEST_F(NotifierTest, DeliversOnceForEachRegistrationOfAnObserver) {
  add(sut, first, {kA});
  add(sut, first, {kA});
  add(another, first, {kA});
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 3U);
}

TEST_F(NotifierTest, DeliversOnceForAnIdentifierThatStandsTwiceInAList) {
  add(sut, first, {kA, kA});
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(NotifierTest, DeliversEveryIdentifierOfAListAndNoOther) {
  add(sut, first, {kA, kC});
  for (const unsigned int id : {kC, kB, kA, 0U, 0xFFFFFFFFU}) {
    notify(sut, id);
  }
  drain();
  EXPECT_THAT(first.ids(), ElementsAre(kC, kA));
}

// For frameworks that sort identifiers into a few bits: here are small ones and such as have the same low bits.
TEST_F(NotifierTest, TellsSmallIdentifiersFromGreatOnesOfTheSameLowBits) {
  add(sut, first, {5U, 6U});
  add(sut, second, {5U + 64U});
  for (const unsigned int id : {5U + 16U, 5U + 32U, 5U + 64U, 6U + 256U, 6U + 65536U, 6U}) {
    notify(sut, id);
  }
  drain();
  EXPECT_THAT(first.ids(), ElementsAre(6U));
  EXPECT_THAT(second.ids(), ElementsAre(5U + 64U));
}

TEST_F(NotifierTest, DeliversTheSmallestAndTheGreatestIdentifier) {
  add(sut, first, {0U, 0xFFFFFFFFU});
  notify(sut, 0xFFFFFFFFU);
  notify(sut, 0);
  drain();
  EXPECT_THAT(first.ids(), ElementsAre(0xFFFFFFFFU, 0U));
}

TEST_F(NotifierTest, DeliversNothingThatWasPostedBeforeTheObserverWasAdded) {
  add(sut, first, {kA});
  notify(sut, kA, "early");
  add(sut, second, {kA});
  notify(sut, kA, "late");
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("early", "late"));
  EXPECT_THAT(second.payloads(), ElementsAre("late"));
}

TEST_F(NotifierTest, CopiesTheListOfIdentifiers) {
  std::vector<unsigned int> ids = {kA};
  add(sut, first, ids);
  ids[0] = kB;
  notify(sut, kA);
  notify(sut, kB);
  drain();
  EXPECT_THAT(first.ids(), ElementsAre(kA));
}

TEST_F(NotifierTest, CopiesThePayload) {
  std::string payload = "before";
  add(sut, first, {kA});
  notify(sut, kA, payload);
  payload = "after!";
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("before"));
}

TEST_F(NotifierTest, NeverDeliversInsideNotifyDataUpdate) {
  static thread_local bool isNotifying = false;
  bool wasInside = false;
  first.then = [&] {
    wasInside = wasInside || isNotifying;
    if (first.count() < 10) {
      isNotifying = true;
      notify(sut, kA);
      isNotifying = false;
    }
  };
  add(sut, first, {kA});
  isNotifying = true;
  notify(sut, kA);
  isNotifying = false;
  for (int i = 0; i < 10; ++i) {
    drain();
  }
  EXPECT_EQ(first.count(), 10U);
  EXPECT_FALSE(wasInside);
}

TEST_F(NotifierTest, DeliversWhatWasPostedFromInsideACallback) {
  first.then = [this] {
    if (first.count() == 1) {
      EXPECT_TRUE(notify(sut, kA, "second"));
    }
  };
  add(sut, first, {kA});
  notify(sut, kA, "first");
  drain();
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("first", "second"));
}

TEST_F(NotifierTest, DeliversWhatWasPostedWithNamedLocksHeld) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject outer("conformance.outer");
  const VQSharedSyncObject inner("conformance.inner");
  add(sut, first, {kA});
  outer.lock();
  inner.lock();
  notify(sut, kA, "in both");
  inner.unlock();
  notify(sut, kA, "in one");
  outer.unlock();
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("in both", "in one"));
}

TEST_F(NotifierTest, LetsACallbackTakeTheLockThatThePosterHeld) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject segment("conformance.segment");
  first.then = [&segment]() VQ_NO_THREAD_SAFETY_ANALYSIS {
    segment.lock();
    segment.unlock();
  };
  add(sut, first, {kA});
  segment.lock();
  notify(sut, kA);
  segment.unlock();
  drain();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(NotifierTest, DeliversAMessageOfSizeZeroWithNullData) {
  add(sut, first, {kA});
  EXPECT_TRUE(sut.NotifyDataUpdate(kA, nullptr, 0));
  drain();
  EXPECT_THAT(first.ids(), ElementsAre(kA));
  EXPECT_THAT(first.payloads(), ElementsAre(""));
}

TEST_F(NotifierTest, DeliversThePayloadAlignedForAnyTypeAndFollowedByZerosAlsoAfterALongerOne) {
  std::vector<unsigned int> sizes;
  first.whileItsHere = [&sizes](const void* payload, unsigned int size) {
    const unsigned char* const behind = static_cast<const unsigned char*>(payload) + size;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(payload) % alignof(std::max_align_t), 0U);
    EXPECT_TRUE(std::all_of(behind, behind + kZerosBehind, [](unsigned char byte) { return byte == 0; })) << size;
    sizes.push_back(size);
  };
  add(sut, first, {kA});
  for (const unsigned int size : {kMaxPayload, 0U, kMaxPayload, 1U, 7U, 8U, 9U, 300U, 4U}) {
    notify(sut, kA, std::string(size, '\xFF'));
  }
  drain();
  EXPECT_THAT(sizes, ElementsAre(kMaxPayload, 0U, kMaxPayload, 1U, 7U, 8U, 9U, 300U, 4U));
}

TEST_F(NotifierTest, DeliversThePayloadOfEverySizeUnchanged) {
  std::vector<std::string> posted;
  add(sut, first, {kA});
  for (unsigned int size = 0; size <= kMaxPayload; ++size) {
    std::string payload(size, '\0');
    std::iota(payload.begin(), payload.end(), static_cast<char>(size % 50 + 1));
    EXPECT_TRUE(notify(sut, kA, payload));
    posted.push_back(payload);
  }
  drain();
  EXPECT_EQ(first.payloads(), posted);
}

TEST_F(NotifierTest, RefusesAMessageOneByteTooLongWithALogLine) {
  add(sut, first, {kA});
  {
    const LogLines log;
    EXPECT_FALSE(notify(sut, kA, std::string(kMaxPayload + 1, 'x')));
    EXPECT_THAT(log.lines(), SizeIs(1));
  }
  drain();
  EXPECT_EQ(first.count(), 0U);
}

TEST_F(NotifierTest, RefusesAMessageWithoutDataThatHasASize) {
  add(sut, first, {kA});
  {
    const LogLines log;
    EXPECT_FALSE(sut.NotifyDataUpdate(kA, nullptr, 4));
  }
  drain();
  EXPECT_EQ(first.count(), 0U);
}

TEST_F(NotifierTest, RefusesANullObserverANullListAndAnEmptyList) {
  EXPECT_FALSE(sut.AddObserver(nullptr, &kA, 1));
  EXPECT_FALSE(sut.AddObserver(first.observer(), nullptr, 1));
  EXPECT_FALSE(sut.AddObserver(first.observer(), &kA, 0));
  EXPECT_FALSE(sut.RemoveObserver(nullptr));
  EXPECT_FALSE(sut.RemoveObserver(first.observer()));
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 0U);
}

TEST_F(NotifierTest, DeliversToAnObserverThatWasAddedInsideACallbackFromTheNextMessageOn) {
  first.then = [this] {
    if (first.count() == 1) {
      EXPECT_TRUE(add(sut, second, {kA, kB}));
      notify(sut, kB, "after");
    }
  };
  add(sut, first, {kA});
  notify(sut, kA, "before");
  drain();
  drain();
  EXPECT_THAT(second.payloads(), ElementsAre("after"));
}

TEST_F(NotifierTest, DeliversOneOrderToTheObserversOfAllNotifiers) {
  constexpr unsigned int kRounds = 1000;
  add(sut, first, {kA, kB, kC});
  add(another, second, {kC, kB, kA});
  {
    const auto postMany = [](VQSharedMemNotifier& notifier, unsigned int id) {
      for (unsigned int i = 0; i < kRounds; ++i) {
        notify(notifier, id, std::to_string(i));
      }
    };
    const Worker one([&] { postMany(sut, kA); });
    const Worker two([&] { postMany(another, kB); });
    const Worker three([&] { postMany(sut, kC); });
  }
  drain();
  EXPECT_EQ(first.count(), 3 * kRounds);
  EXPECT_EQ(first.ids(), second.ids());
  EXPECT_EQ(first.payloads(), second.payloads());
}

// Receivers rely on it: what only observers touch has no lock.
TEST_F(NotifierTest, CallsOneObserverAtATime) {
  constexpr unsigned int kRounds = 200;
  std::atomic<int> inside{0};
  std::atomic<bool> hasOverlapped{false};
  for (Recorder* const recorder : {&first, &second}) {
    recorder->then = [&] {
      hasOverlapped = ++inside != 1 || hasOverlapped;
      std::this_thread::yield();
      --inside;
    };
  }
  add(sut, first, {kA});
  add(another, second, {kB});
  {
    const auto postMany = [](VQSharedMemNotifier& notifier, unsigned int id) {
      for (unsigned int i = 0; i < kRounds; ++i) {
        notify(notifier, id);
      }
    };
    const Worker one([&] { postMany(sut, kA); });
    const Worker two([&] { postMany(another, kB); });
  }
  drain();
  EXPECT_EQ(first.count() + second.count(), 2 * kRounds);
  EXPECT_FALSE(hasOverlapped);
}

TEST_F(NotifierTest, DeliversTheMessagesOfOneThreadInTheOrderOfPosting) {
  std::vector<unsigned int> posted;
  add(sut, first, {kA, kB, kC});
  for (unsigned int i = 0; i < 300; ++i) {
    posted.push_back(i % 7 < 3 ? kA : i % 5 < 2 ? kB : kC);
    notify(i % 2 == 0 ? sut : another, posted.back());
  }
  drain();
  EXPECT_EQ(first.ids(), posted);
}

TEST_F(NotifierTest, PostsWithoutAnyObserver) {
  EXPECT_TRUE(notify(sut, kA));
  drain();
}

}  // namespace
