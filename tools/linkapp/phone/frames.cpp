#include "phone/frames.h"

namespace phone {
namespace {

constexpr std::size_t kHeader = 4;

std::uint32_t lengthAt(const std::string& bytes, std::size_t at) {
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < kHeader; ++i) {
    length = length << 8 | static_cast<std::uint8_t>(bytes[at + i]);
  }
  return length;
}

}  // namespace

std::string frame(const Bytes& message) {
  std::string framed;
  framed.reserve(kHeader + message.size());
  for (std::size_t i = 0; i < kHeader; ++i) {
    framed += static_cast<char>(message.size() >> (8 * (kHeader - 1 - i)));
  }
  framed.append(message.begin(), message.end());
  return framed;
}

bool FrameReader::add(const char* data, std::size_t size) {
  if (isBroken_) {
    return false;
  }
  partial_.append(data, size);
  std::size_t at = 0;
  while (partial_.size() - at >= kHeader) {
    const std::uint32_t length = lengthAt(partial_, at);
    if (length == 0 || length > kLongestMessage) {
      isBroken_ = true;
      badLength_ = length;
      return false;
    }
    if (partial_.size() - at < kHeader + length) {
      break;
    }
    const auto begin = partial_.begin() + static_cast<std::ptrdiff_t>(at + kHeader);
    messages_.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(length));
    at += kHeader + length;
  }
  partial_.erase(0, at);
  return true;
}

}  // namespace phone
