// The messages of one link that the kernel has not taken yet.
//
// Threads: one at a time.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <vector>

namespace vqbluez {

class SendQueue {
 public:
  // As write(2): bytes taken, or -1 with errno.
  using Writer = std::function<ssize_t(const unsigned char* data, std::size_t size)>;

  struct Progress {
    unsigned int sent = 0;  // messages that the kernel has whole now
    int error = 0;          // errno of a link that is broken
  };

  explicit SendQueue(std::size_t limit) : limit_(limit) {}

  // Appends a copy. False, and nothing changes, where more bytes than the limit would wait.
  bool push(const unsigned char* data, std::size_t size);

  // Hands over as much as `write` takes; what is left of a message waits for the next call.
  Progress writeTo(const Writer& write);

  // Forgets everything. The number of messages that were not handed over whole.
  unsigned int drop();

  bool isEmpty() const { return messages_.empty(); }
  std::size_t waiting() const { return waiting_; }

 private:
  const std::size_t limit_;
  std::deque<std::vector<unsigned char>> messages_;
  std::size_t offset_ = 0;   // bytes of the first message that are gone already
  std::size_t waiting_ = 0;  // bytes
};

}  // namespace vqbluez
