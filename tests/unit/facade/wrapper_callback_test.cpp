// LinkAppiOSWrapper: what its listeners may do within a call, and what other threads may do meanwhile.
#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "tests/conformance/worker.h"
#include "wrapper_fixture.h"

namespace {

using conformance::Worker;
using testing::IsEmpty;
using testing::SizeIs;

// Takes itself off and is gone at its first call.
class OneCall : public LinkAppiOSWrapperListener {
 public:
  OneCall(LinkAppiOSWrapper& wrapper, unsigned int& calls) : wrapper_(wrapper), calls_(calls) {}
  void oniOSClientDeviceInfo(void* /*info*/) override {
    ++calls_;
    EXPECT_TRUE(wrapper_.removeListener(this));
    delete this;
  }

 private:
  LinkAppiOSWrapper& wrapper_;
  unsigned int& calls_;
};

// Three listeners in the order in which they are called; none is set at first.
class WrapperCallback : public WrapperTest {
 protected:
  void setAll() {
    for (WrapperListener& listener : listeners) {
      sut->setListener(&listener);
    }
  }

  std::vector<std::size_t> counts() const { return {first.count(), second.count(), third.count()}; }
  static std::vector<std::size_t> called(std::size_t a, std::size_t b, std::size_t c) { return {a, b, c}; }

  WrapperListener listeners[3];
  WrapperListener& first = listeners[0];
  WrapperListener& second = listeners[1];
  WrapperListener& third = listeners[2];
};

TEST_F(WrapperCallback, AListenerMayRemoveItselfAndTheOthersAreCalledAllTheSame) {
  setAll();
  second.during = [this] { EXPECT_TRUE(sut->removeListener(&second)); };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 1, 1));
  tellConnected();
  EXPECT_EQ(counts(), called(2, 1, 2));
}

TEST_F(WrapperCallback, AListenerThatRemovesItselfMayBeDestroyedInTheSameCall) {
  setAll();
  unsigned int calls = 0;
  sut->setListener(new OneCall(*sut, calls));
  tellConnected();
  tellConnected();
  EXPECT_EQ(calls, 1U);
  EXPECT_EQ(counts(), called(2, 2, 2));
}

TEST_F(WrapperCallback, AListenerThatAnEarlierCallRemovesIsSkipped) {
  setAll();
  first.during = [this] { sut->removeListener(&second); };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 1));
  tellConnected();
  EXPECT_EQ(counts(), called(2, 0, 2));
}

TEST_F(WrapperCallback, AListenerThatAnEarlierCallRemovesMayBeDestroyedAtOnce) {
  auto earlier = std::make_unique<WrapperListener>();
  auto later = std::make_unique<WrapperListener>();
  if (std::less<>()(later.get(), earlier.get())) {
    std::swap(earlier, later);
  }
  sut->setListener(earlier.get());
  sut->setListener(later.get());
  earlier->during = [this, &later] {
    sut->removeListener(later.get());
    later.reset();
  };
  tellConnected();
  EXPECT_EQ(earlier->count(), 1U);
  EXPECT_EQ(later, nullptr);
}

TEST_F(WrapperCallback, AListenerThatALaterCallRemovesWasCalledAndIsNotCalledAgain) {
  setAll();
  third.during = [this] { sut->removeListener(&first); };
  tellConnected();
  tellConnected();
  EXPECT_EQ(counts(), called(1, 2, 2));
}

TEST_F(WrapperCallback, AListenerThatIsSetDuringANotificationIsCalledFromTheNextOneOn) {
  sut->setListener(&second);
  second.during = [this] {
    EXPECT_TRUE(sut->setListener(&first));
    EXPECT_TRUE(sut->setListener(&third));
  };
  tellConnected();
  EXPECT_EQ(counts(), called(0, 1, 0));
  tellConnected();
  EXPECT_EQ(counts(), called(1, 2, 1));
}

TEST_F(WrapperCallback, AListenerThatIsRemovedAndSetAgainDuringANotificationIsCalledFromTheNextOneOn) {
  setAll();
  first.during = [this] {
    sut->removeListener(&second);
    sut->setListener(&second);
  };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 1));
  first.during = nullptr;
  tellConnected();
  EXPECT_EQ(counts(), called(2, 1, 2));
}

TEST_F(WrapperCallback, TheOnlyListenerMayRemoveItselfAndBeSetAgainLater) {
  sut->setListener(&first);
  first.during = [this] { sut->removeListener(&first); };
  tellConnected();
  tellConnected();
  EXPECT_EQ(first.count(), 1U);
  first.during = nullptr;
  sut->setListener(&first);
  tellConnected();
  EXPECT_EQ(first.count(), 2U);
}

TEST_F(WrapperCallback, TheOnlyListenerMayPutAnotherInItsPlaceThatIsCalledOncePerNotification) {
  sut->setListener(&first);
  first.during = [this] {
    sut->removeListener(&first);
    sut->setListener(&second);
  };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 0));
  tellConnected();
  EXPECT_EQ(counts(), called(1, 1, 0));
}

