#include "phone/program_app.h"

#include <algorithm>
#include <functional>
#include <system_error>
#include <utility>

#include "loop/process.h"
#include "phone/frames.h"

namespace phone {
namespace {

using Clock = std::chrono::steady_clock;

// So many messages may follow each other at once; a ring of the channel holds 40 of all apps together.
constexpr double kAtOnce = 20;
constexpr std::size_t kBacklog = 64;
constexpr std::chrono::milliseconds kTick{1};
constexpr std::chrono::seconds kFloodPatience{1};
constexpr std::chrono::milliseconds kEndPatience{1000};

}  // namespace

// One run of a program. Without a session it only waits for its end.
class ProgramRun final : public loop::Process::Listener {
 public:
  ProgramRun(loop::Loop& loop, loop::Signals& signals, const ProgramLimits& limits, Session& session,
             const std::string& command)
      : loop_(loop), limits_(limits), session_(&session), tokens_(kAtOnce) {
    loop::Process::Start start;
    start.arguments = {"/bin/sh", "-c", command};
    start.environment = {{"LINKAPP_LAUNCH_STRING", session.launchString()},
                         {"LINKAPP_SESSION", std::to_string(session.number())},
                         {"LINKAPP_APP_ID", std::to_string(session.appId())}};
    process_ = std::make_unique<loop::Process>(loop, signals, start, *this);
    session_->report("program-started", {{"pid", process_->pid()}});
  }
  ~ProgramRun() override {
    loop_.cancel(paceTimer_);
    loop_.cancel(hangTimer_);
  }
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  bool write(const Bytes& message) {
    if (hasEnded_ || isGivenUp_ || process_->pending() + message.size() > limits_.pending) {
      return false;
    }
    process_->write(frame(message));
    watchProgress();
    return true;
  }

  // The session is over. `onOver` is called when the program has ended.
  void retire(std::function<void()> onOver) {
    session_ = nullptr;
    onOver_ = std::move(onOver);
    loop_.cancel(paceTimer_);
    loop_.cancel(hangTimer_);
    reader_.messages().clear();
    process_->setReading(true);
    if (hasEnded_) {
      onOver_();
    } else if (!isGivenUp_) {
      process_->end(kEndPatience);
    }
  }

  void onOutput(const char* data, std::size_t size) override {
    if (session_ == nullptr || isGivenUp_) {
      return;
    }
    if (!reader_.add(data, size)) {
      giveUp("program-broke-framing", {{"length", reader_.badLength()}});
      return;
    }
    pass();
  }

  void onEnded(const loop::Ending& ending) override {
    hasEnded_ = true;
    ending_ = ending;
    loop_.cancel(hangTimer_);
    if (session_ == nullptr) {
      onOver_();  // destroys this object, later
    } else {
      finishIfOver();
    }
  }

 private:
  // Sends on what the rate allows.
  void pass() {
    refill();
    while (tokens_ >= 1 && !reader_.messages().empty()) {
      tokens_ -= 1;
      const Bytes message = std::move(reader_.messages().front());
      reader_.messages().pop_front();
      session_->send(message);
    }
    process_->setReading(reader_.messages().size() <= kBacklog);
    if (isFlooding()) {
      giveUp("program-floods", {{"limit", limits_.perSecond}});
      return;
    }
    loop_.cancel(paceTimer_);
    if (!reader_.messages().empty()) {
      paceTimer_ = loop_.after(kTick, [this] { pass(); });
    }
    finishIfOver();
  }

  // It has had to wait for a second on end. Its pipe is read now and then meanwhile: only what has all been sent on is
  // no longer behind.
  bool isFlooding() {
    if (reader_.messages().empty()) {
      behindSince_ = Clock::time_point::max();
    } else if (reader_.messages().size() > kBacklog && behindSince_ == Clock::time_point::max()) {
      behindSince_ = Clock::now();
    }
    return behindSince_ != Clock::time_point::max() && Clock::now() - behindSince_ > kFloodPatience && !hasEnded_;
  }

  void refill() {
    const Clock::time_point now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - filled_).count();
    tokens_ = std::min(kAtOnce, tokens_ + seconds * limits_.perSecond);
    filled_ = now;
  }

  void watchProgress() {
    if (hangTimer_ != 0 || process_->pending() == 0) {
      return;
    }
    hangTimer_ = loop_.after(limits_.patience, [this, taken = process_->taken()] {
      hangTimer_ = 0;
      if (process_->pending() != 0 && process_->taken() == taken) {
        giveUp("program-hangs", {{"pending", process_->pending()}});
      } else {
        watchProgress();
      }
    });
  }

  void giveUp(const std::string& event, const text::Fields& fields) {
    if (isGivenUp_ || session_ == nullptr) {
      return;
    }
    isGivenUp_ = true;
    loop_.cancel(paceTimer_);
    loop_.cancel(hangTimer_);
    reader_.messages().clear();
    session_->report(event, fields);
    process_->setReading(true);
    process_->kill();
    session_->close();
  }

  void finishIfOver() {
    if (!hasEnded_ || isGivenUp_ || !reader_.messages().empty()) {
      return;
    }
    isGivenUp_ = true;
    session_->report("program-ended", {{"how", ending_.text()}, {"cut-off", reader_.leftOver()}});
    session_->close();
  }

  loop::Loop& loop_;
  const ProgramLimits& limits_;
  Session* session_;
  FrameReader reader_;
  double tokens_;
  Clock::time_point filled_ = Clock::now();
  Clock::time_point behindSince_ = Clock::time_point::max();
  bool isGivenUp_ = false;  // nothing is passed on any more
  bool hasEnded_ = false;
  loop::Ending ending_;
  loop::TimerId paceTimer_ = 0;
  loop::TimerId hangTimer_ = 0;
  std::function<void()> onOver_;
  std::unique_ptr<loop::Process> process_;
};

class ProgramApp final : public App {
 public:
  ProgramApp(ProgramHost& host, Session& session, const std::string& command) : host_(host) {
    try {
      run_ = std::make_unique<ProgramRun>(host.loop_, host.signals_, host.limits_, session, command);
    } catch (const std::system_error& error) {
      session.report("program-ended", {{"how", error.what()}, {"cut-off", 0}});
      session.close();
    }
  }
  ~ProgramApp() override {
    if (run_) {
      host_.retire(std::move(run_));
    }
  }
  ProgramApp(const ProgramApp&) = delete;
  ProgramApp& operator=(const ProgramApp&) = delete;

  bool onMessage(const Bytes& message) override { return run_ && run_->write(message); }

 private:
  ProgramHost& host_;
  std::unique_ptr<ProgramRun> run_;
};

ProgramHost::ProgramHost(loop::Loop& loop, loop::Signals& signals, const ProgramLimits& limits)
    : loop_(loop), signals_(signals), limits_(limits) {}

ProgramHost::~ProgramHost() = default;

Installed ProgramHost::app(const std::string& command) {
  return {"program " + command,
          [this, command](Session& session) { return std::make_unique<ProgramApp>(*this, session, command); }};
}

void ProgramHost::retire(std::unique_ptr<ProgramRun> run) {
  ProgramRun* const retired = run.get();
  retired_.push_back(std::move(run));
  retired->retire([this, retired] {
    loop_.post([this, retired] {
      retired_.erase(std::remove_if(retired_.begin(), retired_.end(),
                                    [retired](const auto& entry) { return entry.get() == retired; }),
                     retired_.end());
    });
  });
}

}  // namespace phone
