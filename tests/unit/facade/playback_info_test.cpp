// LinkAppiOSPlaybackInfo: its one listener, its subscriptions and the record that it passes on.
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <memory>

#include "tests/conformance/worker.h"
#include "wrapper_fixture.h"

namespace {

using conformance::Worker;
using iosapp_def_::PlaybackAppInfo;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kPlaybackFile = "LinkAppCommon/private/LinkAppiOSPlaybackInfo";
constexpr unsigned int kNotice = 3;

class PlaybackListener : public LinkAppiOSPlaybackInfoListener {
 public:
  void onPlaybackAppInfo(PlaybackAppInfo info) override {
    apps.push_back(std::to_string(info.deviceId) + " " + info.appName);
    if (during) {
      during();
    }
  }

  std::size_t count() const { return apps.size(); }

  std::vector<std::string> apps;
  std::function<void()> during;
};

// Takes itself off and is gone at its first call.
class OneCall : public LinkAppiOSPlaybackInfoListener {
 public:
  OneCall(LinkAppiOSPlaybackInfo& playback, unsigned int& calls) : playback_(playback), calls_(calls) {}
  void onPlaybackAppInfo(PlaybackAppInfo /*info*/) override {
    ++calls_;
    EXPECT_FALSE(playback_.removeListener(this));
    delete this;
  }

 private:
  LinkAppiOSPlaybackInfo& playback_;
  unsigned int& calls_;
};

iosapp_def_::ConnectStatusNotify playbackMessage(std::uint32_t deviceId, const std::string& appName) {
  iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, deviceId);
  std::memcpy(message.playbackAppName, appName.data(), std::min(appName.size(), sizeof(message.playbackAppName)));
  return message;
}

void tellPlayback() {
  tell(playbackMessage(1, "Music"));
}

auto nullListenerLine() {
  return logLine(kPlaybackFile, "setListener", 57, 1, "Listener Pointer is NULL...n");
}

auto foreignListenerLine() {
  return logLine(kPlaybackFile, "removeListener", 72, 1, "Listener Pointer is NULL or NOT match...\n");
}

class PlaybackInfo : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    sut = std::make_unique<LinkAppiOSPlaybackInfo>();
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  std::unique_ptr<LinkAppiOSPlaybackInfo> sut;
  PlaybackListener first;
  PlaybackListener second;
};

TEST(PlaybackListenerInterface, HasItsOperationBehindTheDestructor) {
  EXPECT_EQ(virtualSlot(&LinkAppiOSPlaybackInfoListener::onPlaybackAppInfo), 2U) << "a destructor takes two";
}

TEST_F(PlaybackInfo, ItsClientOpensTheChannelAndRegistersNoApp) {
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4U), ElementsAre(5U), ElementsAre(2U), ElementsAre(3U)));
  EXPECT_THAT(vqfake::posted(), IsEmpty());
  SegmentView view(kAppInfoSegment);
  EXPECT_EQ(view.record<iOSAppInfoList>().count, 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(PlaybackInfo, SettingANullListenerReturnsFalseAndLogs) {
  EXPECT_FALSE(sut->setListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(nullListenerLine()));
}

TEST_F(PlaybackInfo, SettingANullListenerLeavesListenerAndSubscription) {
  sut->setListener(&first);
  sut->setListener(nullptr);
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(PlaybackInfo, SettingAListenerReturnsTrueSilently) {
  EXPECT_TRUE(sut->setListener(&first));
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_EQ(first.count(), 0U);
}

TEST_F(PlaybackInfo, ANoticeArrivesWithDeviceIdAndName) {
  sut->setListener(&first);
  tell(playbackMessage(1, "Music"));
  tell(playbackMessage(0xFFFFFFFF, ""));
  tell(playbackMessage(0, std::string(300, 'x')));
  EXPECT_THAT(first.apps, ElementsAre("1 Music", "4294967295 ", "0 " + std::string(256, 'x')));
}

TEST_F(PlaybackInfo, WithoutAListenerNoticesAreHarmless) {
  tellPlayback();
  PlaybackAppInfo info;
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, &info, 8));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(PlaybackInfo, TheClientsOtherNoticesDoNotArrive) {
  sut->setListener(&first);
  tell(connectMessage(1, 1));
  tell(sessionMessage(1, 1, 1));
  tell(statusMessage(iosapp_def_::NOTIFYID_SENDRESULT, 1));
  tell(statusMessage(iosapp_def_::NOTIFYID_BTHFSTATUS, 1));
  EXPECT_EQ(first.count(), 0U);
}

TEST_F(PlaybackInfo, TheHandlerReturnsFalseAlsoWhereItCallsTheListener) {
  sut->setListener(&first);
  PlaybackAppInfo info;
  info.deviceId = 7;
  info.appName = "Music";
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, &info, 8));
  EXPECT_THAT(first.apps, ElementsAre("7 Music"));
}

