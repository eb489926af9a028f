// A head-unit application made of the library's public classes; tells every callback as an event.
//
// Operations return an empty text, or why they cannot be done. What the library itself refuses is no mistake: that
// shows in `isAccepted`. Threads: the errands' alone. Lifetime: destroy it before the errands.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "app/callbacks.h"
#include "app/sender.h"
#include "app/setup.h"
#include "app/source.h"
#include "app/tally.h"
#include "loop/errands.h"
#include "talk/event.h"

namespace app {

class Application {
 public:
  // Everything that opens the channel is made here: objects that are made later set the rings back.
  Application(loop::Errands& errands, const Setup& setup, talk::EventSink sink);
  ~Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  // The app id; 0 = it has no place in the registration table, and can neither launch nor send.
  std::uint32_t appId() const { return appId_; }
  bool isForIos() const { return !setup_.name.empty() && operator_ != nullptr; }
  const Tally& tally() const { return tally_; }
  // Called after every callback.
  void onChange(std::function<void()> call) { onChange_ = std::move(call); }

  // Sets and removes listeners, late or anew. A part that is not there yet is made.
  std::string listen(Part part);
  std::string unlisten(Part part);

  std::string launch(unsigned char device, bool isAsking, bool& isAccepted);
  std::string send(const Bytes& message, bool& isAccepted);
  // In place of what it was sending. The end is told by the event "sending-ended".
  std::string startSending(std::unique_ptr<Source> source, const Pace& pace);
  void stopSending();
  bool isSending() const { return sender_ != nullptr; }
  // It sends, and waits for nobody but its source.
  bool isIdle() const { return sender_ != nullptr && sender_->isIdle(); }
  bool isRefused() const { return sender_ != nullptr && sender_->isRefused(); }
  bool isOpen() const { return isOpen_; }
  bool hasPhone() const { return iosDevice_.usb.status + iosDevice_.btSpp.status + sppDevice_.btSpp.status != 0; }
  void setEcho(bool isOn) { isEchoing_ = isOn; }

  enum class SppRequest { kStandby, kConnect, kDisconnect, kAutoStart, kAutoStop };
  std::string requestSpp(SppRequest request, unsigned char device, bool& isAccepted);

  text::Fields state() const;
  text::List deviceList() const;
  // The number of the phone that was told last: of those that are there, where one is. None where none was told.
  std::optional<unsigned char> lastDevice(bool isIos) const;

 private:
  struct Told {
    DeviceInfo device;
    std::uint64_t call = 0;  // of statusCalls_
  };

  CallbackSink callbackSink();
  void make(Part part);
  void takeStatus(const DeviceInfo& device, const char* from);
  void takeIosStatus(const DeviceInfo& device);
  void takeSppStatus(const DeviceInfo& device);
  void takeMessage(const Bytes& message);
  void launchWithoutStatus();
  void setOpen(bool isOpen);
  bool sendNow(const Bytes& message);
  bool isListening(Part part) const { return listening_.at(part); }
  void tell(talk::Event event);

  loop::Errands& errands_;
  const Setup setup_;
  const talk::EventSink sink_;
  std::function<void()> onChange_ = [] {};
  std::uint32_t appId_ = 0;
  Tally tally_;
  bool isEchoing_ = false;
  bool isOpen_ = false;         // the link that messages take, as far as the callbacks told
  std::uint64_t launches_ = 0;  // asked for
  std::uint64_t statusCalls_ = 0;
  std::uint64_t handsFreeCalls_ = 0;
  std::uint64_t playbackCalls_ = 0;
  DeviceInfo iosDevice_;  // as it was told last
  DeviceInfo sppDevice_;
  bool isLaunched_ = false;                                          // since the device was connected
  std::map<std::pair<bool, unsigned int>, Told> devices_;            // by "is iOS" and number
  std::map<std::pair<unsigned int, unsigned int>, bool> handsFree_;  // by kind and number
  std::string playing_;
  std::vector<loop::TimerId> lateLaunches_;
  std::map<Part, bool> listening_;

  Callbacks callbacks_;  // outlives what calls it
  std::unique_ptr<VQSLinkAppOperator> operator_;
  std::unique_ptr<VQSLinkAppDeviceStatus> deviceStatus_;
  std::unique_ptr<LinkAppiOSWrapper> wrapper_;  // of the device status, and goes before it
  std::unique_ptr<LinkAppHfpWrapper> handsFreeWrapper_;
  std::unique_ptr<LinkAppiOSPlaybackInfo> playback_;
  std::unique_ptr<Sender> sender_;
};

}  // namespace app
