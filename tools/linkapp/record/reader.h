// Reads a recording, whatever has become of it: cut short, torn, damaged, or no recording at all.
//
// Entries come in the order in which they were written. What cannot be read is told and skipped: the rest of its chunk
// goes, and the next one begins with what holds there.
// Threads: one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "record/entry.h"

namespace record {

struct FileFacts {
  std::uint64_t bytes = 0;
  std::uint32_t version = 0;
  std::uint32_t chunkBytes = 0;
  std::uint32_t chunkCount = 0;  // that the ring has room for
  Clock created;
  std::uint32_t recorder = 0;  // its pid
  std::uint32_t chunks = 0;    // that are there and have a header
  std::uint64_t dropped = 0;   // entries that were overwritten since the ring came round
};

struct Damage {
  std::uint64_t offset = 0;  // in the file
  // The writer's last entry or chunk, cut off where it died; nothing that was whole is gone. Not so: an entry or chunk
  // further in front cannot be read.
  bool isTornEnd = false;
  std::string text;
};

class Reader {
 public:
  struct Where {
    std::uint64_t ordinal = 0;  // among all entries that were ever written
    bool isRepeated = false;    // not new: what holds where reading begins, or begins again
  };
  using Visitor = std::function<void(const Entry& entry, const Where& where)>;

  // Throws std::runtime_error where it cannot be opened or is no recording.
  explicit Reader(const std::string& path);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  const FileFacts& facts() const { return facts_; }

  // From the beginning; what is found damaged is added to damages().
  void read(const Visitor& visit);
  const std::vector<Damage>& damages() const { return damages_; }
  bool isDamaged() const;  // more than its end is torn

 private:
  struct Chunk {
    std::uint64_t serial = 0;
    std::uint64_t firstOrdinal = 0;
    std::uint64_t offset = 0;
  };

  void readFileHeader(const std::string& path);
  void findChunks();
  bool readChunk(const Chunk& chunk, bool follows, const Visitor& visit, std::uint64_t& ordinal);
  bool readEntry(const std::vector<std::uint8_t>& bytes, std::size_t& at, const Chunk& chunk, bool follows,
                 const Visitor& visit, std::uint64_t& ordinal);
  void tell(const Chunk& chunk, std::size_t at, const std::string& text);
  std::vector<std::uint8_t> copy(std::uint64_t offset, std::size_t size) const;

  int fd_ = -1;
  FileFacts facts_;
  std::vector<Chunk> chunks_;  // in their order
  std::vector<Damage> damages_;
  std::vector<Damage> damagedChunks_;
};

// A whole recording in memory.
struct Recording {
  struct Item {
    Entry entry;
    Reader::Where where;
  };
  FileFacts facts;
  std::vector<Item> items;
  std::vector<Damage> damages;

  bool isDamaged() const;  // more than its end is torn
};

Recording readRecording(const std::string& path);  // throws as Reader does

}  // namespace record
