// A POSIX message queue for each receiver.
#include <fcntl.h>
#include <mqueue.h>

#include <stdexcept>

#include "benchmarks/broadcast/fanout.h"

namespace bench {
namespace {

class PosixMqFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int /*processor*/) override {
    for (unsigned int i = 0; i < plan_.receivers; ++i) {
      mq_attr attributes = {};
      attributes.mq_maxmsg = 4;
      attributes.mq_msgsize = static_cast<long>(kMaxFanoutMessage);
      const std::string name = "/receiver" + std::to_string(i);
      queues_.push_back(mq_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600, &attributes));
      if (queues_.back() == -1) {
        throw std::runtime_error("no message queue");
      }
    }
  }
  void openSender() override {}
  void openReceiver(unsigned int index) override { own_ = queues_[index]; }
  void send(const unsigned char* data, std::size_t size) override {
    forReceivers(data, [&](unsigned int index) {
      if (mq_send(queues_[index], reinterpret_cast<const char*>(data), size, 0) != 0) {
        throw std::runtime_error("cannot send");
      }
    });
  }
  std::size_t receive(void* buffer) override {
    const ssize_t size = mq_receive(own_, static_cast<char*>(buffer), kMaxFanoutMessage, nullptr);
    if (size <= 0) {
      throw std::runtime_error("cannot receive");
    }
    return static_cast<std::size_t>(size);
  }

 private:
  std::vector<mqd_t> queues_;
  mqd_t own_ = -1;
};

}  // namespace

std::unique_ptr<Fanout> makePosixMqFanout(const FanoutPlan& plan) {
  return std::make_unique<PosixMqFanout>(plan);
}

}  // namespace bench
