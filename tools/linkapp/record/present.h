// What holds at a moment of a recording: processes, apps, receivers, and the last words about link, sessions,
// hands-free and playing app. Each chunk of a file begins with it, so that it can be read without those before it.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "record/entry.h"

namespace record {

class Present {
 public:
  void add(const Entry& entry);

  // The entries that say it, the clock excepted: processes first, of these the living; messages as `isBefore`, in their
  // order.
  std::vector<Entry> entries() const;

  const std::map<std::uint32_t, ProcessSeen>& processes() const { return processes_; }
  const std::map<std::uint32_t, AppSeen>& apps() const { return apps_; }  // by place
  const std::map<std::uint32_t, ReceiverSeen>& receivers() const { return receivers_; }

 private:
  using Topic = std::pair<std::uint32_t, std::uint32_t>;  // kind of message, and app where it is about one

  void addMessage(const MessageSeen& seen);
  void forgetApp(std::uint32_t appId);
  void forgetOldest();

  std::map<std::uint32_t, ProcessSeen> processes_;  // by pid
  std::map<std::uint32_t, AppSeen> apps_;
  std::map<std::uint32_t, ReceiverSeen> receivers_;  // by pid
  std::map<Topic, MessageSeen> said_;
};

}  // namespace record
