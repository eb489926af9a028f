// One ZeroMQ socket that publishes over ipc. Receivers subscribe to the first byte of what is for them.
#include <zmq.h>

#include <stdexcept>

#include "benchmarks/broadcast/fanout.h"

namespace bench {
namespace {

constexpr const char* kAddress = "ipc:///tmp/fanout";

void check(bool isDone) {
  if (!isDone) {
    throw std::runtime_error(zmq_strerror(zmq_errno()));
  }
}

class ZeroMqFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int /*processor*/) override {}
  void openSender() override {
    socket_ = zmq_socket(zmq_ctx_new(), ZMQ_XPUB);
    check(socket_ != nullptr);
    const int everySubscription = 1;
    check(zmq_setsockopt(socket_, ZMQ_XPUB_VERBOSE, &everySubscription, sizeof everySubscription) == 0);
    check(zmq_bind(socket_, kAddress) == 0);
    // What is published before a subscription has arrived is lost.
    for (unsigned int i = 0; i < plan_.receivers; ++i) {
      char subscription[8];
      check(zmq_recv(socket_, subscription, sizeof subscription, 0) > 0);
    }
  }
  void openReceiver(unsigned int index) override {
    socket_ = zmq_socket(zmq_ctx_new(), ZMQ_SUB);
    check(socket_ != nullptr);
    const unsigned char first = plan_.isForOne ? static_cast<unsigned char>(index) : kForAll;
    check(zmq_setsockopt(socket_, ZMQ_SUBSCRIBE, &first, 1) == 0);
    check(zmq_connect(socket_, kAddress) == 0);
  }
  void send(const unsigned char* data, std::size_t size) override {
    check(zmq_send(socket_, data, size, 0) == static_cast<int>(size));
  }
  std::size_t receive(void* buffer) override {
    const int size = zmq_recv(socket_, buffer, kMaxFanoutMessage, 0);
    check(size > 0);
    return static_cast<std::size_t>(size);
  }

 private:
  void* socket_ = nullptr;  // lives until the process ends
};

}  // namespace

std::unique_ptr<Fanout> makeZeroMqFanout(const FanoutPlan& plan) {
  return std::make_unique<ZeroMqFanout>(plan);
}

}  // namespace bench
