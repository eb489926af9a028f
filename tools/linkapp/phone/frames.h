// Messages on the standard input and output of a program behind an app: each is preceded by its length as four bytes,
// big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "phone/app.h"

namespace phone {

constexpr std::size_t kLongestMessage = 4096;  // what a slot of the channel holds

std::string frame(const Bytes& message);

// Puts frames together from a stream of bytes.
class FrameReader {
 public:
  // False, for good, where a length is 0 or more than the longest message.
  bool add(const char* data, std::size_t size);

  // Whole messages, oldest first.
  std::deque<Bytes>& messages() { return messages_; }
  // Bytes of a frame that has not come to its end.
  std::size_t leftOver() const { return partial_.size(); }
  std::uint32_t badLength() const { return badLength_; }

 private:
  std::string partial_;
  std::deque<Bytes> messages_;
  bool isBroken_ = false;
  std::uint32_t badLength_ = 0;
};

}  // namespace phone
