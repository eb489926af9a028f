#include "app/sender.h"

#include <utility>

namespace app {
namespace {

// A few at a time, so that everything else in the loop has its turn.
constexpr unsigned int kAtOnce = 16;

}  // namespace

Sender::Sender(loop::Errands& errands, std::unique_ptr<Source> source, const Pace& pace,
               std::function<bool(const Bytes& message)> send, std::function<void(std::uint64_t sent)> onEnd)
    : errands_(errands), source_(std::move(source)), pace_(pace), send_(std::move(send)), onEnd_(std::move(onEnd)) {
  source_->onMore = [this] { pumpSoon(std::chrono::microseconds(0)); };
  pumpSoon(std::chrono::microseconds(0));  // a source may be empty
}

Sender::~Sender() {
  errands_.cancel(timer_);
}

void Sender::setOpen(bool isOpen) {
  isOpen_ = isOpen;
  isRefused_ = false;
  if (isOpen) {
    pumpSoon(std::chrono::microseconds(0));
  } else {
    unanswered_ = 0;
  }
}

void Sender::noteResult() {
  unanswered_ -= unanswered_ == 0 ? 0 : 1;
  isRefused_ = false;
  pumpSoon(std::chrono::microseconds(0));
}

void Sender::pumpSoon(std::chrono::microseconds delay) {
  errands_.cancel(timer_);
  timer_ = errands_.after(delay, [this] { pump(); });
}

void Sender::pump() {
  for (unsigned int i = 0; !hasEnded_; ++i) {
    if (pending_.empty()) {
      const Source::Next next = source_->next(pending_);
      isWaiting_ = next == Source::Next::kLater;
      if (next == Source::Next::kEnd) {
        hasEnded_ = true;
        const auto onEnd = onEnd_;  // it may destroy this object
        onEnd(sent_);
        return;
      }
      if (isWaiting_) {
        return;
      }
    }
    if (!isOpen_ || isRefused_ || unanswered_ >= pace_.window || !isDue()) {
      return;
    }
    if (i == kAtOnce) {
      pumpSoon(std::chrono::microseconds(0));
      return;
    }
    if (!send_(pending_)) {
      isRefused_ = true;
      return;
    }
    pending_.clear();
    ++sent_;
    ++unanswered_;
  }
}

// The rate counts from the first message.
bool Sender::isDue() {
  if (pace_.perSecond == 0) {
    return true;
  }
  const auto now = std::chrono::steady_clock::now();
  if (sent_ == 0) {
    start_ = now;
  }
  const auto due = start_ + std::chrono::microseconds(sent_ * 1000000 / pace_.perSecond);
  if (due <= now) {
    return true;
  }
  pumpSoon(std::chrono::duration_cast<std::chrono::microseconds>(due - now) + std::chrono::microseconds(1));
  return false;
}

}  // namespace app
