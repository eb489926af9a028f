#include "bluez_sim/faults.h"

namespace bluez_sim {

void Faults::order(const std::string& method, Kind kind, unsigned int count, const DbusError& error) {
  if (count == 0) {
    orders_.erase(method);
  } else {
    orders_[method] = {kind, count, error};
  }
}

bool Faults::strike(Call& call) {
  const auto found = orders_.find(call.member());
  if (found == orders_.end()) {
    return false;
  }
  const Order order = found->second;
  if (--found->second.count == 0) {
    orders_.erase(found);
  }
  if (order.kind == Kind::kLose) {
    call.loseAnswer();
    return false;
  }
  if (order.kind == Kind::kFail) {
    call.fail(order.error);
  } else if (order.kind == Kind::kPretend) {
    call.succeed();
  }
  return true;
}

}  // namespace bluez_sim
