// Two POSIX message queues. They hold the whole window where the system's limits allow it, else what they allow.
#include <fcntl.h>
#include <mqueue.h>

#include <stdexcept>

#include "benchmarks/links/links.h"

namespace bench {
namespace {

mqd_t makeQueue(const char* name) {
  for (const long messages : {static_cast<long>(kWindow), 10L}) {
    mq_attr attributes = {};
    attributes.mq_maxmsg = messages;
    attributes.mq_msgsize = static_cast<long>(kMaxMessage);
    const mqd_t queue = mq_open(name, O_RDWR | O_CREAT | O_EXCL, 0600, &attributes);
    if (queue != -1) {
      return queue;
    }
  }
  throw std::runtime_error("no message queue");
}

class PosixMqLink : public Link {
 public:
  void prepare(int) override {
    toServer_ = makeQueue("/to-server");
    toClient_ = makeQueue("/to-client");
  }
  void open(Side side) override {
    out_ = side == Side::kClient ? toServer_ : toClient_;
    in_ = side == Side::kClient ? toClient_ : toServer_;
  }
  void send(const void* data, std::size_t size) override {
    if (mq_send(out_, static_cast<const char*>(data), size, 0) != 0) {
      throw std::runtime_error("cannot send");
    }
  }
  std::size_t receive(void* buffer) override {
    const ssize_t size = mq_receive(in_, static_cast<char*>(buffer), kMaxMessage, nullptr);
    if (size <= 0) {
      throw std::runtime_error("cannot receive");
    }
    return static_cast<std::size_t>(size);
  }

 private:
  mqd_t toServer_ = -1;
  mqd_t toClient_ = -1;
  mqd_t out_ = -1;
  mqd_t in_ = -1;
};

}  // namespace

std::unique_ptr<Link> makePosixMqLink() {
  return std::make_unique<PosixMqLink>();
}

}  // namespace bench
