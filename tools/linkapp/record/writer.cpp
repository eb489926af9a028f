#include "record/writer.h"

#include <errno.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "record/bytes.h"
#include "record/file_layout.h"

namespace record {
namespace {

// Of many chunks little is lost when the oldest goes; in small ones the repeated beginning takes room.
constexpr std::uint64_t kChunksWanted = 16;
constexpr std::size_t kUsualMostChunkBytes = std::size_t{1024} * 1024;

std::uint64_t nanosecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

[[noreturn]] void fail(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace

Clock clockNow() {
  return {nanosecondsOf(CLOCK_REALTIME), nanosecondsOf(CLOCK_MONOTONIC)};
}

Writer::Writer(const std::string& path, std::uint64_t limit) : path_(path) {
  chunkBytes_ = static_cast<std::size_t>(
      std::clamp<std::uint64_t>(limit / kChunksWanted, kLeastChunkBytes, kUsualMostChunkBytes));
  chunkCount_ = static_cast<std::uint32_t>(
      std::min<std::uint64_t>((std::max(limit, kLeastLimit) - kFileHeaderBytes) / chunkBytes_, kMostChunks));
  fd_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);  // what applications say is in it
  if (fd_ == -1) {
    fail(path);
  }
  const Clock now = clockNow();
  ByteWriter header;
  header.raw(kFileMagic, sizeof kFileMagic - 1).number(kFileVersion).number(std::uint32_t{kFileHeaderBytes});
  header.number(static_cast<std::uint32_t>(chunkBytes_)).number(chunkCount_).number(now.wall).number(now.monotonic);
  header.number(static_cast<std::uint32_t>(getpid()));
  header.bytes().resize(kFileHeaderBytes - sizeof(std::uint32_t));
  header.number(crc32(header.bytes().data(), header.bytes().size()));
  write(header.bytes().data(), header.bytes().size(), 0);
}

Writer::~Writer() {
  close(fd_);
}

bool Writer::fits(std::size_t bytes) const {
  return serial_ != 0 && used_ + pending_.size() + bytes <= chunkBytes_;
}

void Writer::add(const Entry& entry) {
  const std::vector<std::uint8_t> body = encode(entry);
  if (!fits(kEntryHeaderBytes + body.size())) {
    flush();
    beginChunk();
  }
  append(typeOf(entry), body, 0);
  present_.add(entry);
}

// The header goes into the file together with what the chunk repeats: the chunk that was there is gone with the first
// byte of it.
void Writer::beginChunk() {
  const bool isFirst = serial_ == 0;
  ++serial_;
  used_ = 0;
  ByteWriter header;
  header.number(kChunkMagic).number(std::uint32_t{kChunkHeaderBytes}).number(serial_).number(ordinal_);
  header.number(std::uint32_t{0});
  header.number(crc32(header.bytes().data(), header.bytes().size()));
  pending_ = std::move(header.bytes());
  const auto flags = static_cast<std::uint16_t>(isFirst ? 0 : kRepeated);
  append(EntryType::kClock, encode(clockNow()), flags);
  for (const Entry& entry : present_.entries()) {
    const std::vector<std::uint8_t> body = encode(entry);
    // Everything else is bounded, and has room in the other half together with what is to be written.
    if (!std::holds_alternative<ProcessSeen>(entry) || pending_.size() + body.size() <= chunkBytes_ / 2) {
      append(typeOf(entry), body, flags);
    }
  }
  flush();
}

// The CRC begins with the chunk's serial number: what is left of an earlier chunk in the same place never fits.
void Writer::append(EntryType type, const std::vector<std::uint8_t>& body, std::uint16_t flags) {
  ByteWriter sealed;
  sealed.number(serial_).number(static_cast<std::uint16_t>(type)).number(flags).raw(body.data(), body.size());
  ByteWriter bytes;
  bytes.number(static_cast<std::uint32_t>(kEntryHeaderBytes + body.size()));
  bytes.number(crc32(sealed.bytes().data(), sealed.bytes().size()));
  bytes.number(static_cast<std::uint16_t>(type)).number(flags).raw(body.data(), body.size());
  pending_.insert(pending_.end(), bytes.bytes().begin(), bytes.bytes().end());
  ordinal_ += (flags & kRepeated) == 0 ? 1U : 0U;
}

// Behind what is written stands the end mark, where there is room for one; the next flush writes over it.
void Writer::flush() {
  if (pending_.empty()) {
    return;
  }
  const std::size_t size = pending_.size();
  pending_.resize(std::min(size + kEndMarkBytes, chunkBytes_ - used_), 0);
  write(pending_.data(), pending_.size(), kFileHeaderBytes + (serial_ - 1) % chunkCount_ * chunkBytes_ + used_);
  used_ += size;
  pending_.clear();
}

void Writer::write(const std::uint8_t* bytes, std::size_t size, std::uint64_t offset) const {
  for (std::size_t done = 0; done < size;) {
    const ssize_t written = pwrite(fd_, bytes + done, size - done, static_cast<off_t>(offset + done));
    if (written == -1 && errno != EINTR) {
      fail(path_);
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
  }
}

}  // namespace record
