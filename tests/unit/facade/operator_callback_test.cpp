// What listeners of VQSLinkAppOperator may do while they are called.
#include <optional>
#include <ostream>

#include "operator_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Which side calls.
enum class Side { spp, ios };

void PrintTo(Side side, std::ostream* out) {
  *out << (side == Side::spp ? "SPP" : "iOS");
}

std::string nameOf(const testing::TestParamInfo<Side>& info) {
  return info.param == Side::spp ? "Spp" : "Ios";
}

class OperatorCallback : public OperatorTest, public testing::WithParamInterface<Side> {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
    for (MessageEvents& listener : row) {
      sut->setListener(&listener);
    }
    sut->setStatusListener(&status);
    launchAndOpen();
    vqfake::clearBtCalls();
  }

  // One result for the operator under test.
  static void tellResult() {
    if (GetParam() == Side::spp) {
      vqfake::notifyBtApps(sppResult(kUuid, true));
    } else {
      endIosSend(1);
    }
  }

  static void tellMessage() {
    if (GetParam() == Side::spp) {
      vqfake::notifyBtApps(sppData(kUuid, {0xAA}));
    } else {
      sendFromIosDevice({0xAA});
    }
  }

  Lines journal;
  MessageEvents row[3] = {{"0", journal}, {"1", journal}, {"2", journal}};
};

INSTANTIATE_TEST_SUITE_P(From, OperatorCallback, testing::Values(Side::spp, Side::ios), nameOf);

TEST_P(OperatorCallback, AListenerMayRemoveItself) {
  row[1].during = [this] { EXPECT_TRUE(sut->removeListener(&row[1])); };
  tellResult();
  tellMessage();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0", "2 result 0", "0 message aa", "2 message aa"));
}

TEST_P(OperatorCallback, AListenerMayRemoveItselfWhileItGetsAMessageAndStillReadTheBytes) {
  row[0].during = [this] { EXPECT_TRUE(sut->removeListener(&row[0])); };
  tellMessage();
  tellResult();
  EXPECT_THAT(journal, ElementsAre("0 message aa", "1 message aa", "2 message aa", "1 result 0", "2 result 0"));
}

TEST_P(OperatorCallback, AListenerThatAnotherOneRemovedIsNotCalledAnyMore) {
  row[0].during = [this] { sut->removeListener(&row[1]); };
  tellResult();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "2 result 0"));
}

TEST_P(OperatorCallback, AListenerThatWasCalledAlreadyMayBeRemoved) {
  row[2].during = [this] { sut->removeListener(&row[0]); };
  tellResult();
  tellMessage();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0", "2 result 0", "1 message aa", "2 message aa"));
}

TEST_P(OperatorCallback, AllListenersMayBeRemovedByOne) {
  row[0].during = [this] {
    for (MessageEvents& listener : row) {
      EXPECT_TRUE(sut->removeListener(&listener));
    }
  };
  tellResult();
  tellMessage();
  EXPECT_THAT(journal, ElementsAre("0 result 0"));
}

TEST_P(OperatorCallback, ListenersBeforeAndBehindItMayBeRemovedAndDestroyedByOne) {
  struct {
    std::optional<MessageEvents> before;
    std::optional<MessageEvents> remover;
    std::optional<MessageEvents> behind;
  } trio;
  trio.before.emplace("before", journal);
  trio.remover.emplace("remover", journal);
  trio.behind.emplace("behind", journal);
  for (std::optional<MessageEvents>* listener : {&trio.before, &trio.remover, &trio.behind}) {
    sut->setListener(&**listener);
  }
  for (MessageEvents& listener : row) {
    sut->removeListener(&listener);
  }
  trio.remover->during = [&] {
    for (std::optional<MessageEvents>* listener : {&trio.before, &trio.behind}) {
      if (listener->has_value()) {
        EXPECT_TRUE(sut->removeListener(&**listener));
        listener->reset();
      }
    }
  };
  tellResult();
  tellMessage();
  EXPECT_THAT(journal, ElementsAre("before result 0", "remover result 0", "remover message aa"));
  sut->removeListener(&*trio.remover);
}

TEST_P(OperatorCallback, AListenerAddedMeanwhileIsCalledFromTheNextOneOn) {
  sut->removeListener(&row[2]);
  row[0].during = [this] { sut->setListener(&row[2]); };
  tellResult();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0"));
  journal.clear();
  tellMessage();
  EXPECT_THAT(journal, ElementsAre("0 message aa", "1 message aa", "2 message aa"));
}