TEST_F(PlaybackInfo, EverySizeBut0IsAsGoodAsAnother) {
  sut->setListener(&first);
  PlaybackAppInfo info;
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, &info, 1));
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, &info, 0xFFFFFFFF));
  EXPECT_EQ(first.count(), 2U);
}

TEST_F(PlaybackInfo, ANoticeOfSize0OrWithoutARecordCallsNobody) {
  sut->setListener(&first);
  PlaybackAppInfo info;
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, &info, 0));
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, nullptr, 8));
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, nullptr, 0));
  EXPECT_EQ(first.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(PlaybackInfo, ForeignIdsAreIgnored) {
  sut->setListener(&first);
  PlaybackAppInfo info;
  for (const std::uint32_t id : {0U, 1U, 2U, 4U, 7U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(sut->oniOSClientUpdate(id, &info, 8));
  }
  EXPECT_EQ(first.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(PlaybackInfo, EachSuccessfulSetSubscribesOnceMore) {
  sut->setListener(&first);
  EXPECT_TRUE(sut->setListener(&first));
  tellPlayback();
  EXPECT_EQ(first.count(), 2U);
  sut->setListener(nullptr);
  tellPlayback();
  EXPECT_EQ(first.count(), 4U) << "a refused one does not";
}

TEST_F(PlaybackInfo, ASecondListenerTakesThePlaceOfTheFirstWithBothSubscriptions) {
  sut->setListener(&first);
  EXPECT_TRUE(sut->setListener(&second));
  tellPlayback();
  EXPECT_EQ(first.count(), 0U);
  EXPECT_EQ(second.count(), 2U);
}

TEST_F(PlaybackInfo, AMatchingRemovalReturnsFalseLogsNothingAndEndsEverySubscription) {
  sut->setListener(&first);
  sut->setListener(&first);
  EXPECT_FALSE(sut->removeListener(&first));
  EXPECT_THAT(vqfake::log(), IsEmpty());
  tellPlayback();
  EXPECT_EQ(first.count(), 0U);
  sut->setListener(&first);
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(PlaybackInfo, AMatchingRemovalForgetsTheListener) {
  sut->setListener(&first);
  sut->removeListener(&first);
  PlaybackAppInfo info;
  EXPECT_FALSE(sut->oniOSClientUpdate(kNotice, &info, 8));
  EXPECT_EQ(first.count(), 0U);
  EXPECT_FALSE(sut->removeListener(&first));
  EXPECT_THAT(vqfake::log(), ElementsAre(foreignListenerLine()));
}

TEST_F(PlaybackInfo, RemovingAnUnknownListenerReturnsFalseLogsAndChangesNothing) {
  sut->setListener(&first);
  EXPECT_FALSE(sut->removeListener(&second));
  EXPECT_THAT(vqfake::log(), ElementsAre(foreignListenerLine()));
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(PlaybackInfo, RemovingAReplacedListenerIsRemovingAnUnknownOne) {
  sut->setListener(&first);
  sut->setListener(&second);
  EXPECT_FALSE(sut->removeListener(&first));
  EXPECT_THAT(vqfake::log(), ElementsAre(foreignListenerLine()));
  tellPlayback();
  EXPECT_EQ(second.count(), 2U);
}

TEST_F(PlaybackInfo, RemovingNullLogsWithAndWithoutAListener) {
  EXPECT_FALSE(sut->removeListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(foreignListenerLine()));
  sut->setListener(&first);
  EXPECT_FALSE(sut->removeListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(foreignListenerLine(), foreignListenerLine()));
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(PlaybackInfo, RemovingAListenerWhereNoneIsSetLogs) {
  EXPECT_FALSE(sut->removeListener(&first));
  EXPECT_THAT(vqfake::log(), ElementsAre(foreignListenerLine()));
}

TEST_F(PlaybackInfo, TheDefaultListenerDoesNothing) {
  LinkAppiOSPlaybackInfoListener listener;
  sut->setListener(&listener);
  PostedSince posted;
  tellPlayback();
  EXPECT_THAT(posted.messages(), SizeIs(1)) << "the test's own";
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(PlaybackInfo, DestructionTakesEverythingBackAndCallsNobody) {
  sut->setListener(&first);
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  tellPlayback();
  EXPECT_EQ(first.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(PlaybackInfo, AListenerMayRemoveItselfAndIsNotCalledForTheSecondSubscription) {
  sut->setListener(&first);
  sut->setListener(&first);
  first.during = [this] { sut->removeListener(&first); };
  tellPlayback();
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(PlaybackInfo, AListenerThatRemovesItselfMayBeDestroyedInTheSameCall) {
  unsigned int calls = 0;
  sut->setListener(new OneCall(*sut, calls));
  tellPlayback();
  tellPlayback();
  EXPECT_EQ(calls, 1U);
}

TEST_F(PlaybackInfo, AListenerThatPutsAnotherInItsPlaceHandsItTheRestOfTheNotice) {
  sut->setListener(&first);
  sut->setListener(&first);
  first.during = [this] { sut->setListener(&second); };
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
  EXPECT_EQ(second.count(), 1U) << "the second of two subscriptions, not the one that was just made";
  tellPlayback();
  EXPECT_EQ(second.count(), 4U);
}

TEST_F(PlaybackInfo, AListenerMayDestroyAnotherPlaybackInfoObjectBeforeThatHearsOfTheNotice) {
  auto other = std::make_unique<LinkAppiOSPlaybackInfo>();
  other->setListener(&second);
  sut->setListener(&first);
  first.during = [&other] { other.reset(); };
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
  EXPECT_EQ(second.count(), 0U);
}

TEST_F(PlaybackInfo, AListenerMayDestroyAWrapper) {
  auto wrapper = std::make_unique<LinkAppiOSWrapper>("Radio", "", "");
  WrapperListener wrapperListener;
  wrapper->setListener(&wrapperListener);
  sut->setListener(&first);
  first.during = [&wrapper] { wrapper.reset(); };
  tellPlayback();
  EXPECT_EQ(wrapper, nullptr);
  EXPECT_THAT(vqfake::registrations(), SizeIs(4));
}

// While a call runs on this thread, another thread acts.
class PlaybackInfoFromAnotherThread : public PlaybackInfo {
 protected:
  // True when `action`, begun during a call of the listener, returned only after that call.
  bool waitsForTheRunningCall(std::function<void()> action) {
    std::unique_ptr<Worker> worker;
    std::atomic<bool> hasEnded{false};
    std::atomic<bool> hadEnded{false};
    first.during = [&] {
      worker = std::make_unique<Worker>([&] {
        action();
        hadEnded = hasEnded.load();
      });
      EXPECT_TRUE(worker->isHeldUp());
      if (look) {
        look();
      }
      hasEnded = true;
    };
    sut->setListener(&first);
    tellPlayback();
    return worker != nullptr && worker->ends() && hadEnded;
  }

  std::function<void()> look;  // done while the action waits
};

TEST_F(PlaybackInfoFromAnotherThread, RemovalReturnsOnlyWhenTheRunningCallHasEnded) {
  EXPECT_TRUE(waitsForTheRunningCall([this] { sut->removeListener(&first); }));
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(PlaybackInfoFromAnotherThread, AReplacementReturnsOnlyWhenTheFormerListenersCallHasEnded) {
  EXPECT_TRUE(waitsForTheRunningCall([this] { sut->setListener(&second); }));
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
  EXPECT_EQ(second.count(), 2U);
}

// The adaptor goes first: while it is waited for, the client is whole and still registered.
TEST_F(PlaybackInfoFromAnotherThread, DestructionWaitsForTheRunningCallBeforeItTouchesTheClient) {
  look = [] { EXPECT_THAT(vqfake::registrations(), SizeIs(4)); };
  EXPECT_TRUE(waitsForTheRunningCall([this] { sut.reset(); }));
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
}

TEST_F(PlaybackInfoFromAnotherThread, SettingTheSameListenerDoesNotWaitForItsCall) {
  first.during = [this] {
    const Worker setter([this] { sut->setListener(&first); });
    EXPECT_TRUE(setter.ends());
  };
  sut->setListener(&first);
  tellPlayback();
  EXPECT_EQ(first.count(), 1U);
  first.during = nullptr;
  tellPlayback();
  EXPECT_EQ(first.count(), 3U);
}

}  // namespace
