// What the notifications of the channel have said so far: link, sessions, hands-free, playback, and each app's traffic.
//
// Fed with messages in their order it holds what an application knows that has heard all of them. It is as complete as
// the messages: what was said before the first one is not known, and counts begin with it.
// Senders are taken at their word: any process that may write the log can say anything.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "inspect/message.h"

namespace inspect {

// When, and by whom, something was said.
struct Said {
  std::uint64_t sequence = 0;
  std::uint64_t time = 0;  // monotonic nanoseconds
  std::uint32_t pid = 0;
};

struct AppTraffic {
  std::optional<Said> registered;  // the announcement of its place in the table
  std::uint64_t launches = 0;      // requests
  std::optional<Said> lastLaunch;
  std::uint32_t launchMethod = 0;  // of the last one
  bool isSessionOpen = false;
  std::optional<Said> session;   // opened or closed last
  std::uint64_t sent = 0;        // ring messages from the app
  std::uint64_t received = 0;    // ring messages for the app
  std::uint64_t results = 0;     // send results, of which
  std::uint64_t failures = 0;    // other than SENDRESULT_SUCCESS
  std::uint64_t open = 0;        // sent, and no result yet
  std::uint64_t unanswered = 0;  // sent, and no result before the session or the link ended
  std::optional<Said> lastSent;
  std::optional<Said> lastReceived;
  std::optional<Said> lastResult;

  // The app's own process: who announced, asked for a launch or sent, whatever was last. None where it did none of it.
  std::optional<Said> owner;
};

class ChannelState {
 public:
  struct Link {
    Said said;
    std::uint32_t device = 0;
    std::uint32_t connectStatus = 0;
    std::uint32_t connectType = 0;
    std::uint32_t iapType = 0;

    // As the client's list takes it: exactly 1.
    bool isConnected() const { return connectStatus == 1; }
    bool isBluetooth() const { return connectType == 1; }
  };
  struct HandsFree {
    Said said;
    std::uint32_t btConnected = 0;
    std::string btAddress;
  };
  struct Playback {
    Said said;
    std::string appName;
  };
  // What one process has sent.
  struct Sender {
    Said last;
    std::uint64_t messages = 0;
  };

  void add(const Message& message);

  std::optional<Link> link;
  std::optional<HandsFree> handsFree;
  std::optional<Playback> playback;
  std::optional<Said> deviceSide;            // who spoke last as the device side
  std::map<std::uint32_t, AppTraffic> apps;  // by app id; ids that no table has are not kept
  std::map<std::uint32_t, Sender> senders;   // by pid; 256 of them at most
  std::uint64_t messages = 0;                // for nobody ones excepted
  std::uint64_t strange = 0;                 // connection-status messages of no known kind, for no app of a table, ...
  std::array<std::uint64_t, 2> ringMessages = {};             // from HU, from device
  std::array<std::optional<std::uint32_t>, 2> lastSlot = {};  // announced in each ring

 private:
  void addStatus(const iosapp_def_::ConnectStatusNotify& status, const Said& said);
  void addAnnouncement(const iOSAppCommonDataNotify& announcement, const Said& said, bool isFromHU);
  void addConnectStatus(const iosapp_def_::ConnectStatusNotify& status, const Said& said);
  void addSession(const iosapp_def_::ConnectStatusNotify& status, const Said& said);
  void addResult(const iosapp_def_::ConnectStatusNotify& status, const Said& said);
  // Null for an id that no table has.
  AppTraffic* app(std::uint32_t appId);
};

}  // namespace inspect
