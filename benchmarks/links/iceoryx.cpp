// Two iceoryx topics, one each way.
#include <unistd.h>

#include "benchmarks/links/iceoryx_topic.h"
#include "benchmarks/links/links.h"
#include "benchmarks/links/roudi.h"

namespace bench {
namespace {

constexpr const char* kToServer = "to-server";
constexpr const char* kToClient = "to-client";

class IceoryxLink : public Link {
 public:
  void prepare(int processor) override { startRouDi(processor); }
  void open(Side side) override {
    const bool isClient = side == Side::kClient;
    enterIceoryx(isClient ? "client" : "server");
    out_ = std::make_unique<Publisher>(isClient ? kToServer : kToClient);
    in_ = std::make_unique<Subscriber>(isClient ? kToClient : kToServer);
    while (!out_->hasSubscriber()) {
      usleep(1000);
    }
  }
  void send(const void* data, std::size_t size) override { out_->send(data, size); }
  std::size_t receive(void* buffer) override { return in_->receive(buffer); }

 private:
  // They live until the process ends.
  std::unique_ptr<Publisher> out_;
  std::unique_ptr<Subscriber> in_;
};

}  // namespace

std::unique_ptr<Link> makeIceoryxLink() {
  return std::make_unique<IceoryxLink>();
}

}  // namespace bench
