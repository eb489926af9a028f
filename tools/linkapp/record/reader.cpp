#include "record/reader.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "record/bytes.h"
#include "record/file_layout.h"

namespace record {
namespace {

constexpr std::size_t kCrcBytes = sizeof(std::uint32_t);

[[noreturn]] void refuse(const std::string& path, const std::string& text) {
  throw std::runtime_error(path + ": " + text);
}

bool isSealed(const std::vector<std::uint8_t>& header) {
  const std::size_t size = header.size() - kCrcBytes;
  ByteReader crc(header.data() + size, kCrcBytes);
  return crc.number<std::uint32_t>() == crc32(header.data(), size);
}

bool isMoreThanTorn(const std::vector<Damage>& damages) {
  return std::any_of(damages.begin(), damages.end(), [](const Damage& damage) { return !damage.isTornEnd; });
}

}  // namespace

Reader::Reader(const std::string& path) {
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd_ == -1) {
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  }
  try {
    readFileHeader(path);
    findChunks();
  } catch (...) {
    close(fd_);
    throw;
  }
}

Reader::~Reader() {
  close(fd_);
}

std::vector<std::uint8_t> Reader::copy(std::uint64_t offset, std::size_t size) const {
  std::vector<std::uint8_t> bytes(size);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = pread(fd_, bytes.data() + done, size - done, static_cast<off_t>(offset + done));
    if (got == 0 || (got == -1 && errno != EINTR)) {
      break;
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  }
  bytes.resize(done);
  return bytes;
}

void Reader::readFileHeader(const std::string& path) {
  struct stat status = {};
  if (fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) {
    refuse(path, "it is no file");
  }
  facts_.bytes = static_cast<std::uint64_t>(status.st_size);
  const std::vector<std::uint8_t> header = copy(0, kFileHeaderBytes);
  constexpr std::size_t kMagicBytes = sizeof kFileMagic - 1;
  if (header.size() < kMagicBytes || std::memcmp(header.data(), kFileMagic, kMagicBytes) != 0) {
    refuse(path, "it is no recording");
  }
  if (header.size() < kFileHeaderBytes) {
    refuse(path, "a recording that was cut off within its header");
  }
  ByteReader from(header.data() + kMagicBytes, header.size() - kMagicBytes);
  facts_.version = from.number<std::uint32_t>();
  if (facts_.version != kFileVersion) {
    refuse(path, "a recording of version " + std::to_string(facts_.version) + "; this tool reads version " +
                     std::to_string(kFileVersion));
  }
  const auto headerBytes = from.number<std::uint32_t>();
  facts_.chunkBytes = from.number<std::uint32_t>();
  facts_.chunkCount = from.number<std::uint32_t>();
  facts_.created.wall = from.number<std::uint64_t>();
  facts_.created.monotonic = from.number<std::uint64_t>();
  facts_.recorder = from.number<std::uint32_t>();
  if (!isSealed(header) || headerBytes != kFileHeaderBytes || facts_.chunkBytes < kLeastChunkBytes ||
      facts_.chunkBytes > kMostChunkBytes || facts_.chunkCount == 0 || facts_.chunkCount > kMostChunks) {
    refuse(path, "a recording whose header is damaged");
  }
}

// A chunk whose header does not fit is either the one that was being begun, or damaged; which, the others tell.
void Reader::findChunks() {
  std::vector<std::uint64_t> without;  // places
  for (std::uint64_t place = 0; place < facts_.chunkCount; ++place) {
    const std::uint64_t offset = kFileHeaderBytes + place * facts_.chunkBytes;
    if (offset >= facts_.bytes) {
      break;
    }
    const std::vector<std::uint8_t> header = copy(offset, kChunkHeaderBytes);
    ByteReader from(header.data(), header.size());
    const bool isChunk =
        from.number<std::uint32_t>() == kChunkMagic && from.number<std::uint32_t>() == kChunkHeaderBytes;
    Chunk chunk;
    chunk.serial = from.number<std::uint64_t>();
    chunk.firstOrdinal = from.number<std::uint64_t>();
    chunk.offset = offset;
    if (isChunk && from.isGood() && header.size() == kChunkHeaderBytes && isSealed(header) && chunk.serial != 0 &&
        (chunk.serial - 1) % facts_.chunkCount == place) {
      chunks_.push_back(chunk);
    } else {
      without.push_back(place);
    }
  }
  std::sort(chunks_.begin(), chunks_.end(), [](const Chunk& a, const Chunk& b) { return a.serial < b.serial; });
  facts_.chunks = static_cast<std::uint32_t>(chunks_.size());
  facts_.dropped = chunks_.empty() ? 0 : chunks_.front().firstOrdinal;
  const std::uint64_t next = chunks_.empty() ? 0 : chunks_.back().serial % facts_.chunkCount;
  for (const std::uint64_t place : without) {
    damagedChunks_.push_back({kFileHeaderBytes + place * facts_.chunkBytes, place == next,
                              place == next ? "a chunk that was being begun" : "a chunk without a valid header"});
  }
}

