#include "record/replayer.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "inspect/log_view.h"
#include "record/show.h"
#include "text/fields.h"
#include "text/message.h"

namespace record {
namespace {

using Kind = StoryStep::Kind;

// An application that has just registered sets its listeners in the next microseconds: what was said to it a little
// later must not be said earlier here, however fast the rest is.
constexpr std::chrono::milliseconds kLongestSettling{50};
// An application that launches or sends by itself does it soon.
constexpr std::chrono::seconds kByItself{2};
// How long a launch that was accepted may take to show before it is asked for again.
constexpr std::chrono::seconds kUntilSeen{1};
constexpr std::chrono::milliseconds kBetweenTries{5};
// A ring holds 40 messages; some are under way.
constexpr std::uint64_t kRoomInRing = 24;

std::string messageText(const std::vector<std::uint8_t>& bytes) {
  return text::toText(text::messageFields(bytes));
}

// Whether messages below `head` wait for this receiver. It sleeps through those that are not for it, and its position
// stays where it is.
bool isAnyFor(const inspect::Receiver& receiver, const inspect::LogReader& log, std::uint64_t head) {
  std::vector<inspect::Message> messages;
  if (receiver.position < head) {
    log.read(receiver.position, head, static_cast<std::size_t>(head - receiver.position), messages);
  }
  return std::any_of(messages.begin(), messages.end(), [&receiver](const inspect::Message& message) {
    const auto& ids = receiver.identifiers;
    return !message.isForNobody && std::find(ids.begin(), ids.end(), message.id) != ids.end();
  });
}

}  // namespace

Replayer::Replayer(loop::Loop& loop, loop::Signals& signals, const Story& story, const ReplayOptions& options,
                   Progress progress)
    : loop_(loop),
      signals_(signals),
      story_(story),
      options_(options),
      progress_(std::move(progress)),
      device_(loop,
              [this](HeadUnitEvent event) {
                auto& queue = event.kind == Kind::kRegister ? registered_ : deeds_[event.app.appId];
                queue.push_back(std::move(event));
              }),
      log_(inspect::kSharedMemory) {}

std::vector<std::string> Replayer::run() {
  for (const StoryStep& step : story_.steps) {
    beginTime_ = beginTime_ == 0 ? step.time : beginTime_;
  }
  lastTime_ = beginTime_;
  last_ = Clock::now();
  for (std::size_t i = 0; i < story_.steps.size() && !isInterrupted_; ++i) {
    play(i);
  }
  finish();
  return differences_;
}

bool Replayer::await(const std::function<bool()>& condition, text::Duration patience) const {
  bool isTrue = false;
  loop_.runUntil([&] { return (isTrue = condition()) || isInterrupted_; }, patience);
  return isTrue;
}

bool Replayer::isOfDeviceSide(const StoryStep& step) const {
  switch (step.kind) {
    case Kind::kConnection:
    case Kind::kSession:
    case Kind::kResult:
    case Kind::kHandsFree:
    case Kind::kPlaying:
    case Kind::kData:
      return true;
    default:
      return false;
  }
}

void Replayer::play(std::size_t index) {
  const StoryStep& step = story_.steps[index];
  const bool isLifeOfDeviceSide = story_.processes[step.process].isDeviceSide && !isOfDeviceSide(step);
  if (isLifeOfDeviceSide) {
    return;  // here it is always there
  }
  awaitTime(step);
  ++steps_;
  progress_(describe(story_, step));
  if (isOfDeviceSide(step)) {
    playDeviceSide(step);
  } else if (step.kind == Kind::kRegister) {
    awaitRegistration(step);
  } else if (step.kind == Kind::kLaunch || step.kind == Kind::kSend) {
    awaitDeed(index);
  } else if (step.kind == Kind::kBegin) {
    begin(step);
  } else if (step.kind == Kind::kEnd) {
    end(step);
  } else if (StartedApp* const app = started(step.process)) {
    if (step.kind == Kind::kStop) {
      awaitQuiet(*app);
      app->stop();
    } else {
      app->proceed();
    }
  }
  lastTime_ = std::max(lastTime_, step.time);
  last_ = std::max(last_, step.kind == Kind::kRegister || step.kind == Kind::kLaunch || step.kind == Kind::kSend
                              ? Clock::now()
                              : last_);
  isAfterRegistration_ = step.kind == Kind::kRegister || (isAfterRegistration_ && !isOfDeviceSide(step));
}

// What an application does by itself comes when it comes; everything else is done at its time.
void Replayer::awaitTime(const StoryStep& step) {
  const std::chrono::nanoseconds between(step.time > lastTime_ ? step.time - lastTime_ : 0);
  std::chrono::nanoseconds pause(0);
  if (!options_.isAsFastAsPossible) {
    pause = std::chrono::nanoseconds(static_cast<std::int64_t>(static_cast<double>(between.count()) / options_.speed));
  }
  if (isAfterRegistration_ && isOfDeviceSide(step)) {
    pause = std::max<std::chrono::nanoseconds>(pause, std::min<std::chrono::nanoseconds>(between, kLongestSettling));
  }
  const bool isUpToApplication =
      (step.kind == Kind::kRegister || step.kind == Kind::kLaunch || step.kind == Kind::kSend) &&
      started(step.process) == nullptr;
  last_ += isUpToApplication ? std::chrono::nanoseconds(0) : pause;
  if (!isUpToApplication && last_ > Clock::now()) {
    await([] { return false; }, std::chrono::duration_cast<text::Duration>(last_ - Clock::now()));
  }
  if (options_.isAsFastAsPossible) {
    last_ = Clock::now();
  }
}

void Replayer::playDeviceSide(const StoryStep& step) {
  const bool isAboutApp = step.kind == Kind::kSession || step.kind == Kind::kResult || step.kind == Kind::kData;
  const auto app = ids_.find(step.app.appId);
  if (isAboutApp && app == ids_.end()) {
    if (step.app.appId != 0) {
      tellDifference(step, "there is no such application here");
    }
    return;
  }
  if (step.kind == Kind::kData && !step.areBytesKnown) {
    tellDifference(step, "its bytes are not in the recording");
    return;
  }
  if (step.kind == Kind::kData) {
    awaitRoomInRing();
  }
  if (step.kind == Kind::kSession && step.status.status == 1) {
    open_.insert(step.app.appId);
  } else if (step.kind == Kind::kSession) {
    open_.erase(step.app.appId);
  } else if (step.kind == Kind::kConnection && step.status.connectStatus != 1) {
    open_.clear();
  }
  device_.play(step, isAboutApp ? app->second : 0);
}

StartedApp* Replayer::started(std::size_t process) {
  const auto found = apps_.find(process);
  return found == apps_.end() || found->second->hasEnded() ? nullptr : found->second.get();
}

void Replayer::begin(const StoryStep& step) {
  if (!options_.isStarting) {
    return;
  }
  const StoryProcess& process = story_.processes[step.process];
  std::vector<std::string> arguments = {options_.tool, "app", "--json"};
  if (!process.sendsByItself) {
    arguments.emplace_back("--commands");
  }
  const std::vector<std::string> own = process.sendsByItself ? process.arguments : story_.argumentsFor(step.process);
  arguments.insert(arguments.end(), own.begin(), own.end());
  const std::string log = options_.logs.empty() ? "" : options_.logs + "/" + std::to_string(process.pid) + ".jsonl";
  const auto app =
      apps_.insert_or_assign(step.process, std::make_unique<StartedApp>(loop_, signals_, arguments, log)).first;
  if (!await([&] { return app->second->isReady() || app->second->hasEnded(); }, options_.patience) ||
      app->second->hasEnded()) {
    tellDifference(step, "it cannot be started");
  }
}

void Replayer::end(const StoryStep& step) {
  StartedApp* const app = started(step.process);
  if (app == nullptr) {
    return;
  }
  awaitQuiet(*app);
  if (story_.processes[step.process].wasKilled) {
    app->kill();
  } else {
    app->end();
  }
}

void Replayer::awaitRegistration(const StoryStep& step) {
  const auto find = [&] {
    return std::find_if(registered_.begin(), registered_.end(), [&step](const HeadUnitEvent& event) {
      return event.app.name == step.app.name && event.app.launchString == step.app.launchString &&
             event.app.iAP1Name == step.app.iAP1Name;
    });
  };
  if (!await([&] { return find() != registered_.end(); }, options_.patience)) {
    tellDifference(step, "it did not within " + text::toText(options_.patience));
    return;
  }
  const auto found = find();
  ids_[step.app.appId] = found->app.appId;
  names_[found->app.appId] = found->app.name;
  registered_.erase(found);
}

// What the application does now: by itself, or because it is told to.
void Replayer::awaitDeed(std::size_t index) {
  const StoryStep& step = story_.steps[index];
  const auto id = ids_.find(step.app.appId);
  if (id == ids_.end()) {
    tellDifference(step, "there is no such application here");
    return;
  }
  const std::uint32_t app = id->second;
  if (step.kind == Kind::kLaunch) {
    launched_.insert(app);
  }
  const auto isDone = [&] { return takeDeed(step, app); };
  // Sent while its session was being closed: whether it can be sent at all is a matter of microseconds.
  if (step.kind == Kind::kSend && open_.count(step.app.appId) == 0) {
    isDone();
    return;
  }
  StartedApp* const own = started(step.process);
  if (own != nullptr && own->isStopped()) {
    own->proceed();  // that it went on was noticed later
  }
  const bool isByItself = story_.processes[step.process].sendsByItself || story_.isLaunchByItself(index);
  if (own != nullptr && !(isByItself && step.kind == Kind::kLaunch && await(isDone, kByItself))) {
    if (!story_.processes[step.process].sendsByItself) {
      make(step, *own, isDone);
      return;
    }
  } else if (own != nullptr) {
    return;
  }
  if (!await(isDone, options_.patience)) {
    tellDifference(step, "it did not within " + text::toText(options_.patience));
  }
}

// An application that has not heard yet what it was told before refuses, and is asked again.
void Replayer::make(const StoryStep& step, StartedApp& app, const std::function<bool()>& isDone) {
  std::string command;
  if (step.kind == Kind::kSend && !step.areBytesKnown) {
    tellDifference(step, "its bytes are not in the recording");
    return;
  }
  if (step.kind == Kind::kLaunch) {
    command = step.status.launchMethod == iosapp_def_::APPLAUNCH_WITHOUT_ALERT ? "launch method no-alert" : "launch";
  } else {
    command = "send-hex " + hexOf(step.bytes.data(), step.bytes.size());
  }
  const auto end = Clock::now() + options_.patience;
  bool hasLaunched = false;
  while (Clock::now() < end && !app.hasEnded() && !isInterrupted_) {
    awaitTaken(app.pid());
    const std::string reply = app.ask(command).value_or("");
    const bool isAccepted = reply.find(R"("accepted":true)") != std::string::npos;
    if (isAccepted && await(isDone, step.kind == Kind::kLaunch ? kUntilSeen : options_.patience)) {
      return;
    }
    // Where its session was opened by the phone it has to launch first; nobody else hears of that.
    const bool maySelect = step.kind == Kind::kSend && launched_.count(ids_.at(step.app.appId)) == 0;
    if (!isAccepted && maySelect && !std::exchange(hasLaunched, true)) {
      app.ask("launch");
    }
    await([] { return false; }, kBetweenTries);
  }
  tellDifference(step, "it did not within " + text::toText(options_.patience));
}

bool Replayer::isSame(const StoryStep& step, const HeadUnitEvent& event) const {
  if (event.kind != step.kind) {
    return false;
  }
  return step.kind == Kind::kLaunch ? event.launchMethod == step.status.launchMethod
                                    : !step.areBytesKnown || event.bytes == step.bytes;
}

// Of what it has done, the first that fits; what comes before that is not in the recording.
bool Replayer::takeDeed(const StoryStep& step, std::uint32_t app) {
  std::deque<HeadUnitEvent>& deeds = deeds_[app];
  const auto same =
      std::find_if(deeds.begin(), deeds.end(), [&](const HeadUnitEvent& event) { return isSame(step, event); });
  const auto alike =
      std::find_if(deeds.begin(), deeds.end(), [&](const HeadUnitEvent& event) { return event.kind == step.kind; });
  const auto found = same != deeds.end() ? same : alike;
  if (found == deeds.end()) {
    return false;
  }
  for (auto other = deeds.begin(); other != found; ++other) {
    tellDifference(step, std::string("before that it ") + (other->kind == Kind::kLaunch ? "launched" : "sent ") +
                             messageText(other->bytes) + ", which the recording does not have");
  }
  if (same == deeds.end()) {
    tellDifference(step, step.kind == Kind::kLaunch ? "it did by another method"
                                                    : "it sent " + messageText(found->bytes) + " instead");
  }
  deeds.erase(deeds.begin(), std::next(found));
  return true;
}

// Until this process has taken everything from the log that is there now.
void Replayer::awaitTaken(std::uint32_t pid) const {
  if (!log_.isUsable() || !log_.isCurrent()) {
    log_ = inspect::LogReader(inspect::kSharedMemory);
  }
  const std::uint64_t head = log_.isUsable() ? log_.head() : 0;
  const auto hasTaken = [&] {
    const inspect::Log log = readLog(log_);
    const auto found = std::find_if(log.receivers.begin(), log.receivers.end(),
                                    [pid](const inspect::Receiver& receiver) { return receiver.pid == pid; });
    return found == log.receivers.end() || !isAnyFor(*found, log_, head);
  };
  const auto end = Clock::now() + options_.patience;
  while (!hasTaken() && Clock::now() < end && !isInterrupted_) {
    loop_.runUntil([] { return false; }, std::chrono::microseconds(200));
  }
}

// Whoever stands still is not waited for: the recording had him, too.
void Replayer::awaitRoomInRing() {
  if (!options_.isAsFastAsPossible && options_.speed <= 1) {
    return;
  }
  for (const auto& entry : apps_) {
    if (!entry.second->hasEnded() && !entry.second->isStopped() && log_.head() % kRoomInRing == 0) {
      awaitTaken(entry.second->pid());
    }
  }
}

// Its counters do not change any more.
void Replayer::awaitQuiet(StartedApp& app) const {
  awaitTaken(app.pid());
  std::optional<std::string> before = app.ask("state");
  for (int tries = 0; tries < 100 && before && !isInterrupted_; ++tries) {
    loop_.runUntil([] { return false; }, std::chrono::milliseconds(10));
    const std::optional<std::string> now = app.ask("state");
    if (now == before) {
      return;
    }
    before = now;
  }
}

void Replayer::finish() {
  for (auto& entry : apps_) {
    if (!entry.second->hasEnded() && !entry.second->isStopped()) {
      if (!story_.processes[entry.first].sendsByItself) {
        awaitQuiet(*entry.second);
      }
    }
  }
  loop_.runUntil([this] { return isInterrupted_; }, std::chrono::milliseconds(20));
  for (const auto& [app, deeds] : deeds_) {
    for (const HeadUnitEvent& event : deeds) {
      differences_.push_back("at the end: " + text::quoted(names_[app]) + " " +
                             (event.kind == Kind::kLaunch ? "launches" : "sends " + messageText(event.bytes)) +
                             ", which the recording does not have");
    }
  }
  for (const HeadUnitEvent& event : registered_) {
    differences_.push_back("at the end: " + text::quoted(event.app.name) +
                           " has registered, which the recording does not have");
  }
  for (auto& entry : apps_) {
    if (!entry.second->hasEnded()) {
      entry.second->end();
    }
  }
  device_.disconnect();
}

void Replayer::tellDifference(const StoryStep& step, const std::string& text) {
  char time[32];
  snprintf(time, sizeof time, "%+.3f", static_cast<double>(step.time - std::min(step.time, beginTime_)) / 1e9);
  differences_.push_back(std::string(time) + " " + describe(story_, step) + ": " + text);
}

std::string describe(const Story& story, const StoryStep& step) {
  const StoryApp* const app = story.app(step.app.appId);
  const StoryProcess& process = story.processes[step.process];
  const std::string appName = app == nullptr ? "app " + std::to_string(step.app.appId) : text::quoted(app->name);
  const std::string processName = text::quoted(process.name) + "(" + std::to_string(process.pid) + ")";
  const iosapp_def_::ConnectStatusNotify& status = step.status;
  switch (step.kind) {
    case Kind::kBegin:
      return processName + " begins";
    case Kind::kEnd:
      return processName + (process.wasKilled ? " is killed" : " ends");
    case Kind::kStop:
      return processName + " is stopped";
    case Kind::kContinue:
      return processName + " goes on";
    case Kind::kRegister:
      return appName + " registers";
    case Kind::kLaunch:
      return appName + " asks for its launch";
    case Kind::kSend:
      return appName + " sends " + (step.areBytesKnown ? messageText(step.bytes) : "something");
    case Kind::kConnection:
      return std::string("phone ") + (status.connectStatus == 1 ? "connected over " : "not connected over ") +
             (status.connectType == 1 ? "bluetooth" : "usb") + (status.iapType == 0 ? ", iap1" : ", iap2");
    case Kind::kSession:
      return "session of " + appName + (status.status == 1 ? " opened" : " closed");
    case Kind::kResult:
      return appName + " has a send result: " + std::to_string(status.sendResult);
    case Kind::kHandsFree:
      return std::string("hands-free link ") + (status.btConnected != 0 ? "up" : "down");
    case Kind::kPlaying:
      return "playing " +
             text::quoted(std::string(status.playbackAppName,
                                      std::find(status.playbackAppName, std::end(status.playbackAppName), '\0')));
    case Kind::kData:
      return appName + " gets " + (step.areBytesKnown ? messageText(step.bytes) : "something");
  }
  return "";
}

}  // namespace record
