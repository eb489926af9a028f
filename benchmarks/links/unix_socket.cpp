// A pair of connected Unix sockets that keep messages apart.
#include <sys/socket.h>

#include <stdexcept>

#include "benchmarks/links/links.h"

namespace bench {
namespace {

class UnixLink : public Link {
 public:
  void prepare(int) override {
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_) != 0) {
      throw std::runtime_error("no socket pair");
    }
  }
  void open(Side side) override { own_ = ends_[side == Side::kClient ? 0 : 1]; }
  void send(const void* data, std::size_t size) override {
    if (::send(own_, data, size, 0) != static_cast<ssize_t>(size)) {
      throw std::runtime_error("cannot send");
    }
  }
  std::size_t receive(void* buffer) override {
    const ssize_t size = recv(own_, buffer, kMaxMessage, 0);
    if (size <= 0) {
      throw std::runtime_error("cannot receive");
    }
    return static_cast<std::size_t>(size);
  }

 private:
  int ends_[2] = {-1, -1};
  int own_ = -1;
};

}  // namespace

std::unique_ptr<Link> makeUnixLink() {
  return std::make_unique<UnixLink>();
}

}  // namespace bench
