// Removing a listener and destroying an object while another thread calls: for every way in which the facade calls.
#include <vector>

#include "facade_test.h"
#include "operator_fixture.h"

namespace {

using conformance::Worker;

// Two ports that two threads call. The Bluetooth manager tells every hands-free wrapper the same, so one of them at
// most.
bool haveThreadsOfTheirOwn(const PortKind& first, const PortKind& second) {
  const auto isHfp = [](const PortKind& kind) { return std::string(kind.name).rfind("Hfp", 0) == 0; };
  return first.source != second.source && !(isHfp(first) && isHfp(second));
}

class Removal : public FacadeTest, public testing::WithParamInterface<PortKind> {
 public:
  // With every other port that another thread calls.
  template <class Test>
  void forEachPair(const Test& test) {
    unsigned int pairs = 0;
    for (const PortKind& other : kPortKinds) {
      if (haveThreadsOfTheirOwn(GetParam(), other)) {
        SCOPED_TRACE(std::string("the other port: ") + other.name);
        ++pairs;
        test(other);
      }
    }
    EXPECT_GT(pairs, 0U);
  }
};

std::string nameOf(const testing::TestParamInfo<PortKind>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Of, Removal, testing::ValuesIn(kPortKinds), nameOf);

TEST_P(Removal, ByAnotherThreadReturnsOnlyWhenTheRunningCallHasEnded) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut);
  std::atomic<bool> hadEnded{false};
  const Worker remover([&] {
    sut->remove();
    hadEnded = call.hasEnded();
  });
  EXPECT_TRUE(remover.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(remover.ends());
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(hadEnded);
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

TEST_P(Removal, ByTwoThreadsWaitsInNeitherForEver) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut);
  const Worker first([&] { sut->remove(); });
  EXPECT_TRUE(first.isHeldUp());
  const Worker second([&] { sut->remove(); });
  call.letEnd();
  EXPECT_TRUE(first.ends());
  EXPECT_TRUE(second.ends());
  EXPECT_TRUE(call.thread().ends());
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

using RemovalByCallback = Removal;

INSTANTIATE_TEST_SUITE_P(Of, RemovalByCallback, testing::ValuesIn(portKindsThat(&PortKind::mayCallBack)), nameOf);

