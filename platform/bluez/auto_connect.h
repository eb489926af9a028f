// Which links are to be opened whenever their device is there, and when each is tried next.
//
// BlueZ's own AutoConnect belongs to a profile, not to a device, and does nothing when the phone opens the connection.
// So the policy is here: a try at the start and whenever something tells that the device may be there, and after each
// failure or loss with growing pauses.
// Threads: one at a time. Nothing here asks for the time.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "platform/bluez/back_off.h"
#include "platform/bluez/link_key.h"

namespace vqbluez {

class AutoConnect {
 public:
  // False, and nothing changes, where the link is wanted already: who asks again does not hurry the next try.
  bool start(const LinkKey& link, Time now);
  bool stop(const LinkKey& link);
  bool isWanted(const LinkKey& link) const { return wanted_.count(link) != 0; }
  void clear() { wanted_.clear(); }

  // Something tells that the device, or any, may be there now. A try comes at once, but never sooner than a second
  // after one that failed: a failure itself makes such signs.
  void wake(std::uint8_t device, Time now);
  void wakeAll(Time now);

  void linkUp(const LinkKey& link);
  void linkLost(const LinkKey& link, Time now);
  void failed(const LinkKey& link, Time now);

  // The links whose time has come. Each is being tried from then on, until one of the three above is told of it.
  std::vector<LinkKey> takeDue(Time now);
  std::optional<Time> nextDue() const;

 private:
  struct Wanted {
    BackOff pause;
    std::optional<Time> due;  // none: it is being tried, or up
    Time notBefore{};
  };

  static void hurry(Wanted& wanted, Time now);

  std::map<LinkKey, Wanted> wanted_;
};

}  // namespace vqbluez
