// The limit: one copy into shared memory, one out of it, and a futex for who has nothing to do.
#include <cstdint>
#include <cstring>

#include "benchmarks/links/links.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/shared_page.h"

namespace bench {
namespace {

// One writer, one reader. Nothing keeps the writer from overrunning the reader: kWindow does.
class Ring {
 public:
  void put(const void* data, std::size_t size) {
    Slot& slot = slots_[count_ % kSlots];
    memcpy(slot.data, data, size);
    slot.size = static_cast<std::uint32_t>(size);
    written_.ring(++count_);
  }

  std::size_t take(void* buffer) {
    written_.waitWhile(read_);
    const Slot& slot = slots_[read_ % kSlots];
    const std::size_t size = slot.size;
    memcpy(buffer, slot.data, size);
    ++read_;
    return size;
  }

 private:
  static constexpr std::uint32_t kSlots = 2 * kWindow;
  struct Slot {
    std::uint32_t size;
    unsigned char data[kMaxMessage];
  };

  alignas(64) Bell written_;
  alignas(64) std::uint32_t count_;  // the writer's own
  alignas(64) std::uint32_t read_;   // the reader's own
  Slot slots_[kSlots];
};

struct Rings {
  Ring toServer;
  Ring toClient;
};

class BareLink : public Link {
 public:
  void prepare(int) override {}
  void open(Side side) override {
    out_ = side == Side::kClient ? &rings_->toServer : &rings_->toClient;
    in_ = side == Side::kClient ? &rings_->toClient : &rings_->toServer;
  }
  void send(const void* data, std::size_t size) override { out_->put(data, size); }
  std::size_t receive(void* buffer) override { return in_->take(buffer); }

 private:
  SharedPage<Rings> rings_;
  Ring* out_ = nullptr;
  Ring* in_ = nullptr;
};

}  // namespace

std::unique_ptr<Link> makeBareLink() {
  return std::make_unique<BareLink>();
}

}  // namespace bench
