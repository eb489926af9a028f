// A message queue of Boost.Interprocess for each receiver.
#include <boost/interprocess/ipc/message_queue.hpp>

#include "benchmarks/broadcast/fanout.h"

namespace bench {
namespace {

using Queue = boost::interprocess::message_queue;

std::string nameOf(unsigned int index) {
  return "receiver" + std::to_string(index);
}

class BoostFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int /*processor*/) override {
    for (unsigned int i = 0; i < plan_.receivers; ++i) {
      const Queue queue(boost::interprocess::create_only, nameOf(i).c_str(), 4, kMaxFanoutMessage);
    }
  }
  void openSender() override {
    for (unsigned int i = 0; i < plan_.receivers; ++i) {
      queues_.push_back(std::make_unique<Queue>(boost::interprocess::open_only, nameOf(i).c_str()));
    }
  }
  void openReceiver(unsigned int index) override {
    queues_.push_back(std::make_unique<Queue>(boost::interprocess::open_only, nameOf(index).c_str()));
  }
  void send(const unsigned char* data, std::size_t size) override {
    forReceivers(data, [&](unsigned int index) { queues_[index]->send(data, size, 0); });
  }
  std::size_t receive(void* buffer) override {
    Queue::size_type size = 0;
    unsigned int priority = 0;
    queues_[0]->receive(buffer, kMaxFanoutMessage, size, priority);
    return size;
  }

 private:
  std::vector<std::unique_ptr<Queue>> queues_;  // all, or a receiver's own
};

}  // namespace

std::unique_ptr<Fanout> makeBoostFanout(const FanoutPlan& plan) {
  return std::make_unique<BoostFanout>(plan);
}

}  // namespace bench
