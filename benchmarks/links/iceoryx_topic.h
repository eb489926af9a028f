// Both ends of an iceoryx topic. The bytes are copied in and out, as over every other transport.
#pragma once

#include <cstddef>
#include <string>

#include <iceoryx_posh/popo/untyped_publisher.hpp>
#include <iceoryx_posh/popo/untyped_subscriber.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>

namespace bench {

class Publisher {
 public:
  explicit Publisher(const std::string& topic);
  bool hasSubscriber() const { return publisher_.hasSubscribers(); }
  void send(const void* data, std::size_t size);

 private:
  iox::popo::UntypedPublisher publisher_;
};

// Waits in a wait set.
class Subscriber {
 public:
  // Returns when it is connected to the publisher, which may come into being meanwhile.
  explicit Subscriber(const std::string& topic);
  std::size_t receive(void* buffer);

 private:
  iox::popo::UntypedSubscriber subscriber_;
  iox::popo::WaitSet<> waitSet_;
};

}  // namespace bench
