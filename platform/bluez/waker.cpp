#include "platform/bluez/waker.h"

#include <sys/eventfd.h>

namespace vqbluez {

Waker::Waker() : event_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

void Waker::wake() const {
  eventfd_write(event_.get(), 1);
}

void Waker::clear() const {
  eventfd_t count = 0;
  eventfd_read(event_.get(), &count);
}

}  // namespace vqbluez
