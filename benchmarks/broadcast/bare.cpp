// The limit: one copy into shared memory, one out of it per receiver, and one futex word for all whom a message is for.
#include <cstdint>
#include <cstring>

#include "benchmarks/broadcast/fanout.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/shared_page.h"

namespace bench {
namespace {

// The sender waits for everybody between two messages, so one place for a message is enough.
class Board {
 public:
  void put(const void* data, std::size_t size) {
    memcpy(data_, data, size);
    size_ = static_cast<std::uint32_t>(size);
    ++number_;
    wakeAll(number_);
  }

  std::size_t take(void* buffer, std::uint32_t& seen) const {
    while (number_.load() == seen) {
      sleepWhile(number_, seen);
    }
    ++seen;
    const std::size_t size = size_;
    memcpy(buffer, data_, size);
    return size;
  }

 private:
  alignas(64) Word number_;
  std::uint32_t size_;
  unsigned char data_[kMaxFanoutMessage];
};

struct Boards {
  Board all;
  Board one[kForAll];
};

class BareFanout : public Fanout {
 public:
  using Fanout::Fanout;
  void prepare(int /*processor*/) override {}
  void openSender() override {}
  void openReceiver(unsigned int index) override { own_ = plan_.isForOne ? &boards_->one[index] : &boards_->all; }
  void send(const unsigned char* data, std::size_t size) override {
    Board& board = plan_.isForOne ? boards_->one[data[0]] : boards_->all;
    board.put(data, size);
  }
  std::size_t receive(void* buffer) override { return own_->take(buffer, seen_); }

 private:
  SharedPage<Boards> boards_;
  Board* own_ = nullptr;
  std::uint32_t seen_ = 0;
};

}  // namespace

std::unique_ptr<Fanout> makeBareFanout(const FanoutPlan& plan) {
  return std::make_unique<BareFanout>(plan);
}

}  // namespace bench
