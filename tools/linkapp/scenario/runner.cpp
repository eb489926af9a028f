#include "scenario/runner.h"

#include <signal.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "scenario/bluetooth.h"

namespace scenario {
namespace {

// How long a state is not looked at again where no event tells of a change.
constexpr std::chrono::milliseconds kGlance{20};
constexpr std::chrono::seconds kEndPatience{5};
// Replies come at once; a step's own deadline is for what the command brings about.
constexpr std::chrono::seconds kReplyPatience{10};

}  // namespace

Runner::Runner(loop::Loop& loop, loop::Signals& signals, const Scenario& scenario, const RunOptions& options,
               Progress& progress)
    : loop_(loop), signals_(signals), scenario_(scenario), options_(options), progress_(progress) {
  for (const ProcessLine& process : scenario.processes) {
    actors_.emplace_back(process);
  }
}

Runner::~Runner() = default;

void Runner::setLocal(const std::string& name, MakeLocal make) {
  localName_ = name;
  makeLocal_ = std::move(make);
  for (Actor& actor : actors_) {
    if (actor.line().name == name) {
      actor.take(makeLocal_(actor));
    }
  }
}

std::string Runner::run() {
  for (const Step& step : scenario_.steps) {
    step_ = &step;
    progress_.onStep(step);
    if (!runStep(step)) {
      return failure_;
    }
  }
  if (step_ != nullptr && !endEverybody()) {
    return failure_;
  }
  return "";
}

bool Runner::runStep(const Step& step) {
  std::vector<std::size_t> order = step.processes;
  if (step.kind == Step::Kind::kStart && options_.isReverse) {
    std::reverse(order.begin(), order.end());
  }
  for (const std::size_t index : order) {
    Actor& actor = actors_[index];
    bool isDone = true;
    switch (step.kind) {
      case Step::Kind::kStart:
        isDone = start(actor);
        break;
      case Step::Kind::kStop:
        isDone = stop(actor);
        break;
      case Step::Kind::kRestart:
        isDone = stop(actor) && start(actor);
        break;
      case Step::Kind::kKill:
        isDone = kill(actor);
        break;
      case Step::Kind::kFreeze:
        isDone = signal(actor, SIGSTOP);
        break;
      case Step::Kind::kThaw:
        isDone = signal(actor, SIGCONT);
        break;
      case Step::Kind::kTell:
        isDone = tell(actor);
        break;
      case Step::Kind::kExpect:
        isDone = expect(actor);
        break;
      case Step::Kind::kWait:
        isDone = waitForState(actor);
        break;
      case Step::Kind::kForbid:
        actor.forbid(step.event, step.conditions);
        break;
      case Step::Kind::kAllow:
        actor.allow();
        break;
      case Step::Kind::kEnded:
        isDone = awaitEnd(actor);
        break;
      case Step::Kind::kNote:
        break;
    }
    if (!isDone) {
      return false;
    }
  }
  return !isDisturbed();
}

std::vector<std::string> Runner::argumentsOf(const ProcessLine& line) const {
  std::vector<std::string> arguments;
  if (!line.kind->start.empty()) {
    arguments.push_back(line.kind->program.empty() ? options_.tool : findProgram(line.kind->program));
    arguments.insert(arguments.end(), line.kind->start.begin(), line.kind->start.end());
  }
  arguments.insert(arguments.end(), line.arguments.begin(), line.arguments.end());
  return arguments;
}

bool Runner::start(Actor& actor) {
  if (makeLocal_ && actor.line().name == localName_) {
    return true;
  }
  if (actor.isRunning()) {
    return fail(actor.line().name + " runs already");
  }
  try {
    actor.begin(options_.logs.empty() ? "" : options_.logs + "/" + actor.line().name + ".jsonl");
    actor.take(startChild(loop_, signals_, argumentsOf(actor.line()), actor));
  } catch (const std::exception& error) {
    return fail("cannot start " + actor.line().name + ": " + error.what());
  }
  if (!actor.line().kind->speaksJson) {
    return true;
  }
  const bool isReady = await([&] { return actor.takeEvent("ready", {}) || actor.ending(); });
  if (actor.ending()) {
    return fail(actor.line().name + " has ended before it was ready: " + actor.ending()->text() +
                actor.tellNearest("", {}));
  }
  return isReady ||
         fail(actor.line().name + " is not ready after " + text::toText(step_->within) + actor.tellNearest("", {}));
}

bool Runner::stop(Actor& actor) {
  if (!actor.isRunning()) {
    return fail(actor.line().name + " does not run");
  }
  if (actor.line().name == localName_) {
    return fail(actor.line().name + " is the process that runs this scenario; it cannot be stopped");
  }
  actor.allowEnd();
  if (actor.line().kind->speaksJson) {
    actor.player().tell("quit");
  }
  actor.player().end(kEndPatience * options_.slowness);
  if (!await([&] { return actor.ending().has_value(); }, 3 * kEndPatience)) {
    return fail(actor.line().name + " does not end");
  }
  const loop::Ending& ending = *actor.ending();
  return (ending.code == 0 && ending.signal == 0) ||
         fail("expected " + actor.line().name + " to end with exit code 0, not with " + ending.text());
}

bool Runner::kill(Actor& actor) {
  actor.allowEnd();
  return signal(actor, SIGKILL) &&
         (await([&] { return actor.ending().has_value(); }) || fail(actor.line().name + " outlives SIGKILL"));
}

bool Runner::signal(Actor& actor, int number) {
  if (!actor.isRunning()) {
    return fail(actor.line().name + " does not run");
  }
  return actor.player().signal(number) || fail(actor.line().name + " is the process that runs this scenario");
}

bool Runner::ask(Actor& actor, const std::string& command, std::string& reply) {
  if (!actor.isRunning()) {
    return fail(actor.line().name +
                (actor.wasStarted() ? " has ended: " + actor.ending()->text() : " was not started"));
  }
  actor.player().tell(command);
  if (!actor.line().kind->speaksJson) {
    return true;
  }
  std::optional<std::string> taken;
  const text::Duration patience = std::max<text::Duration>(step_->within, kReplyPatience);
  await(
      [&] {
        taken = actor.takeReply();
        return taken || actor.ending();
      },
      patience);
  if (!taken) {
    return fail(actor.line().name + (actor.ending() ? " has ended instead of an answer: " + actor.ending()->text()
                                                    : " does not answer after " + text::toText(patience)));
  }
  reply = *taken;
  return true;
}

bool Runner::tell(Actor& actor) {
  std::string reply;
  if (!ask(actor, step_->command, reply)) {
    return false;
  }
  if (!actor.line().kind->speaksJson) {
    return true;
  }
  const Place place = {step_->place.line, step_->commandColumn};
  const bool hasOpinion = std::any_of(step_->conditions.begin(), step_->conditions.end(),
                                      [](const Condition& c) { return c.field == "ok"; });
  static const auto* const isOk = new std::vector<Condition>{{"ok", Condition::Operator::kEqual, "true", false}};
  if (!hasOpinion && !holds(reply, *isOk)) {
    return fail(actor.line().name + " refused: " + reply, place);
  }
  std::string why;
  return holds(reply, step_->conditions, &why) || fail(why + "\n  " + actor.line().name + " replied " + reply, place);
}

bool Runner::expect(Actor& actor) {
  if (!actor.wasStarted()) {
    return fail(actor.line().name + " was not started, so nothing can be expected of it");
  }
  bool isTaken = false;
  await([&] {
    isTaken = actor.takeEvent(step_->event, step_->conditions);
    return isTaken || actor.ending();
  });
  if (isTaken) {
    return true;
  }
  std::string wanted = step_->event;
  for (const Condition& condition : step_->conditions) {
    wanted += " " + toText(condition);
  }
  return fail("expected " + actor.line().name + " to tell '" + wanted + "'" +
              (actor.ending() ? ", but it has ended: " + actor.ending()->text()
                              : " within " + text::toText(step_->within * options_.slowness)) +
              actor.tellNearest(step_->event, step_->conditions));
}

bool Runner::waitForState(Actor& actor) {
  std::string reply;
  std::string why;
  const auto deadline = std::chrono::steady_clock::now() + step_->within * options_.slowness;
  for (;;) {
    const std::size_t told = actor.toldCount();
    if (!ask(actor, "state", reply)) {
      return false;
    }
    if (holds(reply, step_->conditions, &why)) {
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return fail(why + " within " + text::toText(step_->within * options_.slowness) + "\n  the state of " +
                  actor.line().name + " is " + reply);
    }
    await([&] { return actor.toldCount() != told || actor.ending(); }, kGlance);
    if (isDisturbed()) {
      return false;
    }
  }
}

bool Runner::awaitEnd(Actor& actor) {
  if (!actor.wasStarted()) {
    return fail(actor.line().name + " was not started");
  }
  if (!await([&] { return actor.ending().has_value(); })) {
    return fail("expected " + actor.line().name + " to end within " + text::toText(step_->within * options_.slowness));
  }
  actor.allowEnd();
  const loop::Ending& ending = *actor.ending();
  std::string why;
  return holds(text::toJson({{"code", ending.code}, {"signal", ending.signal}}), step_->conditions, &why) ||
         fail(actor.line().name + " has ended with " + ending.text() + ": " + why);
}

// What ended without being asked has been overlooked so far, unless a step needed it.
bool Runner::endEverybody() {
  for (Actor& actor : actors_) {
    if (actor.hasEndedUnasked()) {
      return fail(actor.line().name + " has ended by itself: " + actor.ending()->text());
    }
    if (actor.isRunning() && actor.line().name != localName_) {
      actor.player().signal(SIGCONT);
      if (!stop(actor)) {
        return false;
      }
    }
  }
  return !isDisturbed();
}

bool Runner::await(const std::function<bool()>& condition) {
  return await(condition, step_->within);
}

bool Runner::await(const std::function<bool()>& condition, text::Duration patience) {
  bool isTrue = false;
  loop_.runUntil([&] { return (isTrue = condition()) || isDisturbed(); }, patience * options_.slowness);
  return isTrue;
}

// Something has gone wrong that no step waits for.
bool Runner::isDisturbed() {
  if (!failure_.empty()) {
    return true;
  }
  if (isInterrupted_) {
    return !fail("interrupted");
  }
  for (const Actor& actor : actors_) {
    if (!actor.offence().empty()) {
      return !fail(actor.line().name + " told what it must not: " + actor.offence());
    }
  }
  return false;
}

// The first reason stays.
bool Runner::fail(const std::string& text, const Place& place) {
  if (failure_.empty()) {
    failure_ = scenario_.file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + text;
  }
  return false;
}

}  // namespace scenario
