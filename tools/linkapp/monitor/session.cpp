#include "monitor/session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "loop/signals.h"
#include "text/terminal.h"

namespace monitor {
namespace {

constexpr int kSignalCode = 128;
constexpr std::size_t kMostAlarms = 8;
constexpr auto kFirstFigures = std::chrono::milliseconds(200);  // a screen without rates is no use for long
constexpr auto kKeyPause = std::chrono::milliseconds(50);       // a new size comes as a signal, not as a key

}  // namespace

Session::Session(const Plan& plan) : plan_(plan), watch_(plan.watch), lines_(watch_, plan.form) {
  if (plan.view == View::kTop) {
    screen_ = std::make_unique<Screen>();
  }
}

int Session::run() {
  const loop::Signals signals(loop_, [this](int signal) { end(kSignalCode + signal); });
  print(lines_.ofBegin());
  loop_.post([this] { look(); });
  if (plan_.view != View::kLines) {
    loop_.after(plan_.view == View::kTop ? kFirstFigures : plan_.period, [this] { nextPeriod(); });
  }
  if (plan_.duration) {
    loop_.after(*plan_.duration, [this] { end(plan_.count ? 1 : 0); });
  }
  if (screen_) {
    obeyKeys();
  }
  loop_.run();
  tellBursts(bursts_.takeAll());
  if (plan_.view == View::kStats) {
    tellRest();
  }
  screen_.reset();
  return code_;
}

void Session::end(int code) {
  if (!hasEnded_) {
    hasEnded_ = true;
    code_ = code;
    loop_.stop();
  }
}

void Session::look() {
  if (hasEnded_) {
    return;
  }
  const Turn turn = watch_.turn();
  take(turn);
  if (isEnough()) {
    end(0);
  } else if (turn.hasMore) {
    loop_.post([this] { look(); });
  } else {
    loop_.after(watch_.pause(), [this] { look(); });
  }
}

void Session::take(const Turn& turn) {
  lines_.beginTurn();
  if (turn.isNewLog && plan_.view == View::kLines) {
    print(lines_.ofNewLog());
  }
  if (turn.problem != problem_) {
    problem_ = turn.problem;
    if (plan_.view == View::kLines) {
      print(lines_.ofProblem(problem_));
    }
  }
  tell(turn);
  stats_.look(watch_);
  for (const inspect::Loss& loss : turn.losses) {
    if (plan_.filter.passes(loss, watch_)) {
      bursts_.add(loss, watch_.now());
    }
  }
  tellBursts(bursts_.takeOver(watch_.now()));
  if (plan_.view != View::kTop) {
    fflush(stdout);
    if (ferror(stdout) != 0 || text::hasHungUp(STDOUT_FILENO)) {
      end(0);  // nobody reads any more, or the disk is full
    }
  }
}

void Session::tell(const Turn& turn) {
  for (std::size_t i = 0; i < turn.messages.size() && !isEnough(); ++i) {
    const inspect::Message& message = turn.messages[i];
    if (!plan_.filter.passes(message, watch_)) {
      continue;
    }
    ++shown_;
    if (plan_.view == View::kLines) {
      print(lines_.ofMessage(message, turn.contents[i]));
    } else {
      stats_.add(message, turn.contents[i]);
    }
  }
}

void Session::tellBursts(const std::vector<Burst>& bursts) {
  for (const Burst& burst : bursts) {
    const std::string line = lines_.ofBurst(burst);
    if (plan_.view != View::kTop) {
      print(line);
      continue;
    }
    alarms_.push_back(line.substr(0, line.size() - 1));
    if (alarms_.size() > kMostAlarms) {
      alarms_.pop_front();
    }
  }
}

void Session::tellStats() {
  const Figures figures = stats_.take(watch_.now());
  periodBegin_ = watch_.now();
  print(plan_.form == Lines::Form::kJson ? text::toJson(statsFields(figures, watch_)) + "\n"
                                         : statsText(figures, watch_) + "\n");
  fflush(stdout);
}

// Of a stretch of time that was not over.
void Session::tellRest() {
  const auto rest = std::chrono::nanoseconds(watch_.now() - periodBegin_);
  if (periodBegin_ == 0 || rest >= plan_.period / 2) {
    tellStats();
  }
}

void Session::nextPeriod() {
  if (hasEnded_) {
    return;
  }
  if (screen_) {
    figures_ = stats_.take(watch_.now());
    draw();
  } else {
    tellStats();
  }
  loop_.after(plan_.period, [this] { nextPeriod(); });
}

void Session::draw() {
  screen_->show(topPage(figures_, alarms_, problem_, watch_, screen_->width(), screen_->height()));
}

void Session::obeyKeys() {
  for (Screen::Key key = screen_->key(); key != Screen::Key::kNone; key = screen_->key()) {
    if (key == Screen::Key::kQuit) {
      end(0);
      return;
    }
    draw();
  }
  if (text::hasHungUp(STDIN_FILENO)) {
    end(0);  // the terminal is gone
    return;
  }
  loop_.after(kKeyPause, [this] { obeyKeys(); });
}

void Session::print(const std::string& text) {
  fputs(text.c_str(), stdout);
}

}  // namespace monitor
