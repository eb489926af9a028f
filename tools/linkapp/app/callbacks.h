// The listeners of one application: they copy what the library calls them with and hand it to the loop.
//
// Threads: the library calls on its delivery thread and on Bluetooth's; what is given on comes on the loop's.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSILinkAppSenderReceiver.h"
#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "loop/errands.h"

namespace app {

using DeviceInfo = LinkAppCommon::ConnectionInfo::DeviceInfo;
using HfpStatus = LinkAppHfpWrapperListener::HfpStatus;

struct CallbackSink {
  std::function<void(const DeviceInfo& device)> onOperatorStatus;
  std::function<void(const DeviceInfo& device)> onStandAloneStatus;
  std::function<void(bool isFailed)> onSendResult;
  std::function<void(const std::vector<std::uint8_t>& message)> onMessage;
  std::function<void(const HfpStatus& status)> onHandsFree;
  std::function<void(unsigned int device, const std::string& name)> onPlayback;
};

class Callbacks final : public VQSILinkAppSenderReceiverListener,
                        public LinkAppHfpWrapperListener,
                        public LinkAppiOSPlaybackInfoListener {
 public:
  // `errands` outlives it; the sink is not called any more once this is destroyed.
  Callbacks(loop::Errands& errands, CallbackSink sink);

  VQSLinkAppDeviceStatusListener* ofOperator() { return &ofOperator_; }
  VQSLinkAppDeviceStatusListener* standAlone() { return &standAlone_; }

  void onSendResult(unsigned int failed) override;
  void onReceivedMsg(const unsigned char* data, unsigned int size) override;
  void onHfpStatus(HfpStatus status) override;
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override;

 private:
  class StatusListener final : public VQSLinkAppDeviceStatusListener {
   public:
    explicit StatusListener(std::function<void(const DeviceInfo&)> give) : give_(std::move(give)) {}
    void onDeviceStatus(DeviceInfo info) override { give_(info); }

   private:
    const std::function<void(const DeviceInfo&)> give_;
  };

  void post(std::function<void(const CallbackSink& sink)> call);

  loop::Errands& errands_;
  // Tasks that were posted and not run yet find out by this whether anybody wants them still.
  const std::shared_ptr<const CallbackSink> sink_;
  StatusListener ofOperator_;
  StatusListener standAlone_;
};

}  // namespace app
