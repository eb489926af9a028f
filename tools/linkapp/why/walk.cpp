#include "why/walk.h"

#include <utility>

namespace why {

bool Walk::add(Condition condition) {
  if (isOver_) {
    return false;
  }
  isOver_ = condition.verdict == Verdict::kFails;
  if (!isOver_) {
    condition.effect.clear();
    condition.remedy.clear();
  }
  conditions_.push_back(std::move(condition));
  return !isOver_;
}

void Walk::end(const std::string& answer) {
  if (!isOver_) {
    answer_ = answer;
    isOver_ = true;
  }
}

const Condition* Walk::failed() const {
  return !conditions_.empty() && conditions_.back().verdict == Verdict::kFails ? &conditions_.back() : nullptr;
}

std::string Walk::answer() const {
  const Condition* const failure = failed();
  return failure != nullptr ? failure->effect : answer_;
}

}  // namespace why
