// A pair of connected Unix sockets for each receiver.
#include <sys/socket.h>

#include <array>
#include <stdexcept>

#include "benchmarks/broadcast/fanout.h"

namespace bench {
namespace {

class UnixFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int /*processor*/) override {
    pairs_.resize(plan_.receivers);
    for (auto& pair : pairs_) {
      if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair.data()) != 0) {
        throw std::runtime_error("no socket pair");
      }
    }
  }
  void openSender() override {}
  void openReceiver(unsigned int index) override { own_ = pairs_[index][1]; }
  void send(const unsigned char* data, std::size_t size) override {
    forReceivers(data, [&](unsigned int index) {
      if (::send(pairs_[index][0], data, size, 0) != static_cast<ssize_t>(size)) {
        throw std::runtime_error("cannot send");
      }
    });
  }
  std::size_t receive(void* buffer) override {
    const ssize_t size = recv(own_, buffer, kMaxFanoutMessage, 0);
    if (size <= 0) {
      throw std::runtime_error("cannot receive");
    }
    return static_cast<std::size_t>(size);
  }

 private:
  std::vector<std::array<int, 2>> pairs_;
  int own_ = -1;
};

}  // namespace

std::unique_ptr<Fanout> makeUnixFanout(const FanoutPlan& plan) {
  return std::make_unique<UnixFanout>(plan);
}

}  // namespace bench
