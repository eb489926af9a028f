// Listeners and objects that come and go while every source of notices talks on a thread of its own.
#include <algorithm>
#include <functional>
#include <initializer_list>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "facade_test.h"
#include "notice_pumps.h"

namespace {

using test_support::waitUntil;

std::string nameOf(const testing::TestParamInfo<PortKind>& info) {
  return info.param.name;
}

// Returns when `condition` holds. Under traffic that is soon, so it does not sleep at first.
bool waitUnderTraffic(const std::function<bool()>& condition) {
  for (unsigned int i = 0; i < 1000; ++i) {
    if (condition()) {
      return true;
    }
    std::this_thread::yield();
  }
  return waitUntil(condition);
}

class PortTraffic : public FacadeTest, public testing::WithParamInterface<PortKind> {};

INSTANTIATE_TEST_SUITE_P(Of, PortTraffic, testing::ValuesIn(kPortKinds), nameOf);

TEST_P(PortTraffic, CallsAListenerOnlyBetweenItsSettingAndItsRemoval) {
  const auto sut = GetParam().make();
  AnyListener& listener = sut->listener;
  listener.leave();
  const Pump source([&] { sut->tell(); });
  for (unsigned int i = 0; i < roundsHere(100); ++i) {
    const unsigned int before = listener.calls;
    listener.come();
    sut->set();
    ASSERT_TRUE(waitUnderTraffic([&] { return listener.calls != before; }));
    sut->remove();
    listener.leave();
  }
  EXPECT_EQ(listener.callsWhileAway, 0U);
}

using ContendedPort = PortTraffic;

INSTANTIATE_TEST_SUITE_P(Of, ContendedPort, testing::ValuesIn(portKindsThat(&PortKind::subscribesOnce)), nameOf);

TEST_P(ContendedPort, CallsAListenerAfterAnotherThreadsRemovalsMetItsSettings) {
  const auto sut = GetParam().make();
  const Pump source([&] { sut->tell(); });
  for (unsigned int i = 0; i < roundsHere(100); ++i) {
    {
      std::atomic<unsigned int> removals{0};
      const Pump remover([&] {
        sut->remove();
        ++removals;
      });
      while (removals == 0) {
        std::this_thread::yield();
      }
      for (unsigned int k = 0; k < 5; ++k) {
        sut->set();
      }
    }
    sut->set();
    const unsigned int before = sut->listener.calls;
    ASSERT_TRUE(waitUnderTraffic([&] { return sut->listener.calls != before; })) << "a subscription is lost";
    sut->remove();
    const unsigned int after = sut->listener.calls;
    std::this_thread::yield();
    ASSERT_EQ(sut->listener.calls, after) << "a subscription is left";
  }
}

// The operator's listeners for both kinds of phone, called by two threads, while this one sets and removes them.
TEST_F(FacadeTest, AnOperatorsListenersComeAndGoWhileBothSidesCallThem) {
  AnyListener messages[2];
  AnyListener status;
  VQSLinkAppOperator sut(kUuid, kApp, "", "radio://");
  AnyListener* const all[] = {&messages[0], &messages[1], &status};
  const Pump channel([] { tellEverythingOnTheChannel(); });
  const Pump spp([] { tellEverythingOfSpp(); });
  for (unsigned int i = 0; i < roundsHere(100); ++i) {
    unsigned int before[3] = {};
    for (unsigned int k = 0; k < 3; ++k) {
      before[k] = all[k]->calls;
      all[k]->come();
    }
    EXPECT_TRUE(sut.setListener(&messages[0]));
    EXPECT_TRUE(sut.setStatusListener(&status));
    EXPECT_TRUE(sut.setListener(&messages[1]));
    for (unsigned int k = 0; k < 3; ++k) {
      ASSERT_TRUE(waitUnderTraffic([&] { return all[k]->calls != before[k]; })) << k;
    }
    EXPECT_TRUE(sut.removeListener(&messages[i % 2]));
    messages[i % 2].leave();
    EXPECT_TRUE(sut.removeStatusListener(&status));
    status.leave();
    EXPECT_TRUE(sut.removeListener(&messages[1 - i % 2]));
    messages[1 - i % 2].leave();
  }
  for (const AnyListener* listener : all) {
    EXPECT_EQ(listener->callsWhileAway, 0U);
  }
}

// One object of each class with its listeners set, and a server. They are destroyed one by one, listeners still set.
class Household {
 public:
  static constexpr unsigned int kSize = 7;
  static constexpr unsigned int kWrapper = 3;
  static constexpr unsigned int kDeviceStatus = 4;

