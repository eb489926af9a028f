#include "inspect/object.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <system_error>
#include <utility>

namespace inspect {
namespace {

constexpr int kMostCopies = 8;
constexpr mode_t kPermissionBits = 07777;

// Not blocking: what stands under the name may be a pipe that nobody writes to.
int openForReading(const std::string& path) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  const int fd = open(path.c_str(), kFlags | O_NOATIME);
  return fd == -1 && errno == EPERM ? open(path.c_str(), kFlags) : fd;
}

void fill(ObjectFacts& facts, const struct stat& status) {
  facts.exists = true;
  facts.size = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
  facts.mode = status.st_mode & kPermissionBits;
  facts.owner = status.st_uid;
  facts.group = status.st_gid;
  facts.device = status.st_dev;
  facts.inode = status.st_ino;
  if (!S_ISREG(status.st_mode)) {
    facts.problem = "is no regular file";
  }
}

}  // namespace

std::string Bytes::text(std::size_t offset, std::size_t most) const {
  const std::vector<std::uint8_t> field = part(offset, most);
  return {field.begin(), std::find(field.begin(), field.end(), std::uint8_t{0})};
}

std::vector<std::uint8_t> Bytes::part(std::size_t offset, std::size_t most) const {
  const std::size_t begin = std::min(offset, bytes_.size());
  const std::size_t length = std::min(most, bytes_.size() - begin);
  const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(begin);
  return {first, first + static_cast<std::ptrdiff_t>(length)};
}

Object::Object(const std::string& folder, const std::string& name) : path_(folder + "/" + name) {
  facts_.name = name;
  struct stat status = {};
  fd_ = openForReading(path_);
  const int error = errno;
  if (fd_ != -1 && fstat(fd_, &status) == 0) {
    fill(facts_, status);
    if (!facts_.problem.empty()) {
      close(std::exchange(fd_, -1));
    }
    return;
  }
  if (lstat(path_.c_str(), &status) == 0) {
    fill(facts_, status);
    facts_.problem = facts_.problem.empty() ? std::generic_category().message(error) : facts_.problem;
  } else if (errno != ENOENT) {
    facts_.problem = std::generic_category().message(errno);
  }
}

Object::~Object() {
  if (fd_ != -1) {
    close(fd_);
  }
}

Object::Object(Object&& other) noexcept
    : path_(std::move(other.path_)), facts_(std::move(other.facts_)), fd_(std::exchange(other.fd_, -1)) {}

Object& Object::operator=(Object&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(facts_, other.facts_);
  std::swap(fd_, other.fd_);
  return *this;
}

std::size_t Object::read(std::uint64_t offset, void* to, std::size_t size) const {
  std::size_t done = 0;
  while (fd_ != -1 && done < size) {
    const ssize_t got =
        pread(fd_, static_cast<std::uint8_t*>(to) + done, size - done, static_cast<off_t>(offset + done));
    if (got > 0) {
      done += static_cast<std::size_t>(got);
    } else if (got == 0 || errno != EINTR) {
      break;  // the object ends here
    }
  }
  // What is read next was not read before.
  std::atomic_thread_fence(std::memory_order_acquire);
  return done;
}

Bytes Object::copy(std::uint64_t offset, std::size_t size) const {
  std::vector<std::uint8_t> bytes(size);
  bytes.resize(read(offset, bytes.data(), size));
  return Bytes(std::move(bytes));
}

StableCopy Object::copyStable(std::uint64_t offset, std::size_t size) const {
  Bytes last = copy(offset, size);
  for (int copies = 1; copies < kMostCopies; ++copies) {
    Bytes next = copy(offset, size);
    if (next.all() == last.all()) {
      return {std::move(next), false};
    }
    last = std::move(next);
  }
  return {std::move(last), true};
}

bool Object::isCurrent() const {
  struct stat status = {};
  return fd_ != -1 && lstat(path_.c_str(), &status) == 0 && status.st_dev == facts_.device &&
         status.st_ino == facts_.inode;
}

}  // namespace inspect
