// Two connections to a private D-Bus; each message is a call without a reply that carries an array of bytes.
#include "benchmarks/links/bus.h"
#include "benchmarks/links/links.h"

namespace bench {
namespace {

constexpr const char* kClientName = "bench.client";
constexpr const char* kServerName = "bench.server";
constexpr const char* kInterface = "bench.Link";
constexpr const char* kMember = "Message";

class DBusLink : public Link {
 public:
  void prepare(int processor) override { startBus(processor); }
  void open(Side side) override {
    bus_ = connectToBus(side == Side::kClient ? kClientName : kServerName);
    peer_ = side == Side::kClient ? kServerName : kClientName;
  }
  void send(const void* data, std::size_t size) override {
    sd_bus_message* message = nullptr;
    checkBus(sd_bus_message_new_method_call(bus_, &message, peer_, "/", kInterface, kMember));
    checkBus(sd_bus_message_set_expect_reply(message, 0));
    checkBus(sd_bus_message_append_array(message, 'y', data, size));
    checkBus(sd_bus_send(bus_, message, nullptr));
    sd_bus_message_unref(message);
  }
  void flush() override { checkBus(sd_bus_flush(bus_)); }
  std::size_t receive(void* buffer) override { return receiveFromBus(bus_, kInterface, kMember, buffer); }

 private:
  sd_bus* bus_ = nullptr;
  const char* peer_ = nullptr;
};

}  // namespace

std::unique_ptr<Link> makeDBusLink() {
  return std::make_unique<DBusLink>();
}

}  // namespace bench