void Reader::read(const Visitor& visit) {
  damages_ = damagedChunks_;
  std::uint64_t ordinal = facts_.dropped;
  bool follows = false;
  std::uint64_t last = 0;
  for (const Chunk& chunk : chunks_) {
    follows = follows && chunk.serial == last + 1 && chunk.firstOrdinal == ordinal;
    ordinal = chunk.firstOrdinal;
    follows = readChunk(chunk, follows, visit, ordinal);
    last = chunk.serial;
  }
}

// Whether it is whole. Where the chunk before was whole and led up to this one, what this one repeats is no news.
bool Reader::readChunk(const Chunk& chunk, bool follows, const Visitor& visit, std::uint64_t& ordinal) {
  const std::vector<std::uint8_t> bytes = copy(chunk.offset, facts_.chunkBytes);
  std::size_t at = kChunkHeaderBytes;
  while (at + kEndMarkBytes <= bytes.size()) {
    if (std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(at + kEndMarkBytes),
                    [](std::uint8_t byte) { return byte == 0; })) {
      return true;
    }
    if (!readEntry(bytes, at, chunk, follows, visit, ordinal)) {
      return false;
    }
  }
  // Nothing but the end of the chunk needs no end mark.
  if (bytes.size() < facts_.chunkBytes) {
    tell(chunk, at, "the file ends within it");
    return false;
  }
  return true;
}

bool Reader::readEntry(const std::vector<std::uint8_t>& bytes, std::size_t& at, const Chunk& chunk, bool follows,
                       const Visitor& visit, std::uint64_t& ordinal) {
  ByteReader from(bytes.data() + at, bytes.size() - at);
  const auto length = from.number<std::uint32_t>();
  const auto crc = from.number<std::uint32_t>();
  const auto type = from.number<std::uint16_t>();
  const auto flags = from.number<std::uint16_t>();
  if (!from.isGood() || length < kEntryHeaderBytes || length > kEntryHeaderBytes + kLongestBody ||
      length > bytes.size() - at) {
    tell(chunk, at, "an entry with a length that cannot be");
    return false;
  }
  const std::size_t bodyBytes = length - kEntryHeaderBytes;
  const std::vector<std::uint8_t> body = from.raw(bodyBytes);
  ByteWriter sealed;
  sealed.number(chunk.serial).number(type).number(flags).raw(body.data(), body.size());
  if (crc != crc32(sealed.bytes().data(), sealed.bytes().size())) {
    tell(chunk, at, "an entry whose checksum does not fit");
    return false;
  }
  const bool isRepeated = (flags & kRepeated) != 0;
  Entry entry;
  std::string mistake;
  if (!decode(type, body.data(), body.size(), entry, mistake)) {
    damages_.push_back({chunk.offset + at, false, mistake});
  } else if (!isRepeated || !follows) {
    visit(entry, {ordinal, isRepeated});
  }
  ordinal += isRepeated ? 0U : 1U;
  at += length;
  return true;
}

// Only the chunk that was written last may end where its writer died.
void Reader::tell(const Chunk& chunk, std::size_t at, const std::string& text) {
  const bool isLast = chunk.serial == chunks_.back().serial;
  damages_.push_back({chunk.offset + at, isLast, text});
}

bool Reader::isDamaged() const {
  return isMoreThanTorn(damages_);
}

bool Recording::isDamaged() const {
  return isMoreThanTorn(damages);
}

Recording readRecording(const std::string& path) {
  Reader reader(path);
  Recording recording;
  reader.read([&recording](const Entry& entry, const Reader::Where& where) {
    recording.items.push_back({entry, where});
  });
  recording.facts = reader.facts();
  recording.damages = reader.damages();
  return recording;
}

}  // namespace record
