#include "benchmarks/links/iceoryx_topic.h"

#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace bench {
namespace {

constexpr std::uint64_t kQueue = 64;  // holds what is under way

iox::capro::ServiceDescription serviceOf(const std::string& topic) {
  return {"bench", "topic", iox::capro::IdString_t(iox::cxx::TruncateToCapacity, topic)};
}

iox::popo::SubscriberOptions optionsWithQueue() {
  iox::popo::SubscriberOptions options;
  options.queueCapacity = kQueue;
  return options;
}

}  // namespace

Publisher::Publisher(const std::string& topic) : publisher_(serviceOf(topic)) {}

void Publisher::send(const void* data, std::size_t size) {
  publisher_.loan(static_cast<std::uint32_t>(size))
      .and_then([&](void* chunk) {
        memcpy(chunk, data, size);
        publisher_.publish(chunk);
      })
      .or_else([](auto&) { throw std::runtime_error("no memory to send"); });
}

Subscriber::Subscriber(const std::string& topic) : subscriber_(serviceOf(topic), optionsWithQueue()) {
  waitSet_.attachState(subscriber_, iox::popo::SubscriberState::HAS_DATA).or_else([](auto&) {
    throw std::runtime_error("cannot wait for messages");
  });
  while (subscriber_.getSubscriptionState() != iox::SubscribeState::SUBSCRIBED) {
    usleep(1000);
  }
}

std::size_t Subscriber::receive(void* buffer) {
  for (;;) {
    const auto taken = subscriber_.take();
    if (!taken.has_error()) {
      const std::size_t size = iox::mepoo::ChunkHeader::fromUserPayload(taken.value())->userPayloadSize();
      memcpy(buffer, taken.value(), size);
      subscriber_.release(taken.value());
      return size;
    }
    waitSet_.wait();
  }
}

}  // namespace bench
