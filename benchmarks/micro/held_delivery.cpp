#include "benchmarks/micro/held_delivery.h"

#include <stdexcept>

namespace bench {
namespace {

// Nobody else's.
constexpr unsigned int kHold = 200;

}  // namespace

HeldDelivery::HeldDelivery() : notifier_(false), observer_(this, &HeldDelivery::hold) {
  if (!notifier_.AddObserver(&observer_, &kHold, 1) || !notifier_.NotifyDataUpdate(kHold, nullptr, 0)) {
    throw std::runtime_error("the notifier does not work");
  }
  held_.waitFor(1);
}

HeldDelivery::~HeldDelivery() {
  released_.advance();
  notifier_.RemoveObserver(&observer_);
}

unsigned int HeldDelivery::hold(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
  held_.advance();
  released_.waitFor(1);
  return 0;
}

}  // namespace bench