TEST_F(WrapperCallback, TheOnlyListenerMayLeaveAndComeBackInOneCall) {
  sut->setListener(&first);
  first.during = [this] {
    sut->removeListener(&first);
    sut->setListener(&first);
  };
  tellConnected();
  tellConnected();
  tellConnected();
  EXPECT_EQ(first.count(), 3U);
}

TEST_F(WrapperCallback, AListenerMayRemoveAllIncludingItself) {
  setAll();
  first.during = [this] {
    for (WrapperListener& listener : listeners) {
      EXPECT_TRUE(sut->removeListener(&listener));
    }
  };
  tellConnected();
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 0));
}

TEST_F(WrapperCallback, AListenerMayLaunchAndSend) {
  tell(connectMessage(1, 1));
  sut->setListener(&first);
  const std::uint8_t byte = 1;
  PostedSince posted;
  first.during = [&] {
    EXPECT_EQ(sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT), 1U);
    EXPECT_EQ(sut->requestSendData(&byte, 1), 1U);
  };
  tell(sessionMessage(1, 1, 1));
  EXPECT_EQ(first.count(), 1U);
  EXPECT_THAT(posted.messages(), SizeIs(2)) << "the session's and the data's, no launch of an open session";
}

TEST_F(WrapperCallback, AListenerMayDestroyAnotherWrapperBeforeThatHearsOfTheMessage) {
  auto other = std::make_unique<LinkAppiOSWrapper>("Maps", "", "");
  other->setListener(&second);
  sut->setListener(&first);
  first.during = [&other] { other.reset(); };
  tellConnected();
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(counts(), called(1, 0, 0));
  EXPECT_THAT(vqfake::registrations(), SizeIs(4));
}

TEST_F(WrapperCallback, AListenerMayDestroyAnotherWrapperAfterThatHeardOfTheMessage) {
  LinkAppiOSWrapper later("Maps", "", "");
  later.setListener(&second);
  sut->setListener(&first);
  second.during = [this] { sut.reset(); };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 1, 0));
  tellConnected();
  EXPECT_EQ(counts(), called(1, 2, 0));
}

TEST_F(WrapperCallback, AListenerMayMakeAWrapperThatHearsFromTheNextMessageOn) {
  std::unique_ptr<LinkAppiOSWrapper> other;
  sut->setListener(&first);
  first.during = [&] {
    if (other == nullptr) {
      other = std::make_unique<LinkAppiOSWrapper>("Maps", "", "");
      other->setListener(&second);
    }
  };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 0));
  tellConnected();
  EXPECT_EQ(counts(), called(2, 1, 0));
}

TEST_F(WrapperCallback, AListenerMayDestroyAPlaybackInfoObject) {
  auto playback = std::make_unique<LinkAppiOSPlaybackInfo>();
  LinkAppiOSPlaybackInfoListener playbackListener;
  playback->setListener(&playbackListener);
  sut->setListener(&first);
  first.during = [&playback] { playback.reset(); };
  tellConnected();
  EXPECT_EQ(first.count(), 1U);
  EXPECT_THAT(vqfake::registrations(), SizeIs(4));
}

TEST_F(WrapperCallback, OneListenerMayListenToTwoWrappersAndLeaveEither) {
  LinkAppiOSWrapper other("Maps", "", "");
  sut->setListener(&first);
  other.setListener(&first);
  tellConnected();
  EXPECT_EQ(first.count(), 2U);
  sut->removeListener(&first);
  tellConnected();
  EXPECT_EQ(first.count(), 3U);
  EXPECT_EQ(first.devices.back(), "1 00:00:00:00:00:00 spp 0 [] usb 1 [Maps] iap 1");
}

// While a call runs on this thread, another thread acts.
TEST_F(WrapperCallback, RemovalByAnotherThreadReturnsOnlyWhenTheListenersCallHasEnded) {
  std::unique_ptr<Worker> remover;
  std::atomic<bool> hasEnded{false};
  bool hadEnded = false;
  first.during = [&] {
    remover = std::make_unique<Worker>([&] {
      sut->removeListener(&first);
      hadEnded = hasEnded;
    });
    EXPECT_TRUE(remover->isHeldUp());
    hasEnded = true;
  };
  sut->setListener(&first);
  sut->setListener(&second);  // so that the removal does not detach, too
  tellConnected();
  ASSERT_TRUE(remover->ends());
  EXPECT_TRUE(hadEnded);
  EXPECT_EQ(counts(), called(1, 1, 0));
}

