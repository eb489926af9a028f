#include "tests/storm/payload.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace storm {
namespace {

constexpr std::uint32_t kMark = 0x4D524F54U;
constexpr std::size_t kHead = sizeof kMark + sizeof(Stamp);
constexpr std::size_t kSum = sizeof(std::uint64_t);
static_assert(kHead == 32 && kSmallestMessage == kHead + kSum, "as drawn in the header");
constexpr std::size_t kSumDigits = 16;

std::uint64_t mixed(std::uint64_t value) {
  value ^= value >> 31;
  value *= 0x7FB5D329728EA185U;
  value ^= value >> 27;
  value *= 0x81DADEF4BC2DD44DU;
  return value ^ value >> 33;
}

std::string digitsOf(std::uint64_t value) {
  char digits[kSumDigits + 1];
  snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
  return digits;
}

}  // namespace

std::string toText(const Stamp& stamp) {
  return std::to_string(stamp.sender) + "." + std::to_string(stamp.incarnation) + "#" + std::to_string(stamp.sequence) +
         " (" + std::to_string(stamp.size) + " bytes)";
}

std::uint64_t checksumOf(const void* data, std::size_t size) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  std::uint64_t sum = mixed(size + 1);
  for (std::size_t at = 0; at < size; at += sizeof sum) {
    std::uint64_t group = 0;
    memcpy(&group, bytes + at, std::min(sizeof group, size - at));
    sum = mixed(sum ^ group);
  }
  return sum;
}

std::vector<std::uint8_t> messageOf(const Stamp& stamp) {
  std::vector<std::uint8_t> bytes(stamp.size);
  memcpy(bytes.data(), &kMark, sizeof kMark);
  memcpy(bytes.data() + sizeof kMark, &stamp, sizeof stamp);
  const std::size_t end = stamp.size - kSum;
  std::uint64_t fill = checksumOf(&stamp, sizeof stamp);
  for (std::size_t at = kHead; at < end; at += sizeof fill) {
    fill = mixed(fill + at);
    memcpy(bytes.data() + at, &fill, std::min(sizeof fill, end - at));
  }
  const std::uint64_t sum = checksumOf(bytes.data(), end);
  memcpy(bytes.data() + end, &sum, sizeof sum);
  return bytes;
}

std::optional<Stamp> readMessage(const std::uint8_t* data, std::size_t size) {
  if (size < kSmallestMessage || size > kLargestMessage) {
    return std::nullopt;
  }
  std::uint32_t mark = 0;
  Stamp stamp;
  std::uint64_t sum = 0;
  memcpy(&mark, data, sizeof mark);
  memcpy(&stamp, data + sizeof mark, sizeof stamp);
  memcpy(&sum, data + size - kSum, sizeof sum);
  if (mark != kMark || stamp.size != size || sum != checksumOf(data, size - kSum)) {
    return std::nullopt;
  }
  return stamp;
}

std::string textOf(std::uint32_t incarnation, std::uint32_t sequence) {
  constexpr std::size_t kLongest = 255 - kSumDigits;
  std::string text = std::to_string(incarnation) + "#" + std::to_string(sequence) + " ";
  text.resize(std::min(kLongest, text.size() + static_cast<std::size_t>(mixed(sequence + 1) % kLongest)),
              static_cast<char>('a' + sequence % 26));
  return text + digitsOf(checksumOf(text.data(), text.size()));
}

bool isWholeText(const std::string& text) {
  if (text.size() < kSumDigits) {
    return false;
  }
  const std::size_t end = text.size() - kSumDigits;
  return text.substr(end) == digitsOf(checksumOf(text.data(), end));
}

}  // namespace storm
