// Everything in one process, on the shared libraries as they are delivered: server, operators, hands-free judge and
// playback relay with one delivery thread, and 10,000 random operations of the program's own thread.
//
// LINKAPP_RANDOM_SEED=N repeats one run.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/Debug/VQDbgOutput.h"
#include "tests/support/wait_until.h"

namespace {

using test_support::waitUntil;

const unsigned int kOperations = test_support::roundsUnderTool(10000);
constexpr unsigned int kLargest = 4096;
constexpr unsigned int kMostUnread = 20;

// A message says how long it is and repeats one byte: a mixture of two is seen.
std::vector<unsigned char> makeMessage(unsigned int size, unsigned char fill) {
  std::vector<unsigned char> message(size, fill);
  message[0] = static_cast<unsigned char>(size % 251);
  return message;
}

bool isWhole(const unsigned char* data, unsigned int size) {
  if (data == nullptr || size == 0 || size > kLargest || data[0] != size % 251) {
    return false;
  }
  for (unsigned int i = 2; i < size; ++i) {
    if (data[i] != data[1]) {
      return false;
    }
  }
  return true;
}

// What all listeners share: they must be called between setting and removal only, and with sound records.
class Watched {
 public:
  ~Watched() { EXPECT_EQ(calledWhileAway, 0); }

  std::atomic<bool> isSet{false};
  std::atomic<int> calls{0};
  std::atomic<int> calledWhileAway{0};

 protected:
  void note() {
    ++calls;
    calledWhileAway += isSet ? 0 : 1;
  }
};

class AppListener final : public VQSILinkAppSenderReceiverListener,
                          public VQSLinkAppDeviceStatusListener,
                          public Watched {
 public:
  void onSendResult(unsigned int failed) override {
    note();
    EXPECT_LE(failed, 1U);
  }
  void onReceivedMsg(const unsigned char* data, unsigned int size) override {
    note();
    ++messages;
    EXPECT_TRUE(isWhole(data, size));
  }
  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo info) override {
    note();
    usbStatus = info.usb.status;
    EXPECT_EQ(info.deviceType, 1);
    EXPECT_EQ(info.deviceId, 1);
    EXPECT_TRUE(info.usb.status >= 0 && info.usb.status <= 2);
  }

  std::atomic<int> messages{0};
  std::atomic<int> usbStatus{0};
};

class HfpListener final : public LinkAppHfpWrapperListener, public Watched {
 public:
  void onHfpStatus(HfpStatus status) override {
    note();
    EXPECT_EQ(status.deviceKind, 1U);
    EXPECT_EQ(status.deviceId, 1);
  }
};

class PlaybackListener final : public LinkAppiOSPlaybackInfoListener, public Watched {
 public:
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override {
    note();
    EXPECT_EQ(info.deviceId, 1U);
    EXPECT_EQ(info.appName.compare(0, 7, "Player "), 0);
    player = static_cast<unsigned int>(std::stoul(info.appName.substr(7)));
  }

  std::atomic<unsigned int> player{0};  // that was named last
};

// The device side: opens what is asked for and sends every message back.
class Device {
 public:
  Device() : server_(1), observer_(this, &Device::onServer) { server_.AddObserver(&observer_); }

  iOSAppCommonServer& server() { return server_; }

 private:
  unsigned int onServer(unsigned int id, void* data, unsigned int /*size*/) {
    if (id == 0) {
      const auto& request = *static_cast<const iOSAppLaunchRequest*>(data);
      server_.notifySessionOpen(request.appId, static_cast<unsigned short>(100 + request.appId));
    } else if (id == 1) {
      const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
      EXPECT_TRUE(isWhole(received.data, received.size));
      server_.sendDataFromDevice(received.sessionId, received.data, received.size);
      server_.notifySendResult(received.sessionId, iosapp_def_::SENDRESULT_SUCCESS);
      delete[] received.data;
    }
    return 0;
  }

  iOSAppCommonServer server_;
  VQObserver<Device> observer_;
};

// An operator with its listener; registered as app `number` if it is one of the first.
struct App {
  explicit App(unsigned int number)
      : phone("1f3a", "App " + std::to_string(number), "", "com.example." + std::to_string(number)) {}

  void listen() {
    listener.isSet = true;
    phone.setListener(&listener);
    phone.setStatusListener(&listener);
  }
  void leave() {
    phone.removeStatusListener(&listener);
    phone.removeListener(&listener);
    listener.isSet = false;
  }

  AppListener listener;  // outlives the operator
  VQSLinkAppOperator phone;
};

void swallow(const VQDbgRecord& /*record*/, void* /*context*/) {}

// One process with everything in it, and what a program may do to it.
class World {
 public:
  explicit World(unsigned long seed) : random_(seed) {
    for (unsigned int number = 1; number <= 3; ++number) {
      apps_.push_back(std::make_unique<App>(number));
    }
    hfp_ = std::make_unique<LinkAppHfpWrapper>();
    playback_ = std::make_unique<LinkAppiOSPlaybackInfo>();
  }

