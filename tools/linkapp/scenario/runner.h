// Runs the steps of a scenario, one after the other. Nothing here waits for a time to pass: every wait is for a
// condition, with a deadline.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "loop/loop.h"
#include "loop/signals.h"
#include "scenario/actor.h"
#include "scenario/player.h"
#include "scenario/scenario.h"

namespace scenario {

struct RunOptions {
  bool isReverse = false;     // each `start` starts its processes from the last to the first
  unsigned int slowness = 1;  // factor for all deadlines
  std::string tool = "/proc/self/exe";
  std::string logs = {};  // a folder for what each process tells, as NAME.jsonl; empty: none
};

// What happens meanwhile, for whoever shows it.
struct Progress {
  virtual ~Progress() = default;
  virtual void onStep(const Step& step) = 0;  // before it is done
};

class Runner {
 public:
  Runner(loop::Loop& loop, loop::Signals& signals, const Scenario& scenario, const RunOptions& options,
         Progress& progress);
  // All processes have ended then.
  ~Runner();
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  // The process with this name is there from the beginning, made by `make`.
  using MakeLocal = std::function<std::unique_ptr<Player>(Player::Listener& listener)>;
  void setLocal(const std::string& name, MakeLocal make);

  // Ends the run as soon as can be.
  void interrupt() { isInterrupted_ = true; }

  // Empty where every step was done, else FILE:LINE:COLUMN: and what went wrong.
  std::string run();

 private:
  bool runStep(const Step& step);
  bool start(Actor& actor);
  bool stop(Actor& actor);
  bool kill(Actor& actor);
  bool signal(Actor& actor, int number);
  bool tell(Actor& actor);
  bool expect(Actor& actor);
  bool waitForState(Actor& actor);
  bool awaitEnd(Actor& actor);
  bool ask(Actor& actor, const std::string& command, std::string& reply);
  bool endEverybody();

  bool await(const std::function<bool()>& condition);
  bool await(const std::function<bool()>& condition, text::Duration patience);
  bool isDisturbed();
  std::vector<std::string> argumentsOf(const ProcessLine& line) const;
  bool fail(const std::string& text) { return fail(text, step_->place); }
  bool fail(const std::string& text, const Place& place);

  loop::Loop& loop_;
  loop::Signals& signals_;
  const Scenario& scenario_;
  const RunOptions options_;
  Progress& progress_;
  std::deque<Actor> actors_;  // as the scenario's processes
  std::string localName_;
  MakeLocal makeLocal_;
  const Step* step_ = nullptr;
  std::string failure_;
  bool isInterrupted_ = false;
};

}  // namespace scenario
