// One iceoryx topic for all, or one for each receiver. The bytes are copied in and out.
#include <cstring>
#include <stdexcept>

#include "benchmarks/broadcast/fanout.h"
#include "benchmarks/links/iceoryx_topic.h"
#include "benchmarks/links/roudi.h"

namespace bench {
namespace {

class IceoryxFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int processor) override { startRouDi(processor); }
  void openSender() override {
    enterIceoryx("sender");
    for (unsigned int i = 0; i < (plan_.isForOne ? plan_.receivers : 1); ++i) {
      publishers_.push_back(std::make_unique<Publisher>(topicOf(i)));
    }
  }
  void openReceiver(unsigned int index) override {
    enterIceoryx("receiver" + std::to_string(index));
    subscriber_ = std::make_unique<Subscriber>(topicOf(plan_.isForOne ? index : 0));
  }
  void send(const unsigned char* data, std::size_t size) override {
    publishers_[plan_.isForOne ? data[0] : 0]->send(data, size);
  }
  std::size_t receive(void* buffer) override { return subscriber_->receive(buffer); }

 private:
  static std::string topicOf(unsigned int index) { return "fanout" + std::to_string(index); }

  // They live until the process ends.
  std::vector<std::unique_ptr<Publisher>> publishers_;
  std::unique_ptr<Subscriber> subscriber_;
};

}  // namespace

std::unique_ptr<Fanout> makeIceoryxFanout(const FanoutPlan& plan) {
  return std::make_unique<IceoryxFanout>(plan);
}

}  // namespace bench
