// Fanout: one process that sends messages to several others, over one transport or another. Receivers wait asleep.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

constexpr std::size_t kMaxFanoutMessage = 512;

// Whom a message is for stands in its first byte.
constexpr unsigned char kForAll = 0xFF;

struct FanoutPlan {
  unsigned int receivers = 0;
  bool isForOne = false;  // each message is for one receiver; else for all
};

class Fanout {
 public:
  explicit Fanout(const FanoutPlan& plan) : plan_(plan) {}
  virtual ~Fanout() = default;

  // In the process that all others will be forked from. Daemons run on `processor`.
  virtual void prepare(int processor) = 0;
  // Each in its own process, at the same time. All have returned before the first message.
  virtual void openSender() = 0;
  virtual void openReceiver(unsigned int index) = 0;

  // To all, or to the one that its first byte says. Returns when the message is under way.
  virtual void send(const unsigned char* data, std::size_t size) = 0;
  // The next message's size; `buffer` has room for kMaxFanoutMessage.
  virtual std::size_t receive(void* buffer) = 0;

 protected:
  // Calls `sendTo(index)` for everybody that a message is for.
  template <class SendTo>
  void forReceivers(const unsigned char* data, SendTo sendTo) const {
    if (plan_.isForOne) {
      sendTo(data[0]);
      return;
    }
    for (unsigned int i = 0; i < plan_.receivers; ++i) {
      sendTo(i);
    }
  }

  const FanoutPlan plan_;
};

struct FanoutKind {
  const char* name;
  std::unique_ptr<Fanout> (*make)(const FanoutPlan& plan);
  unsigned int slowness;
};

// Those that were built, bare first.
const std::vector<FanoutKind>& fanoutKinds();

std::unique_ptr<Fanout> makeBareFanout(const FanoutPlan& plan);
std::unique_ptr<Fanout> makeUnixFanout(const FanoutPlan& plan);
std::unique_ptr<Fanout> makePosixMqFanout(const FanoutPlan& plan);
std::unique_ptr<Fanout> makeBoostFanout(const FanoutPlan& plan);
std::unique_ptr<Fanout> makeIceoryxFanout(const FanoutPlan& plan);
std::unique_ptr<Fanout> makeZeroMqFanout(const FanoutPlan& plan);
std::unique_ptr<Fanout> makeDBusFanout(const FanoutPlan& plan);

}  // namespace bench