TEST_F(WrapperCallback, RemovalOfTheLastListenerByAnotherThreadReturnsOnlyWhenItsCallHasEnded) {
  std::unique_ptr<Worker> remover;
  std::atomic<bool> hasEnded{false};
  bool hadEnded = false;
  first.during = [&] {
    remover = std::make_unique<Worker>([&] {
      sut->removeListener(&first);
      hadEnded = hasEnded;
    });
    EXPECT_TRUE(remover->isHeldUp());
    hasEnded = true;
  };
  sut->setListener(&first);
  tellConnected();
  ASSERT_TRUE(remover->ends());
  EXPECT_TRUE(hadEnded);
  first.during = nullptr;
  tellConnected();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(WrapperCallback, RemovalByAnotherThreadDoesNotWaitForAnotherListenersCall) {
  setAll();
  first.during = [this] {
    const Worker remover([this] { sut->removeListener(&second); });
    EXPECT_TRUE(remover.ends());
  };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 1)) << "and the one that has left is skipped";
}

TEST_F(WrapperCallback, AListenerThatAnotherThreadSetsIsThereWhenTheCallReturns) {
  sut->setListener(&first);
  first.during = [this] {
    const Worker setter([this] { EXPECT_TRUE(sut->setListener(&second)); });
    EXPECT_TRUE(setter.ends()) << "setting never waits for a call";
  };
  tellConnected();
  EXPECT_EQ(counts(), called(1, 0, 0));
  tellConnected();
  EXPECT_EQ(counts(), called(2, 1, 0));
}

// The removing thread waits for the call in which a new listener comes, and must see to it that this one is called.
TEST_F(WrapperCallback, AListenerThatIsSetWhileAnotherThreadRemovesTheLastOneIsCalledOncePerNotification) {
  std::unique_ptr<Worker> remover;
  first.during = [&] {
    remover = std::make_unique<Worker>([this] { sut->removeListener(&first); });
    EXPECT_TRUE(remover->isHeldUp());
    EXPECT_TRUE(sut->setListener(&second));
  };
  sut->setListener(&first);
  tellConnected();
  ASSERT_TRUE(remover->ends());
  tellConnected();
  EXPECT_EQ(counts(), called(1, 1, 0));
}

// The adaptor goes first: while it is waited for, the client is whole and still registered.
TEST_F(WrapperCallback, DestructionByAnotherThreadWaitsForTheRunningCallBeforeItTouchesTheClient) {
  std::unique_ptr<Worker> destroyer;
  std::atomic<bool> hasEnded{false};
  bool hadEnded = false;
  first.during = [&] {
    destroyer = std::make_unique<Worker>([&] {
      sut.reset();
      hadEnded = hasEnded;
    });
    EXPECT_TRUE(destroyer->isHeldUp());
    EXPECT_THAT(vqfake::registrations(), SizeIs(4));
    hasEnded = true;
  };
  sut->setListener(&first);
  tellConnected();
  ASSERT_TRUE(destroyer->ends());
  EXPECT_TRUE(hadEnded);
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(WrapperCallback, DestructionByAnotherThreadLetsTheRunningNotificationReachTheRemainingListeners) {
  std::unique_ptr<Worker> destroyer;
  first.during = [&] {
    destroyer = std::make_unique<Worker>([this] { sut.reset(); });
    EXPECT_TRUE(destroyer->isHeldUp());
  };
  setAll();
  tellConnected();
  ASSERT_TRUE(destroyer->ends());
  EXPECT_EQ(counts(), called(1, 1, 1));
}

// Knows whether it may be called.
class CheckedListener : public LinkAppiOSWrapperListener {
 public:
  void oniOSClientDeviceInfo(void* /*info*/) override {
    ++calls;
    callsWhileAway += isAway ? 1U : 0U;
  }

  std::atomic<bool> isAway{true};
  std::atomic<unsigned int> calls{0};
  std::atomic<unsigned int> callsWhileAway{0};
};

TEST_F(WrapperCallback, ListenersThatComeAndGoOnThreeThreadsUnderTrafficAreNeverCalledWhileAway) {
  constexpr unsigned int kRounds = 300;
  CheckedListener passing[3];
  std::atomic<unsigned int> refused{0};
  std::atomic<unsigned int> running{3};
  std::vector<std::unique_ptr<Worker>> workers;
  for (CheckedListener& listener : passing) {
    workers.push_back(std::make_unique<Worker>([&] {
      for (unsigned int i = 0; i < kRounds; ++i) {
        listener.isAway = false;
        refused += sut->setListener(&listener) ? 0U : 1U;
        refused += sut->removeListener(&listener) ? 0U : 1U;
        listener.isAway = true;
      }
      --running;
    }));
  }
  while (running != 0) {
    tellConnected();
  }
  for (const std::unique_ptr<Worker>& worker : workers) {
    EXPECT_TRUE(worker->ends());
  }
  EXPECT_EQ(refused, 0U);
  for (const CheckedListener& listener : passing) {
    EXPECT_EQ(listener.callsWhileAway, 0U);
  }
  sut->setListener(&first);
  tellConnected();
  EXPECT_EQ(first.count(), 1U) << "attached once, however often it was attached and detached";
}

}  // namespace
