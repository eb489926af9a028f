// Writes a recording of bounded size: when it is full the oldest chunk goes.
//
// Everything that was given before the last flush() survives the death of this process, since the kernel has it then.
// Nothing is forced to the disk: a power failure may cost the last seconds.
// Threads: one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "record/entry.h"
#include "record/present.h"

namespace record {

class Writer {
 public:
  static constexpr std::uint64_t kLeastLimit = std::uint64_t{4} * 128 * 1024;

  // Makes the file anew; it never becomes larger than `limit` bytes. Throws std::system_error.
  Writer(const std::string& path, std::uint64_t limit);
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Both throw std::system_error where the file cannot be written.
  void add(const Entry& entry);
  void flush();

  // What was added, as it holds now.
  const Present& present() const { return present_; }
  std::uint64_t entries() const { return ordinal_; }
  std::uint64_t chunks() const { return serial_; }

 private:
  void beginChunk();
  void append(EntryType type, const std::vector<std::uint8_t>& body, std::uint16_t flags);
  bool fits(std::size_t bytes) const;
  void write(const std::uint8_t* bytes, std::size_t size, std::uint64_t offset) const;

  const std::string path_;
  std::size_t chunkBytes_ = 0;
  std::uint32_t chunkCount_ = 0;
  int fd_ = -1;
  Present present_;
  std::uint64_t serial_ = 0;   // of the chunk at hand, from 1
  std::uint64_t ordinal_ = 0;  // of the next entry
  std::size_t used_ = 0;       // bytes of the chunk that are in the file
  std::vector<std::uint8_t> pending_;
};

// Both clocks now.
Clock clockNow();

}  // namespace record
