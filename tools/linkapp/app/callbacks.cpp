#include "app/callbacks.h"

#include <utility>

namespace app {

Callbacks::Callbacks(loop::Errands& errands, CallbackSink sink)
    : errands_(errands),
      sink_(std::make_shared<const CallbackSink>(std::move(sink))),
      ofOperator_(
          [this](const DeviceInfo& info) { post([info](const CallbackSink& to) { to.onOperatorStatus(info); }); }),
      standAlone_(
          [this](const DeviceInfo& info) { post([info](const CallbackSink& to) { to.onStandAloneStatus(info); }); }) {}

void Callbacks::onSendResult(unsigned int failed) {
  post([failed](const CallbackSink& to) { to.onSendResult(failed != 0); });
}

void Callbacks::onReceivedMsg(const unsigned char* data, unsigned int size) {
  post([message = std::vector<std::uint8_t>(data, data + size)](const CallbackSink& to) { to.onMessage(message); });
}

void Callbacks::onHfpStatus(HfpStatus status) {
  post([status](const CallbackSink& to) { to.onHandsFree(status); });
}

void Callbacks::onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) {
  post([device = info.deviceId, name = info.appName](const CallbackSink& to) { to.onPlayback(device, name); });
}

void Callbacks::post(std::function<void(const CallbackSink& sink)> call) {
  errands_.post([weak = std::weak_ptr<const CallbackSink>(sink_), call = std::move(call)] {
    if (const std::shared_ptr<const CallbackSink> sink = weak.lock()) {
      call(*sink);
    }
  });
}

}  // namespace app