  Household() {
    combined_->setListener(&listeners[0]);
    combined_->setStatusListener(&listeners[1]);
    sppOnly_->setListener(&listeners[2]);
    sppOnly_->setStatusListener(&listeners[3]);
    wrapper_->setListener(&listeners[4]);
    deviceStatus_->setListener(&listeners[5]);
    handsFree_->setListener(&listeners[6]);
    playback_->setListener(&listeners[7]);
  }

  bool isEverybodyCalled() const {
    return std::all_of(std::begin(listeners), std::end(listeners),
                       [](const AnyListener& listener) { return listener.calls != 0; });
  }

  void destroy(unsigned int index) {
    switch (index) {
      case 0:
        return end(combined_, {0, 1});
      case 1:
        return end(sppOnly_, {2, 3});
      case 2:
        return server_.destroy();
      case kWrapper:
        return end(wrapper_, {4});
      case kDeviceStatus:
        if (!isWrapperGone_) {
          deviceStatus_->removeListener(&listeners[5]);
        }
        return end(deviceStatus_, {5});
      case 5:
        return end(handsFree_, {6});
      default:
        return end(playback_, {7});
    }
  }

  AnyListener listeners[8];

 private:
  template <class T>
  void end(Held<T>& object, std::initializer_list<unsigned int> ownListeners) {
    object.destroy();
    isWrapperGone_ = isWrapperGone_ || static_cast<const void*>(&object) == &wrapper_;
    for (const unsigned int index : ownListeners) {
      listeners[index].leave();
    }
  }

  Held<iOSAppCommonServer> server_{new iOSAppCommonServer(1)};
  Held<VQSLinkAppOperator> combined_{new VQSLinkAppOperator(kUuid, kApp, "", "radio://")};
  Held<VQSLinkAppOperator> sppOnly_{new VQSLinkAppOperator(kUuid)};
  LinkAppiOSWrapper* const rawWrapper_ = new LinkAppiOSWrapper("Maps", "", "maps://");
  Held<VQSLinkAppDeviceStatus> deviceStatus_{new VQSLinkAppDeviceStatus(rawWrapper_, "Maps")};
  Held<LinkAppiOSWrapper> wrapper_{rawWrapper_};
  Held<LinkAppHfpWrapper> handsFree_{new LinkAppHfpWrapper};
  Held<LinkAppiOSPlaybackInfo> playback_{new LinkAppiOSPlaybackInfo};
  bool isWrapperGone_ = false;
};

// Every one of the 5040 orders is as likely as any other; which ones come is the same in each run.
TEST_F(FacadeTest, ObjectsAreDestroyedInAnyOrderWhileEverySourceCallsThem) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=41\n");
  const Pump channel([] { tellEverythingOnTheChannel(); });
  const Pump spp([] { tellEverythingOfSpp(); });
  const Pump manager([] { tellEverythingOfTheManager(); });
  std::mt19937 random(1);
  std::vector<unsigned int> order(Household::kSize);
  std::iota(order.begin(), order.end(), 0U);
  for (unsigned int i = 0; i < roundsHere(60); ++i) {
    Household sut;
    ASSERT_TRUE(waitUnderTraffic([&] { return sut.isEverybodyCalled(); }));
    std::shuffle(order.begin(), order.end(), random);
    for (const unsigned int index : order) {
      sut.destroy(index);
    }
    std::this_thread::yield();
    for (const AnyListener& listener : sut.listeners) {
      ASSERT_EQ(listener.callsWhileAway, 0U) << testing::PrintToString(order);
    }
  }
}

// The objects go in a callback on the delivery thread, while the two others are in calls of them.
TEST_F(FacadeTest, ObjectsAreDestroyedInAnyOrderWithinACallbackWhileOtherSourcesCallThem) {
  const Pump spp([] { tellEverythingOfSpp(); });
  const Pump manager([] { tellEverythingOfTheManager(); });
  std::mt19937 random(2);
  std::vector<unsigned int> order(Household::kSize);
  std::iota(order.begin(), order.end(), 0U);
  LinkAppiOSPlaybackInfo caller;
  AnyListener calling;
  caller.setListener(&calling);
  for (unsigned int i = 0; i < roundsHere(60); ++i) {
    Household sut;
    ASSERT_TRUE(waitUnderTraffic([&] { return sut.listeners[3].calls != 0 && sut.listeners[6].calls != 0; }));
    std::shuffle(order.begin(), order.end(), random);
    calling.during = [&] {
      for (const unsigned int index : order) {
        sut.destroy(index);
      }
    };
    const iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1);
    vqfake::post(4, &message, sizeof(message));
    const unsigned int before = calling.calls;
    vqfake::deliverAll();
    ASSERT_EQ(calling.calls, before + 1);
    calling.during = nullptr;
    for (const AnyListener& listener : sut.listeners) {
      ASSERT_EQ(listener.callsWhileAway, 0U) << testing::PrintToString(order);
    }
  }
}

}  // namespace
