// The bytes of one execution, taken from the front. Behind their end everything is zero.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

namespace fuzz {

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool isEmpty() const { return size_ == 0; }

  std::uint8_t byte() {
    const std::uint8_t value = size_ == 0 ? 0 : *data_;
    skip(1);
    return value;
  }

  // 0 to `end` - 1; `end` is 256 at most.
  std::uint32_t below(std::uint32_t end) { return byte() % end; }
  bool flag() { return (byte() & 1) != 0; }

  std::uint32_t word() { return record<std::uint32_t>(); }

  // Mostly a number about which something changes, so that numbers collide; else any.
  std::uint32_t number() {
    static constexpr std::uint32_t kEdges[] = {
        0,     1,    2,    3,    4,    5,    7,   19,  20,         21,         39,        40,   41,
        255,   256,  257,  271,  272,  303,  304, 352, 353,        4095,       4096,      4097, 65535,
        65536, 8191, 8192, 8193, 5440, 5444, 9,   10,  0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const std::uint8_t choice = byte();
    return choice < std::size(kEdges) ? kEdges[choice] : choice < 224 ? choice : word();
  }

  // The bytes of the record as they come.
  template <class Record>
  Record record() {
    static_assert(std::is_trivially_copyable_v<Record>, "made of bytes");
    Record result = {};
    const std::size_t count = std::min(sizeof result, size_);
    if (count != 0) {
      std::memcpy(&result, data_, count);
    }
    skip(count);
    return result;
  }

  // Its length stands in front of it.
  std::string text(std::size_t most = 255) { return take(std::min<std::size_t>(byte(), most)); }
  std::string rest() { return take(size_); }
  std::string take(std::size_t count) {
    count = std::min(count, size_);
    std::string result(reinterpret_cast<const char*>(data_), count);
    skip(count);
    return result;
  }

 private:
  void skip(std::size_t count) {
    count = std::min(count, size_);
    data_ += count;
    size_ -= count;
  }

  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace fuzz
