// The device side of a replay: an iOSAppCommonServer that says what a recording's device side said.
//
// It says nothing of its own, so that applications hear what they heard. Each application of the table has a session
// number from the beginning, so that the server can say everything at any time, and tells of each message whose it is.
//
// Threads: one, the errands'; what the channel delivers on its own thread is posted there.
// Lifetime: destroy it before the errands. One per process at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/Observer/VQObserver.h"
#include "loop/errands.h"
#include "record/story.h"

namespace record {

// What an application does, as the device side hears of it.
struct HeadUnitEvent {
  StoryStep::Kind kind = StoryStep::Kind::kRegister;  // kRegister, kLaunch, kSend
  StoryApp app;                                       // the id alone but with kRegister
  std::uint32_t launchMethod = 0;
  std::vector<std::uint8_t> bytes;
};

class DevicePlayer {
 public:
  using Sink = std::function<void(HeadUnitEvent event)>;

  // Applications that are in the table already are told first.
  DevicePlayer(loop::Errands& errands, Sink sink);
  ~DevicePlayer();
  DevicePlayer(const DevicePlayer&) = delete;
  DevicePlayer& operator=(const DevicePlayer&) = delete;

  // A step of the device side; `app` is the id that its application has here.
  void play(const StoryStep& step, std::uint32_t app);
  // Where the phone is connected, it goes.
  void disconnect();

 private:
  unsigned int onServerUpdate(unsigned int id, void* data, unsigned int size);
  unsigned int onRegistryUpdate(unsigned int id, void* data, unsigned int size);
  void post(HeadUnitEvent event);
  void numberSessions();
  void tellNewApps();
  void playConnection(const iosapp_def_::ConnectStatusNotify& status);
  void playSession(bool isOpen, std::uint32_t app);

  loop::Errands& errands_;
  const Sink sink_;
  const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
  std::size_t told_ = 0;  // applications
  iosapp_def_::ConnectInfo connection_ = {};
  iOSAppCommonServer server_;
  iOSAppCommonUtil* const registry_;
  VQObserver<DevicePlayer> serverObserver_;
  VQObserver<DevicePlayer> registryObserver_;
};

}  // namespace record
