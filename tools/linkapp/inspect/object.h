// One object of shared memory, looked at from outside.
//
// It is opened for reading and read with pread, never mapped. So it may shrink at any moment without a signal, a hole
// in it stays a hole, nobody who looks for users of the channel finds this process among them, and the kernel's list of
// robust mutexes never hears of it. Where the owner looks, or root, the time of the last access stays as it is; for
// others the kernel may move it, as for any file that is read.
// Threads: an object may be read by several at once.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace inspect {

constexpr const char* kSharedMemory = "/dev/shm";

// What can be said about an object without its content.
struct ObjectFacts {
  std::string name;
  bool exists = false;
  std::string problem;  // why it cannot be read; empty where it can, or is not there
  std::uint64_t size = 0;
  mode_t mode = 0;  // permission bits
  uid_t owner = 0;
  gid_t group = 0;
  dev_t device = 0;
  ino_t inode = 0;
};

// A copy. What lies beyond its end reads as zero, so that no offset and no length can lead astray.
class Bytes {
 public:
  Bytes() = default;
  explicit Bytes(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

  template <class Number>
  Number at(std::size_t offset) const {
    Number number = 0;
    if (offset <= bytes_.size() && bytes_.size() - offset >= sizeof number) {
      std::memcpy(&number, bytes_.data() + offset, sizeof number);
    }
    return number;
  }
  // From `offset` up to the first NUL, at most `most` bytes.
  std::string text(std::size_t offset, std::size_t most) const;
  // At most `most` bytes.
  std::vector<std::uint8_t> part(std::size_t offset, std::size_t most) const;

  std::size_t size() const { return bytes_.size(); }
  const std::vector<std::uint8_t>& all() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

struct StableCopy {
  Bytes bytes;              // shorter than asked for where the object is
  bool isChanging = false;  // no two copies in a row were the same; this is the last one
};

class Object {
 public:
  // Nothing that can be read.
  Object() = default;
  Object(const std::string& folder, const std::string& name);
  ~Object();
  Object(Object&& other) noexcept;
  Object& operator=(Object&& other) noexcept;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  // As it stood when it was opened.
  const ObjectFacts& facts() const { return facts_; }
  bool isOpen() const { return fd_ != -1; }

  // Copies what is there of `size` bytes from `offset` on, and says how many that were.
  std::size_t read(std::uint64_t offset, void* to, std::size_t size) const;
  Bytes copy(std::uint64_t offset, std::size_t size) const;
  // Copies until two copies in a row are the same, eight times at most. For records that carry no means of their own to
  // tell a torn copy: their writers hold a lock, which is not taken here.
  StableCopy copyStable(std::uint64_t offset, std::size_t size) const;

  // Whether its name still leads to it. False also for what is not open.
  bool isCurrent() const;

 private:
  std::string path_;
  ObjectFacts facts_;
  int fd_ = -1;
};

}  // namespace inspect
