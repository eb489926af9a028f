// Two message queues of Boost.Interprocess.
#include <boost/interprocess/ipc/message_queue.hpp>

#include "benchmarks/links/links.h"

namespace bench {
namespace {

using Queue = boost::interprocess::message_queue;

constexpr const char* kToServer = "to-server";
constexpr const char* kToClient = "to-client";

class BoostLink : public Link {
 public:
  void prepare(int) override {
    const Queue toServer(boost::interprocess::create_only, kToServer, kWindow, kMaxMessage);
    const Queue toClient(boost::interprocess::create_only, kToClient, kWindow, kMaxMessage);
  }
  void open(Side side) override {
    const bool isClient = side == Side::kClient;
    out_ = std::make_unique<Queue>(boost::interprocess::open_only, isClient ? kToServer : kToClient);
    in_ = std::make_unique<Queue>(boost::interprocess::open_only, isClient ? kToClient : kToServer);
  }
  void send(const void* data, std::size_t size) override { out_->send(data, size, 0); }
  std::size_t receive(void* buffer) override {
    Queue::size_type size = 0;
    unsigned int priority = 0;
    in_->receive(buffer, kMaxMessage, size, priority);
    return size;
  }

 private:
  std::unique_ptr<Queue> out_;
  std::unique_ptr<Queue> in_;
};

}  // namespace

std::unique_ptr<Link> makeBoostLink() {
  return std::make_unique<BoostLink>();
}

}  // namespace bench
