// Two ZeroMQ sockets over ipc.
#include <zmq.h>

#include <stdexcept>

#include "benchmarks/links/links.h"

namespace bench {
namespace {

constexpr const char* kAddress = "ipc:///tmp/link";

void check(bool isDone) {
  if (!isDone) {
    throw std::runtime_error(zmq_strerror(zmq_errno()));
  }
}

class ZeroMqLink : public Link {
 public:
  void prepare(int) override {}
  void open(Side side) override {
    socket_ = zmq_socket(zmq_ctx_new(), ZMQ_PAIR);
    check(socket_ != nullptr);
    check((side == Side::kServer ? zmq_bind(socket_, kAddress) : zmq_connect(socket_, kAddress)) == 0);
  }
  void send(const void* data, std::size_t size) override {
    check(zmq_send(socket_, data, size, 0) == static_cast<int>(size));
  }
  std::size_t receive(void* buffer) override {
    const int size = zmq_recv(socket_, buffer, kMaxMessage, 0);
    check(size > 0);
    return static_cast<std::size_t>(size);
  }

 private:
  void* socket_ = nullptr;  // lives until the process ends
};

}  // namespace

std::unique_ptr<Link> makeZeroMqLink() {
  return std::make_unique<ZeroMqLink>();
}

}  // namespace bench
