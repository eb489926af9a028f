// Between an accessory-protocol (iAP) stack and the channel: what a stack implements, and what it tells.
//
// DeviceSide joins an AccessoryStack to an iOSAppCommonServer. The simulated phone is one stack; a device that is to
// speak to real phones puts its own in the same place.
//
// Life cycle: start() once; from then on the stack tells its listener what happens and takes requests, until it is
// destroyed. The listener outlives the stack's last call.
// Threads: all of this, in both directions, happens on one thread: the one that runs the errands which DeviceSide was
// given. A stack with threads of its own posts to them (loop/errands.h).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace phone {

enum class Link { kUsb, kBluetooth };

// Generation of the accessory protocol. It decides by which number a device names an app whose session opens.
enum class Generation { kIap1, kIap2 };

using Address = std::array<std::uint8_t, 6>;  // byte 0 first

// A head-unit application, as the stack offers it to the device.
struct HeadUnitApp {
  unsigned int appId = 0;   // what an iAP2 session opening carries
  unsigned int iap1Id = 0;  // what an iAP1 session opening carries; 0 = this app has no iAP1 name
  std::string iap1Name;
  std::string name;
  std::string launchString;
};

struct LaunchRequest {
  unsigned int appId = 0;
  std::string launchString;  // empty where nobody knows the app
  unsigned int method = 0;   // 0 = the device asks its user first, 1 = it does not; other values pass
};

enum class SendOutcome { kFailure, kSuccess };

// What a stack tells. Order matters: a session opens on a connected device and is closed before the device goes.
class AccessoryListener {
 public:
  virtual ~AccessoryListener() = default;
  virtual void onConnected(Link link, Generation generation) = 0;
  // Over the link it was connected over. All its sessions have been closed before.
  virtual void onDisconnected() = 0;
  // `id`: the app id with iAP2, the iAP1 id with iAP1. `session`: the device's own number, never 0.
  virtual void onSessionOpened(unsigned int id, std::uint16_t session) = 0;
  virtual void onSessionClosed(std::uint16_t session) = 0;
  // 1 to 4096 bytes; the channel refuses others.
  virtual void onData(std::uint16_t session, const std::vector<std::uint8_t>& data) = 0;
  // How the oldest message of this session that has no outcome yet ended.
  virtual void onSendOutcome(std::uint16_t session, SendOutcome outcome) = 0;
  virtual void onHandsFree(bool isUp, const Address& address) = 0;
  // The app that plays media; empty = none.
  virtual void onPlaying(const std::string& app) = 0;
};

class AccessoryStack {
 public:
  virtual ~AccessoryStack() = default;
  virtual void start(AccessoryListener& listener) = 0;
  // All applications of the head unit, after each change. The list only grows; the same application may stand in it
  // twice.
  virtual void setApps(const std::vector<HeadUnitApp>& apps) = 0;
  // The stack answers with onSessionOpened, sooner or later or never; also for an app whose session is open already,
  // with the same number: the application asks because it does not know.
  virtual void launch(const LaunchRequest& request) = 0;
  // The stack answers each with onSendOutcome, sooner or later or never.
  virtual void send(std::uint16_t session, std::vector<std::uint8_t> data) = 0;
};

}  // namespace phone