  void operate() {
    App& app = *apps_[pick(apps_.size())];
    switch (pick(16)) {
      case 0:
        connect(pick(3) == 0 ? 0 : 1);
        break;
      case 1:
        handsFree(pick(2));
        break;
      case 2:
        device_.server().notifyPlaybakAppInfo("Player " + std::to_string(++lastPlayer_));
        break;
      case 3:
        device_.server().notifySessionClose(static_cast<unsigned short>(101 + pick(3)));
        break;
      case 4:
        app.listen();
        break;
      case 5:
        app.leave();
        break;
      case 6:
        app.phone.requestiOSLaunch(1, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT);
        break;
      case 7:
        EXPECT_FALSE(app.phone.requestSppConnect(3));  // there is no Bluetooth here
        break;
      case 8:
        pick(20) == 0 ? renewHfp() : listenToHfp();
        break;
      case 9:
        pick(20) == 0 ? renewPlayback() : listenToPlayback();
        break;
      case 10:
        leaveHfpAndPlayback();
        break;
      case 11:
        if (pick(20) == 0) {
          drain();
          apps_.resize(3);
          apps_.push_back(std::make_unique<App>(4));  // in the end without a place in the table
        }
        break;
      default:
        send(app);
        break;
    }
  }

  // Whatever went before: the channel works.
  void expectToWork() {
    drain();
    apps_.resize(3);
    for (const std::unique_ptr<App>& app : apps_) {
      app->leave();
    }
    settle();
    settle();  // what the first round's handlers had posted
    App& app = *apps_[0];
    app.listen();
    connect(0);
    connect(1);
    settle();
    ASSERT_EQ(app.listener.usbStatus, 1);
    ASSERT_TRUE(app.phone.requestiOSLaunch(1, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT));
    ASSERT_TRUE(waitUntil([&app] { return app.listener.usbStatus == 2; }));
    const int before = app.listener.messages;
    ASSERT_TRUE(app.phone.requestMsgSend(makeMessage(kLargest, 9).data(), kLargest));
    EXPECT_TRUE(waitUntil([&app, before] { return app.listener.messages > before; }));
  }

  int calls() const {
    int sum = hfpListener_.calls + playbackListener_.calls;
    for (const std::unique_ptr<App>& app : apps_) {
      sum += app->listener.calls;
    }
    return sum;
  }

 private:
  // Nothing is on its way any more, answers included. The rings have no flow control: a message that lies there while
  // forty others are written, or while an endpoint is made, may come out as a mixture.
  void drain() {
    settle();
    settle();
    unread_ = 0;
  }

  // Returns when everything that was posted so far is delivered: there is one order for all messages.
  void settle() {
    listenToPlayback();
    const unsigned int number = ++lastPlayer_;
    device_.server().notifyPlaybakAppInfo("Player " + std::to_string(number));
    EXPECT_TRUE(waitUntil([this, number] { return playbackListener_.player == number; }));
  }

  std::size_t pick(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }

  void connect(std::uint32_t connectStatus) {
    iosapp_def_::ConnectInfo info;
    info.connectStatus = connectStatus;
    info.connectType = 2;
    info.iapType = 1;
    device_.server().notifyConnectionState(info);
  }

  void handsFree(std::size_t isUp) {
    iOSAppExtBluetoothConnectionStatus status;
    status.flags = static_cast<std::uint32_t>(isUp);
    device_.server().notifyBluetoothConnectionStatus(&status);
  }

  void send(App& app) {
    if (++unread_ == kMostUnread) {
      drain();
    }
    const unsigned int size = 1 + static_cast<unsigned int>(pick(kLargest));
    app.phone.requestMsgSend(makeMessage(size, static_cast<unsigned char>(pick(256))).data(), size);
  }

  void listenToHfp() {
    hfpListener_.isSet = true;
    hfp_->setListener(&hfpListener_);
  }
  void listenToPlayback() {
    playbackListener_.isSet = true;
    playback_->setListener(&playbackListener_);
  }
  void leaveHfpAndPlayback() {
    hfp_->removeListener(&hfpListener_);
    hfpListener_.isSet = false;
    playback_->removeListener(&playbackListener_);
    playbackListener_.isSet = false;
  }

  // Also while a notice is on its way: the destructor waits for it.
  void renewHfp() {
    drain();
    handsFree(1);
    hfp_.reset();
    hfpListener_.isSet = false;
    hfp_ = std::make_unique<LinkAppHfpWrapper>();
  }
  void renewPlayback() {
    drain();
    handsFree(1);
    playback_.reset();
    playbackListener_.isSet = false;
    playback_ = std::make_unique<LinkAppiOSPlaybackInfo>();
  }

  std::mt19937_64 random_;
  unsigned int lastPlayer_ = 0;
  unsigned int unread_ = 0;  // messages since nothing was on its way
  HfpListener hfpListener_;
  PlaybackListener playbackListener_;
  Device device_;
  std::vector<std::unique_ptr<App>> apps_;
  std::unique_ptr<LinkAppHfpWrapper> hfp_;
  std::unique_ptr<LinkAppiOSPlaybackInfo> playback_;
};

TEST(OneProcess, WithEverythingInItSurvivesTenThousandRandomOperations) {
  const char* const given = getenv("LINKAPP_RANDOM_SEED");
  const unsigned long seed = given != nullptr ? strtoul(given, nullptr, 10) : std::random_device()();
  SCOPED_TRACE("LINKAPP_RANDOM_SEED=" + std::to_string(seed));
  VQDbgOutput::SetSink(&swallow, nullptr);  // refusals are part of it, thousands of them
  {
    World sut(seed);
    for (unsigned int i = 0; i < kOperations; ++i) {
      sut.operate();
    }
    EXPECT_GT(sut.calls(), 0);
    sut.expectToWork();
  }
  VQDbgOutput::SetSink(nullptr, nullptr);
}

}  // namespace
