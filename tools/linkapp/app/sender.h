// Sends the messages of a source, as many ahead of their send results as the window allows.
//
// The channel has no flow control: whoever sends without looking at the results overwrites what nobody has read yet.
// A source is in no hurry while there is no link: it waits until one is open.
// Threads: the errands' alone.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "app/source.h"
#include "loop/errands.h"

namespace app {

struct Pace {
  std::uint32_t window = 16;   // messages without a result; the rings hold 40
  unsigned int perSecond = 0;  // 0 = as the window allows
};

class Sender {
 public:
  // `send` gives false where the library refuses. The message is tried again when a link has come up, and with each
  // result: until then too much may wait on a link that stays up.
  // `onEnd` is called from a task of its own, with how many were sent, when the source has ended.
  Sender(loop::Errands& errands, std::unique_ptr<Source> source, const Pace& pace,
         std::function<bool(const Bytes& message)> send, std::function<void(std::uint64_t sent)> onEnd);
  ~Sender();
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  // The link can be used from now on, or not: then what is without a result may never get one.
  void setOpen(bool isOpen);
  void noteResult();
  // The source has nothing yet, and everything that was sent has its result.
  bool isIdle() const { return isWaiting_ && unanswered_ == 0; }
  // Its next message was refused, and nothing has happened since.
  bool isRefused() const { return isRefused_; }

 private:
  void pump();
  bool isDue();
  void pumpSoon(std::chrono::microseconds delay);

  loop::Errands& errands_;
  const std::unique_ptr<Source> source_;
  const Pace pace_;
  const std::function<bool(const Bytes&)> send_;
  const std::function<void(std::uint64_t)> onEnd_;
  bool isOpen_ = false;
  bool isRefused_ = false;
  bool hasEnded_ = false;
  bool isWaiting_ = false;  // for the source
  Bytes pending_;           // taken from the source and not sent; empty = none
  std::uint32_t unanswered_ = 0;
  std::uint64_t sent_ = 0;
  std::chrono::steady_clock::time_point start_;
  loop::TimerId timer_ = 0;
};

}  // namespace app
