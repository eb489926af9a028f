// Two iceoryx topics. The bytes are copied in and out, as over every other link; receivers wait in a wait set.
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include <iceoryx_posh/popo/untyped_publisher.hpp>
#include <iceoryx_posh/popo/untyped_subscriber.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>

#include "benchmarks/links/links.h"
#include "benchmarks/links/roudi.h"

namespace bench {
namespace {

const iox::capro::ServiceDescription kToServer = {"bench", "link", "to-server"};
const iox::capro::ServiceDescription kToClient = {"bench", "link", "to-client"};

class IceoryxLink : public Link {
 public:
  void prepare(int processor) override { startRouDi(processor); }
  void open(Side side) override {
    const bool isClient = side == Side::kClient;
    enterIceoryx(isClient ? "client" : "server");
    out_ = std::make_unique<iox::popo::UntypedPublisher>(isClient ? kToServer : kToClient);
    iox::popo::SubscriberOptions options;
    options.queueCapacity = 2 * kWindow;
    in_ = std::make_unique<iox::popo::UntypedSubscriber>(isClient ? kToClient : kToServer, options);
    waitSet_ = std::make_unique<iox::popo::WaitSet<>>();
    waitSet_->attachState(*in_, iox::popo::SubscriberState::HAS_DATA).or_else([](auto&) {
      throw std::runtime_error("cannot wait for messages");
    });
    while (!out_->hasSubscribers() || in_->getSubscriptionState() != iox::SubscribeState::SUBSCRIBED) {
      usleep(1000);
    }
  }
  void send(const void* data, std::size_t size) override {
    out_->loan(static_cast<std::uint32_t>(size))
        .and_then([&](void* chunk) {
          memcpy(chunk, data, size);
          out_->publish(chunk);
        })
        .or_else([](auto&) { throw std::runtime_error("no memory to send"); });
  }
  std::size_t receive(void* buffer) override {
    for (;;) {
      const auto taken = in_->take();
      if (!taken.has_error()) {
        const std::size_t size = iox::mepoo::ChunkHeader::fromUserPayload(taken.value())->userPayloadSize();
        memcpy(buffer, taken.value(), size);
        in_->release(taken.value());
        return size;
      }
      waitSet_->wait();
    }
  }

 private:
  // They live until the process ends.
  std::unique_ptr<iox::popo::UntypedPublisher> out_;
  std::unique_ptr<iox::popo::UntypedSubscriber> in_;
  std::unique_ptr<iox::popo::WaitSet<>> waitSet_;
};

}  // namespace

std::unique_ptr<Link> makeIceoryxLink() {
  return std::make_unique<IceoryxLink>();
}

}  // namespace bench
