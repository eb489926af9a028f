// A private D-Bus: a signal for all, or a call without a reply for one. Both carry an array of bytes.
#include <cstdint>
#include <cstring>

#include "benchmarks/broadcast/fanout.h"
#include "benchmarks/links/bus.h"

namespace bench {
namespace {

constexpr const char* kInterface = "bench.Fanout";
constexpr const char* kMember = "Message";

std::string nameOf(unsigned int index) {
  return "bench.receiver" + std::to_string(index);
}

class DBusFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int processor) override { startBus(processor); }
  void openSender() override { bus_ = connectToBus(""); }
  void openReceiver(unsigned int index) override {
    bus_ = connectToBus(nameOf(index));
    checkBus(sd_bus_call_method(bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                "AddMatch", nullptr, nullptr, "s", "type='signal',interface='bench.Fanout'"));
  }
  void send(const unsigned char* data, std::size_t size) override {
    sd_bus_message* message = nullptr;
    if (plan_.isForOne) {
      checkBus(sd_bus_message_new_method_call(bus_, &message, nameOf(data[0]).c_str(), "/", kInterface, kMember));
      checkBus(sd_bus_message_set_expect_reply(message, 0));
    } else {
      checkBus(sd_bus_message_new_signal(bus_, &message, "/", kInterface, kMember));
    }
    checkBus(sd_bus_message_append_array(message, 'y', data, size));
    checkBus(sd_bus_send(bus_, message, nullptr));
    checkBus(sd_bus_flush(bus_));
    sd_bus_message_unref(message);
  }
  std::size_t receive(void* buffer) override { return receiveFromBus(bus_, kInterface, kMember, buffer); }

 private:
  sd_bus* bus_ = nullptr;
};

}  // namespace

std::unique_ptr<Fanout> makeDBusFanout(const FanoutPlan& plan) {
  return std::make_unique<DBusFanout>(plan);
}

}  // namespace bench
