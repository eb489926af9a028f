#include "platform/bluez/send_queue.h"

#include <errno.h>

namespace vqbluez {

bool SendQueue::push(const unsigned char* data, std::size_t size) {
  if (size > limit_ - waiting_) {
    return false;
  }
  messages_.emplace_back(data, data + size);
  waiting_ += size;
  return true;
}

SendQueue::Progress SendQueue::writeTo(const Writer& write) {
  Progress progress;
  while (!messages_.empty()) {
    const std::vector<unsigned char>& first = messages_.front();
    const ssize_t count = write(first.data() + offset_, first.size() - offset_);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      progress.error = errno == EAGAIN || errno == EWOULDBLOCK ? 0 : errno;
      return progress;
    }
    offset_ += static_cast<std::size_t>(count);
    waiting_ -= static_cast<std::size_t>(count);
    if (offset_ == first.size()) {
      messages_.pop_front();
      offset_ = 0;
      ++progress.sent;
    }
  }
  return progress;
}

unsigned int SendQueue::drop() {
  const auto count = static_cast<unsigned int>(messages_.size());
  messages_.clear();
  offset_ = 0;
  waiting_ = 0;
  return count;
}

}  // namespace vqbluez
