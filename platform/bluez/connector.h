// Opens links: one ConnectProfile at a time for each device, never waited for.
//
// BlueZ hands over the link by NewConnection before it answers, so success is what linkUp() tells; an answer without a
// link, and an answer that the device is busy, get another try after a pause.
// Threads: one at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/bluez/back_off.h"
#include "platform/bluez/bus.h"
#include "platform/bluez/link_key.h"

namespace vqbluez {

class Connector {
 public:
  // Called when a link did not come up, with what BlueZ says about it.
  using Failure = std::function<void(const LinkKey& link, const std::string& why)>;

  explicit Connector(Failure failure) : failure_(std::move(failure)) {}

  void start(Bus& bus) { bus_ = &bus; }
  void stop() { bus_ = nullptr; }

  // Nothing is added for a link that is on its way already.
  void request(const LinkKey& link, const std::string& device);
  bool isPending(const LinkKey& link) const;

  // Nobody wants the link any more; no failure is told. True when it was on its way. BlueZ may bring it all the same:
  // isCancelled() is true until it has answered.
  bool cancel(const LinkKey& link);
  bool isCancelled(const LinkKey& link) const;
  void cancelAll();

  void linkUp(const LinkKey& link);

  // BlueZ is gone.
  void failAll(const std::string& why);

  void tick(Time now);
  std::optional<Time> nextDue() const;

 private:
  enum class State { kQueued, kCalling, kResting };

  struct Try {
    std::string device;
    State state = State::kQueued;
    unsigned int serial = 0;  // of the call that is under way
    unsigned int rests = 0;
    Time restsUntil{};
    bool isUp = false;
    bool isCancelled = false;
    bool isWantedAgain = false;  // asked for after it was cancelled, or up and down again

    bool isPending() const { return (!isUp && !isCancelled) || isWantedAgain; }
  };

  void beginNext(const std::string& device);
  void call(const LinkKey& link, Try& attempt);
  void onAnswer(const LinkKey& link, unsigned int serial, const Reply& reply);
  void fail(const LinkKey& link, const std::string& why);

  const Failure failure_;
  Bus* bus_ = nullptr;
  std::map<LinkKey, Try> tries_;
  unsigned int serial_ = 0;
};

}  // namespace vqbluez
