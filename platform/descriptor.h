// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

class Descriptor {
 public:
  // -1 = none. The descriptor is taken over.
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  bool isOpen() const { return fd_ != -1; }

 private:
  int fd_;
};

}  // namespace platform