TEST_P(OperatorCallback, TheStatusListenerMayBeRemovedAndTheRestOfTheCallGoesOn) {
  row[0].during = [this] { EXPECT_TRUE(sut->removeStatusListener(&status)); };
  tellResult();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0", "2 result 0"));
  journal.clear();
  tellResult();
  tellMessage();
  EXPECT_THAT(journal, IsEmpty()) << "the subscriptions have ended";
}

TEST_P(OperatorCallback, TheStatusListenerMayBeRemovedAndSetAgain) {
  row[0].during = [this] {
    sut->removeStatusListener(&status);
    sut->setStatusListener(&status);
  };
  tellResult();
  journal.clear();
  tellMessage();
  EXPECT_THAT(journal, ElementsAre("0 message aa", "1 message aa", "2 message aa"));
}

TEST_P(OperatorCallback, AMessageMayBeAnsweredAtOnce) {
  std::string sent;
  row[0].during = [&] { sent = sendOne(); };
  tellMessage();
  EXPECT_EQ(sent, kOverIos);
  sut->requestSppConnect(7);
  tellMessage();
  EXPECT_EQ(sent, overSpp(7));
}

TEST_P(OperatorCallback, TheLinkMayBeChanged) {
  row[0].during = [this] { EXPECT_TRUE(sut->requestSppConnect(7)); };
  tellResult();
  EXPECT_EQ(sendOne(), overSpp(7));
  row[0].during = [this] { EXPECT_TRUE(launch()); };
  tellResult();
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_P(OperatorCallback, AnotherOperatorThatHearsTheSameMayBeDestroyed) {
  auto other = std::make_unique<VQSLinkAppOperator>(kUuid, kApp, "", "radio://");
  MessageEvents ofOther("other", journal);
  other->setListener(&ofOther);
  other->setStatusListener(nullptr);
  row[1].during = [&other] { other.reset(); };
  tellResult();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0", "2 result 0"));
  EXPECT_EQ(other, nullptr);
}

TEST_P(OperatorCallback, AnotherOperatorMayBeMadeAndUsed) {
  std::unique_ptr<VQSLinkAppOperator> other;
  row[0].during = [this, &other] {
    other = std::make_unique<VQSLinkAppOperator>("other-uuid", "Map", "", "map://");
    other->setListener(&row[0]);
    other->setStatusListener(nullptr);
    row[0].during = {};
  };
  tellResult();
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0", "2 result 0"));
  journal.clear();
  vqfake::notifyBtApps(sppResult("other-uuid", false));
  EXPECT_THAT(journal, ElementsAre("0 result 1"));
}

TEST_P(OperatorCallback, AStatusListenerMayRemoveItself) {
  status.lines.clear();
  status.during = [this] { EXPECT_TRUE(sut->removeStatusListener(&status)); };
  const auto changeDevice = [](bool isThere) {
    if (GetParam() == Side::spp) {
      vqfake::notifyBtApps(isThere ? sppList(3, "Phone") : VQSBtAppsNtf::SppInformation());
    } else if (isThere) {
      closeIosSession();
    } else {
      disconnectIosDevice();
    }
  };
  changeDevice(true);
  EXPECT_EQ(status.lines.size(), 1U);
  changeDevice(false);
  EXPECT_EQ(status.lines.size(), 1U);
  tellResult();
  EXPECT_THAT(journal, IsEmpty());
}

TEST_P(OperatorCallback, AStatusListenerMayDestroyAnotherOperator) {
  auto other = std::make_unique<VQSLinkAppOperator>(kUuid, kApp, "", "radio://");
  StatusEvents ofOther;
  other->setStatusListener(&ofOther);
  status.lines.clear();
  status.during = [&other] { other.reset(); };
  if (GetParam() == Side::spp) {
    vqfake::notifyBtApps(sppList(3, "Phone"));
  } else {
    closeIosSession();
  }
  EXPECT_EQ(status.lines.size(), 1U);
  EXPECT_EQ(other, nullptr);
  EXPECT_THAT(ofOther.lines, IsEmpty());
}

TEST_P(OperatorCallback, AStatusListenerMayChooseTheLink) {
  disconnectIosDevice();
  const bool isSpp = GetParam() == Side::spp;
  status.during = [this, isSpp] { EXPECT_TRUE(isSpp ? sut->requestSppConnect(3) : launch()); };
  if (isSpp) {
    vqfake::notifyBtApps(sppList(3, "Phone"));
    EXPECT_EQ(sendOne(), overSpp(3));
  } else {
    sut->requestSppConnect(7);
    connectIosDevice();
    openIosSession();
    EXPECT_EQ(sendOne(), kOverIos);
  }
}

}  // namespace
