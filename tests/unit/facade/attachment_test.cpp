#include "LinkAppCommon/private/Attachment.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::Worker;

class Attachment : public testing::Test {
 protected:
  // How often one notification calls the observer: 0 = detached, 1 = attached.
  unsigned int callsPerNotification() {
    const unsigned int before = calls;
    subject.NotifyObserver(0, nullptr, 0, 0);
    return calls - before;
  }
  void follow() {
    sut.follow([this] { return isWanted.load(); });
  }
  void want(bool wanted) {
    isWanted = wanted;
    follow();
  }

  std::atomic<bool> isWanted{false};
  std::atomic<unsigned int> calls{0};
  std::function<void()> during;
  VQSubject subject;

 private:
  unsigned int onUpdate(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
    ++calls;
    if (during) {
      during();
    }
    return 0;
  }

  VQObserver<Attachment> observer_{this, &Attachment::onUpdate};

 protected:
  LinkAppAttachment sut{subject, observer_};
};

TEST_F(Attachment, IsNotThereAtFirst) {
  EXPECT_EQ(callsPerNotification(), 0U);
  follow();
  EXPECT_EQ(callsPerNotification(), 0U);
}

TEST_F(Attachment, FollowsTheWishBackAndForth) {
  for (unsigned int i = 0; i < 3; ++i) {
    want(true);
    EXPECT_EQ(callsPerNotification(), 1U);
    want(false);
    EXPECT_EQ(callsPerNotification(), 0U);
  }
}

TEST_F(Attachment, IsMadeOnceHoweverOftenItIsWanted) {
  want(true);
  want(true);
  want(true);
  EXPECT_EQ(callsPerNotification(), 1U);
  want(false);
  EXPECT_EQ(callsPerNotification(), 0U);
}

TEST_F(Attachment, IsNotTouchedWhereTheWishStaysWhatItWas) {
  want(false);
  want(false);
  want(true);
  EXPECT_EQ(callsPerNotification(), 1U);
}

TEST_F(Attachment, OfAnotherObserverToTheSameSubjectStays) {
  struct Other {
    unsigned int onUpdate(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
      ++calls;
      return 0;
    }
    unsigned int calls = 0;
  } other;
  VQObserver<Other> observer(&other, &Other::onUpdate);
  subject.AddObserver(&observer);
  want(true);
  want(false);
  callsPerNotification();
  EXPECT_EQ(other.calls, 1U);
}

TEST_F(Attachment, FollowsAWishThatChangesWhileItIsAtIt) {
  unsigned int asked = 0;
  sut.follow([&asked] { return ++asked == 1; });
  EXPECT_EQ(callsPerNotification(), 0U) << "attached for the first answer, detached for the second";
  EXPECT_EQ(asked, 3U) << "until the answer is what is there";
}

TEST_F(Attachment, IsEndedAndMadeAgainWithinTheObserversOwnCall) {
  want(true);
  during = [this] {
    want(false);
    want(true);
  };
  EXPECT_EQ(callsPerNotification(), 1U);
  EXPECT_EQ(callsPerNotification(), 1U);
  during = [this] { want(false); };
  EXPECT_EQ(callsPerNotification(), 1U);
  EXPECT_EQ(callsPerNotification(), 0U);
}

TEST_F(Attachment, IsEndedByAnotherThreadOnlyWhenTheRunningCallHasEnded) {
  std::unique_ptr<Worker> detacher;
  std::atomic<bool> hasEnded{false};
  std::atomic<bool> hadEnded{false};
  want(true);
  during = [&] {
    detacher = std::make_unique<Worker>([&] {
      want(false);
      hadEnded = hasEnded.load();
    });
    EXPECT_TRUE(detacher->isHeldUp());
    hasEnded = true;
  };
  EXPECT_EQ(callsPerNotification(), 1U);
  ASSERT_TRUE(detacher->ends());
  EXPECT_TRUE(hadEnded);
  EXPECT_EQ(callsPerNotification(), 0U);
}

TEST_F(Attachment, IsMadeAgainByTheThreadThatIsBusyWithItsEnd) {
  std::unique_ptr<Worker> detacher;
  want(true);
  during = [&] {
    detacher = std::make_unique<Worker>([this] { want(false); });
    EXPECT_TRUE(detacher->isHeldUp());
    want(true);  // returns at once, though the other thread waits for this call
    EXPECT_FALSE(detacher->isDone());
  };
  EXPECT_EQ(callsPerNotification(), 1U);
  ASSERT_TRUE(detacher->ends());
  during = nullptr;
  EXPECT_EQ(callsPerNotification(), 1U);
  want(false);
  EXPECT_EQ(callsPerNotification(), 0U);
}

TEST_F(Attachment, IsLeftAsItWasWhereTheWishComesAndGoesWhileAnotherThreadIsBusy) {
  std::unique_ptr<Worker> detacher;
  want(true);
  during = [&] {
    detacher = std::make_unique<Worker>([this] { want(false); });
    EXPECT_TRUE(detacher->isHeldUp());
    want(true);
    want(false);
  };
  EXPECT_EQ(callsPerNotification(), 1U);
  ASSERT_TRUE(detacher->ends());
  EXPECT_EQ(callsPerNotification(), 0U);
}

// The wish of three threads together, as of three listeners: wanted while anybody wants it.
TEST_F(Attachment, OfThreadsThatChangeTheWishTogetherIsNeverDoubleAndRightInTheEnd) {
  constexpr unsigned int kThreads = 3;
  constexpr unsigned int kRounds = 300;
  std::atomic<unsigned int> wishes{0};
  const auto isAnyWish = [&wishes] { return wishes != 0; };
  for (unsigned int stayers = 0; stayers <= kThreads; ++stayers) {
    wishes = 0;
    std::atomic<unsigned int> running{kThreads};
    std::vector<std::unique_ptr<Worker>> workers;
    for (unsigned int thread = 0; thread < kThreads; ++thread) {
      workers.push_back(std::make_unique<Worker>([&, thread] {
        for (unsigned int i = 0; i < kRounds; ++i) {
          ++wishes;
          sut.follow(isAnyWish);
          --wishes;
          sut.follow(isAnyWish);
        }
        if (thread < stayers) {
          ++wishes;
          sut.follow(isAnyWish);
        }
        --running;
      }));
    }
    unsigned int mostCalls = 0;
    while (running != 0) {
      mostCalls = std::max(mostCalls, callsPerNotification());
    }
    for (const std::unique_ptr<Worker>& worker : workers) {
      ASSERT_TRUE(worker->ends());
    }
    EXPECT_LE(mostCalls, 1U);
    EXPECT_EQ(callsPerNotification(), stayers == 0 ? 0U : 1U) << stayers << " still want it";
    wishes = 0;
    sut.follow(isAnyWish);
    EXPECT_EQ(callsPerNotification(), 0U);
  }
}

}  // namespace
