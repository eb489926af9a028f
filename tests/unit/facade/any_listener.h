// A listener of every class of the facade, and what tests with several threads hold their objects and threads in.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/LinkAppiOSWrapper.h"
#include "LinkAppCommon/VQSILinkAppSenderReceiver.h"
#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "tests/conformance/worker.h"

// Counts its calls, and those that come while it must not be called. Any thread may call it.
class AnyListener : public LinkAppiOSWrapperListener,
                    public VQSILinkAppSenderReceiverListener,
                    public VQSLinkAppDeviceStatusListener,
                    public LinkAppHfpWrapperListener,
                    public LinkAppiOSPlaybackInfoListener {
 public:
  void oniOSClientDeviceInfo(void* /*info*/) override { onCall(); }
  void oniOSClientSendResult(void* /*result*/) override { onCall(); }
  void oniOSClientReceivedMsg(void* /*msg*/) override { onCall(); }
  void onSendResult(unsigned int /*failed*/) override { onCall(); }
  void onReceivedMsg(const unsigned char* /*data*/, unsigned int /*size*/) override { onCall(); }
  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo info) override {
    if (deviceType == kAnyDevice || deviceType == info.deviceType) {
      onCall();
    }
  }
  void onHfpStatus(HfpStatus /*status*/) override { onCall(); }
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo /*info*/) override { onCall(); }

  static constexpr std::int32_t kAnyDevice = -1;
  std::int32_t deviceType = kAnyDevice;  // of the devices whose status counts as a call
  std::function<void()> during;          // to be set while nobody calls
  std::atomic<unsigned int> calls{0};
  std::atomic<unsigned int> callsWhileAway{0};

  // To be said before it is set, and when its removal has returned.
  void come() { isAway_ = false; }
  void leave() {
    leftOn_ = std::this_thread::get_id();
    isAway_ = true;
  }

 private:
  void onCall() {
    callsWhileAway += isAway_ ? 1U : 0U;
    ++calls;
    if (during) {
      during();
    }
    // It may have been removed within this very call.
    callsWhileAway += isAway_ && leftOn_ != std::this_thread::get_id() ? 1U : 0U;
  }

  std::atomic<bool> isAway_{false};
  std::thread::id leftOn_;
};

// Owns an object. Unlike with std::unique_ptr, callbacks on other threads may still use it while it is being destroyed.
template <class T>
class Held {
 public:
  explicit Held(T* object) : object_(object) {}
  ~Held() { destroy(); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

  void destroy() {
    if (!isDestroyed_) {
      isDestroyed_ = true;
      delete object_;
    }
  }
  T* operator->() const { return object_; }
  T* get() const { return object_; }

 private:
  T* const object_;
  bool isDestroyed_ = false;
};

// A thread that does the same again and again until the end of the scope.
class Pump {
 public:
  explicit Pump(std::function<void()> step)
      : worker_([this, step = std::move(step)] {
          while (!isOver_) {
            step();
          }
        }) {}
  ~Pump() { isOver_ = true; }
  Pump(const Pump&) = delete;
  Pump& operator=(const Pump&) = delete;

 private:
  std::atomic<bool> isOver_{false};
  const conformance::Worker worker_;
};
