// The links that are open: their sockets, and what waits to be sent.
//
// A socket that BlueZ hands over is non-blocking already, for BlueZ's own copy of it too; nobody may change that.
// Threads: one at a time. Users of poll find a link again by `id`: a socket's number may be another one's by then.
#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/bluez/link_key.h"
#include "platform/bluez/send_queue.h"
#include "platform/descriptor.h"

namespace vqbluez {

struct SppLink {
  static constexpr std::size_t kQueueLimit = std::size_t{256} * 1024;

  std::uint64_t id;
  LinkKey key;
  std::string device;  // D-Bus path
  platform::Descriptor socket;
  bool isTold = false;  // observers know that it is up
  SendQueue queue{kQueueLimit};

  // What poll is to look at: nothing before observers know the link, since poll tells of an end unasked.
  pollfd watched() const;
};

class SppLinks {
 public:
  SppLink& open(const LinkKey& key, const std::string& device, platform::Descriptor socket);

  SppLink* find(const LinkKey& key);
  SppLink* find(std::uint64_t id);
  const std::vector<std::unique_ptr<SppLink>>& all() const { return links_; }

  // Ends the link for both sides: closing alone would not, since BlueZ has a copy of the socket. The caller gets the
  // link itself, closed.
  std::unique_ptr<SppLink> close(const LinkKey& key);

 private:
  std::vector<std::unique_ptr<SppLink>> links_;
  std::uint64_t opened_ = 0;
};

}  // namespace vqbluez
