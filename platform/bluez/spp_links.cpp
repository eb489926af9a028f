#include "platform/bluez/spp_links.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace vqbluez {

pollfd SppLink::watched() const {
  const int writing = queue.isEmpty() ? 0 : POLLOUT;
  return {isTold ? socket.get() : -1, static_cast<short>(POLLIN | writing), 0};
}

SppLink& SppLinks::open(const LinkKey& key, const std::string& device, platform::Descriptor socket) {
  links_.push_back(std::unique_ptr<SppLink>(new SppLink{++opened_, key, device, std::move(socket)}));
  return *links_.back();
}

SppLink* SppLinks::find(const LinkKey& key) {
  const auto found = std::find_if(links_.begin(), links_.end(), [&](const auto& link) { return link->key == key; });
  return found == links_.end() ? nullptr : found->get();
}

SppLink* SppLinks::find(std::uint64_t id) {
  const auto found = std::find_if(links_.begin(), links_.end(), [id](const auto& link) { return link->id == id; });
  return found == links_.end() ? nullptr : found->get();
}

std::unique_ptr<SppLink> SppLinks::close(const LinkKey& key) {
  const auto found = std::find_if(links_.begin(), links_.end(), [&](const auto& link) { return link->key == key; });
  if (found == links_.end()) {
    return nullptr;
  }
  std::unique_ptr<SppLink> link = std::move(*found);
  links_.erase(found);
  shutdown(link->socket.get(), SHUT_RDWR);
  link->socket = platform::Descriptor();
  return link;
}

}  // namespace vqbluez
