#include "phone/builtin_apps.h"

#include <algorithm>
#include <utility>

#include "text/pattern.h"

namespace phone {
namespace {

// Without a rate: a few at a time, so that everything else in the loop has its turn.
constexpr std::uint32_t kAtOnce = 16;
constexpr std::chrono::milliseconds kTick{1};

class EchoApp final : public App {
 public:
  explicit EchoApp(Session& session) : session_(session) {}
  bool onMessage(const Bytes& message) override {
    session_.send(message);
    return true;
  }

 private:
  Session& session_;
};

class SinkApp final : public App {
 public:
  bool onMessage(const Bytes& /*message*/) override { return true; }
};

class SourceApp final : public App {
 public:
  SourceApp(Session& session, loop::Errands& errands, const Burst& burst)
      : session_(session), errands_(errands), burst_(burst) {}
  void onOpened() override {
    sender_ = std::make_unique<BurstSender>(
        errands_, burst_, [this](const Bytes& message) { session_.send(message); },
        [this](std::uint32_t sent) {
          session_.report("burst-ended", {{"sent", sent}});
        });
  }
  bool onMessage(const Bytes& /*message*/) override { return true; }

 private:
  Session& session_;
  loop::Errands& errands_;
  const Burst burst_;
  std::unique_ptr<BurstSender> sender_;
};

std::string describe(const Burst& burst) {
  return "source size " + std::to_string(burst.size) +
         (burst.perSecond == 0 ? "" : " rate " + std::to_string(burst.perSecond)) +
         (burst.count == 0 ? "" : " count " + std::to_string(burst.count));
}

}  // namespace

Installed echoApp() {
  return {"echo", [](Session& session) { return std::make_unique<EchoApp>(session); }};
}

Installed sinkApp() {
  return {"sink", [](Session&) { return std::make_unique<SinkApp>(); }};
}

Installed sourceApp(loop::Errands& errands, const Burst& burst) {
  return {describe(burst),
          [&errands, burst](Session& session) { return std::make_unique<SourceApp>(session, errands, burst); }};
}

BurstSender::BurstSender(loop::Errands& errands, const Burst& burst, std::function<void(const Bytes&)> send,
                         std::function<void(std::uint32_t sent)> onEnd)
    : errands_(errands), burst_(burst), send_(std::move(send)), onEnd_(std::move(onEnd)) {
  timer_ = errands_.after(std::chrono::microseconds(0), [this] { sendDue(); });
}

BurstSender::~BurstSender() {
  errands_.cancel(timer_);
}

void BurstSender::sendDue() {
  const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start_);
  const std::uint64_t due = burst_.perSecond == 0
                                ? std::uint64_t{sent_} + kAtOnce
                                : static_cast<std::uint64_t>(elapsed.count()) * burst_.perSecond / 1000000 + 1;
  for (std::uint32_t i = 0; i < kAtOnce && sent_ < due && !isOver(); ++i) {
    send_(text::patternMessage(sent_++, burst_.size));
  }
  if (isOver()) {
    onEnd_(sent_);  // it may destroy this object
  } else {
    timer_ = errands_.after(kTick, [this] { sendDue(); });
  }
}

}  // namespace phone
