// Little-endian bytes, written and read with bounds.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace record {

class ByteWriter {
 public:
  template <class Number>
  ByteWriter& number(Number number) {
    static_assert(std::is_unsigned_v<Number>, "widths are those of the format");
    for (std::size_t i = 0; i < sizeof number; ++i) {
      bytes_.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(number) >> (8 * i)));
    }
    return *this;
  }
  ByteWriter& raw(const void* bytes, std::size_t size) {
    const auto* const begin = static_cast<const std::uint8_t*>(bytes);
    bytes_.insert(bytes_.end(), begin, begin + size);
    return *this;
  }
  // Length in two bytes, then the text; cut after `most` bytes.
  ByteWriter& text(const std::string& text, std::size_t most) {
    const std::size_t size = std::min(text.size(), most);
    number(static_cast<std::uint16_t>(size));
    return raw(text.data(), size);
  }

  std::vector<std::uint8_t>& bytes() { return bytes_; }
  const std::uint8_t* data() const { return bytes_.data(); }
  std::size_t size() const { return bytes_.size(); }

 private:
  std::vector<std::uint8_t> bytes_;
};

// After the first read beyond the end everything reads as zero, and isGood() is false.
class ByteReader {
 public:
  ByteReader(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

  template <class Number>
  Number number() {
    static_assert(std::is_unsigned_v<Number>, "widths are those of the format");
    std::uint64_t value = 0;
    if (take(sizeof(Number))) {
      for (std::size_t i = 0; i < sizeof(Number); ++i) {
        value |= static_cast<std::uint64_t>(bytes_[at_ - sizeof(Number) + i]) << (8 * i);
      }
    }
    return static_cast<Number>(value);
  }
  std::vector<std::uint8_t> raw(std::size_t size) {
    return take(size) ? std::vector<std::uint8_t>(bytes_ + at_ - size, bytes_ + at_) : std::vector<std::uint8_t>();
  }
  std::string text() {
    const std::vector<std::uint8_t> bytes = raw(number<std::uint16_t>());
    return {bytes.begin(), bytes.end()};
  }

  bool isGood() const { return isGood_; }
  bool isAtEnd() const { return at_ == size_; }

 private:
  bool take(std::size_t size) {
    isGood_ = isGood_ && size <= size_ - at_;
    at_ += isGood_ ? size : 0;
    return isGood_;
  }

  const std::uint8_t* const bytes_;
  const std::size_t size_;
  std::size_t at_ = 0;
  bool isGood_ = true;
};

}  // namespace record