TEST_P(RemovalByCallback, WithinTheListenersOwnCallReturnsAtOnce) {
  const auto sut = GetParam().make();
  sut->set();
  bool hasReturned = false;
  RunningCall call(*sut, [&] {
    sut->remove();
    hasReturned = true;
  });
  call.letEnd();
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(hasReturned);
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

TEST_P(RemovalByCallback, WithinItsOwnCallReturnsAtOnceWhileAnotherThreadWaitsForThatCall) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut, [&] { sut->remove(); });
  const Worker remover([&] { sut->remove(); });
  EXPECT_TRUE(remover.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(remover.ends());
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

TEST_P(Removal, WithinACallOfAListenerThatRunsOnAnotherThreadWaitsForThatOne) {
  forEachPair([](const PortKind& other) {
    const auto remover = GetParam().make();
    const auto sut = other.make();
    remover->set();
    sut->set();
    RunningCall call(*sut);
    std::atomic<bool> hadEnded{false};
    RunningCall removing(*remover, [&] {
      sut->remove();
      hadEnded = call.hasEnded();
    });
    removing.letEnd();
    EXPECT_TRUE(removing.thread().isHeldUp());
    call.letEnd();
    EXPECT_TRUE(removing.thread().ends());
    EXPECT_TRUE(call.thread().ends());
    EXPECT_TRUE(hadEnded);
    sut->tell();
    EXPECT_EQ(sut->listener.calls, 1U);
  });
}

TEST_P(Removal, OfEachOtherByTwoThreadsWithinTheirCallsDoesNotHang) {
  forEachPair([](const PortKind& other) {
    const auto first = GetParam().make();
    const auto second = other.make();
    first->set();
    second->set();
    {
      RunningCall inFirst(*first, [&] { second->remove(); });
      RunningCall inSecond(*second, [&] { first->remove(); });
      inFirst.letEnd();
      inSecond.letEnd();
      EXPECT_TRUE(inFirst.thread().ends());
      EXPECT_TRUE(inSecond.thread().ends());
    }
    first->tell();
    second->tell();
    EXPECT_EQ(first->listener.calls, 1U);
    EXPECT_EQ(second->listener.calls, 1U);
  });
}

using Destruction = Removal;

INSTANTIATE_TEST_SUITE_P(Of, Destruction, testing::ValuesIn(kPortKinds), nameOf);

TEST_P(Destruction, ByAnotherThreadReturnsOnlyWhenTheRunningCallHasEnded) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut);
  std::atomic<bool> hadEnded{false};
  const Worker destroyer([&] {
    sut->destroy();
    hadEnded = call.hasEnded();
  });
  EXPECT_TRUE(destroyer.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(destroyer.ends());
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(hadEnded);
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

TEST_P(Destruction, WithinACallOfAnObjectThatRunsOnAnotherThreadWaitsForThatCall) {
  forEachPair([](const PortKind& other) {
    const auto destroyer = GetParam().make();
    const auto sut = other.make();
    destroyer->set();
    sut->set();
    RunningCall call(*sut);
    std::atomic<bool> hadEnded{false};
    RunningCall destroying(*destroyer, [&] {
      sut->destroy();
      hadEnded = call.hasEnded();
    });
    destroying.letEnd();
    EXPECT_TRUE(destroying.thread().isHeldUp());
    call.letEnd();
    EXPECT_TRUE(destroying.thread().ends());
    EXPECT_TRUE(call.thread().ends());
    EXPECT_TRUE(hadEnded);
    destroyer->listener.during = nullptr;
    destroyer->tell();
    EXPECT_EQ(destroyer->listener.calls, 2U);
    sut->tell();
    EXPECT_EQ(sut->listener.calls, 1U);
  });
}

using DestructionUnderACallback = Removal;

INSTANTIATE_TEST_SUITE_P(Of, DestructionUnderACallback, testing::ValuesIn(portKindsThat(&PortKind::mayCallBack)),
                         nameOf);

TEST_P(DestructionUnderACallback, ByAnotherThreadLeavesTheRunningCallAWholeObjectForItsRequests) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut, [&] { sut->request(); });
  const Worker destroyer([&] { sut->destroy(); });
  EXPECT_TRUE(destroyer.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(destroyer.ends());
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

TEST_P(DestructionUnderACallback, ByAnotherThreadLetsTheRunningCallRemoveItsListener) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut, [&] { sut->remove(); });
  const Worker destroyer([&] { sut->destroy(); });
  EXPECT_TRUE(destroyer.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(destroyer.ends());
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

using DestructionUnderAComeback = Removal;

INSTANTIATE_TEST_SUITE_P(Of, DestructionUnderAComeback, testing::ValuesIn(portKindsThat(&PortKind::mayComeBack)),
                         nameOf);

TEST_P(DestructionUnderAComeback, ByAnotherThreadLeavesNothingBehindOfAListenerThatComesBackInTheRunningCall) {
  const auto sut = GetParam().make();
  sut->set();
  RunningCall call(*sut, [&] { sut->comeBack(); });
  const Worker destroyer([&] { sut->destroy(); });
  EXPECT_TRUE(destroyer.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(call.thread().ends());
  EXPECT_TRUE(destroyer.ends());
  sut->tell();
  EXPECT_EQ(sut->listener.calls, 1U);
}

// The Bluetooth manager's notice waits for the wrapper's lock, which the channel's callback holds.
TEST_F(FacadeTest, AHandsFreeWrapperThatTwoThreadsAreInIsDestroyedWhenBothHaveLeft) {
  const PortKind& kind = kPortKinds[10];
  ASSERT_STREQ(kind.name, "HfpOfAnIphoneByTheChannel");
  const auto sut = kind.make();
  sut->set();
  RunningCall inChannel(*sut);
  VQSBtMgrDef::HfpConnection event;
  event.deviceId = 41;
  event.profile = 1;
  const Worker manager([&] { vqfake::notifyBtManager(event); });
  EXPECT_TRUE(manager.isHeldUp());
  std::atomic<bool> hadEnded{false};
  const Worker destroyer([&] {
    sut->destroy();
    hadEnded = inChannel.hasEnded();
  });
  EXPECT_TRUE(destroyer.isHeldUp());
  inChannel.letEnd();
  EXPECT_TRUE(inChannel.thread().ends());
  EXPECT_TRUE(manager.ends());
  EXPECT_TRUE(destroyer.ends());
  EXPECT_TRUE(hadEnded);
}

// The SPP service's thread is in the first listener, the delivery thread in the second one of the same operator.
TEST_F(FacadeTest, TwoListenersOfOneOperatorThatRemoveEachOtherOnItsTwoThreadsDoNotHang) {
  VQSLinkAppOperator sut(kUuid);
  AnyListener listeners[2];
  AnyListener& first = listeners[0];
  AnyListener& second = listeners[1];
  sut.setListener(&first);
  sut.setListener(&second);
  const std::string ownUuid = kUuid;
  VQSBtAppsNtf::SppDataSendResult result = sppResult(ownUuid, true);
  conformance::Gate isInSecond;
  conformance::Gate isInFirst;
  std::atomic<unsigned int> entries{0};
  first.during = [&] {
    if (entries++ == 0) {
      return;  // on the way to the second one
    }
    isInFirst.open();
    isInSecond.pass();
    sut.removeListener(&second);
  };
  second.during = [&] {
    isInSecond.open();
    isInFirst.pass();
    sut.removeListener(&first);
  };
  const Worker toSecond([&] { sut.onBtAppsUpdate(5, &result, 1); });
  isInSecond.pass();
  const Worker toFirst([&] { sut.onBtAppsUpdate(5, &result, 1); });
  EXPECT_TRUE(toSecond.ends());
  EXPECT_TRUE(toFirst.ends());
  const unsigned int calls = first.calls + second.calls;
  sut.onBtAppsUpdate(5, &result, 1);
  EXPECT_EQ(first.calls + second.calls, calls);
}

}  // namespace
