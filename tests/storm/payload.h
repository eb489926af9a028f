// Messages that tell which one they are, and whether every byte of them is as it was written.
//
//   byte 0     4                                  32            size - 8     size
//        +-----+----------------------------------+-------------+------------+
//        | mark| Stamp: sender, incarnation, ...  | fill        | checksum   |
//        +-----+----------------------------------+-------------+------------+
//
// The fill follows from the stamp, so whoever knows the stamp knows all bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace storm {

struct Stamp {
  std::uint32_t sender = 0;
  std::uint32_t incarnation = 0;  // how often the sender had been started before
  std::uint32_t sequence = 0;     // of this incarnation's messages
  std::uint32_t size = 0;         // of the whole message in bytes
  // What it answers; all 0 where it answers nothing.
  std::uint32_t answeredSender = 0;
  std::uint32_t answeredIncarnation = 0;
  std::uint32_t answeredSequence = 0;
};

inline bool operator==(const Stamp& a, const Stamp& b) {
  return a.sender == b.sender && a.incarnation == b.incarnation && a.sequence == b.sequence && a.size == b.size &&
         a.answeredSender == b.answeredSender && a.answeredIncarnation == b.answeredIncarnation &&
         a.answeredSequence == b.answeredSequence;
}

std::string toText(const Stamp& stamp);

constexpr std::uint32_t kSmallestMessage = 40;
constexpr std::uint32_t kLargestMessage = 4096;

// Over all bytes. A change within one group of eight always shows, any other misses one time in 2^64.
std::uint64_t checksumOf(const void* data, std::size_t size);

// `stamp.size` bytes.
std::vector<std::uint8_t> messageOf(const Stamp& stamp);

// None where any byte, or the size, is not as it was written.
std::optional<Stamp> readMessage(const std::uint8_t* data, std::size_t size);

// The same for a text of at most 255 characters: its last 16 are the checksum of those before.
std::string textOf(std::uint32_t incarnation, std::uint32_t sequence);
bool isWholeText(const std::string& text);

}  // namespace storm
