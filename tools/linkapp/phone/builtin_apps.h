// Apps that need no program: echo, sink, source.
#pragma once

#include <cstddef>
#include <cstdint>

#include "loop/errands.h"
#include "phone/app.h"

namespace phone {

// Sends every message back.
Installed echoApp();

// Takes every message and says nothing.
Installed sinkApp();

// Messages of the pattern (text/pattern.h), numbered from 0.
struct Burst {
  std::uint32_t count = 0;  // 0 = without end
  std::size_t size = 64;
  unsigned int perSecond = 0;  // 0 = as fast as can be
};

// Sends a burst from the moment at which its session opens.
Installed sourceApp(loop::Errands& errands, const Burst& burst);

// Sends one burst and calls `onEnd` with how many it has sent. Ends early when it is destroyed.
class BurstSender {
 public:
  BurstSender(loop::Errands& errands, const Burst& burst, std::function<void(const Bytes&)> send,
              std::function<void(std::uint32_t sent)> onEnd);
  ~BurstSender();
  BurstSender(const BurstSender&) = delete;
  BurstSender& operator=(const BurstSender&) = delete;

 private:
  void sendDue();
  bool isOver() const { return burst_.count != 0 && sent_ == burst_.count; }

  loop::Errands& errands_;
  const Burst burst_;
  const std::function<void(const Bytes&)> send_;
  const std::function<void(std::uint32_t)> onEnd_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::uint32_t sent_ = 0;
  loop::TimerId timer_ = 0;
};

}  // namespace phone
