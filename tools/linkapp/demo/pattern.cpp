#include "demo/pattern.h"

namespace demo {
namespace {

constexpr std::uint32_t kLongest = 4096;

// A small generator (xorshift); nothing depends on its quality.
std::uint32_t next(std::uint32_t& state) {
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

std::uint32_t seedOf(const std::string& app, unsigned int number) {
  std::uint32_t seed = 2166136261U ^ number;
  for (const char c : app) {
    seed = (seed ^ static_cast<std::uint8_t>(c)) * 16777619U;
  }
  return seed | 1U;  // never zero
}

}  // namespace

std::vector<std::uint8_t> makeMessage(const std::string& app, unsigned int number) {
  std::uint32_t state = seedOf(app, number);
  std::uint32_t size = next(state) % kLongest + 1;
  if (number == 0) {
    size = 1;
  } else if (number == 1) {
    size = kLongest;
  }
  std::vector<std::uint8_t> bytes(size);
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(next(state));
  }
  return bytes;
}

}  // namespace demo
