#include "why/target.h"

#include <algorithm>

#include "doctor/words.h"

namespace why {

using doctor::processText;
using inspect::ReceiverView;
using inspect::Said;

namespace {

constexpr const char* kStartDeviceSide = "start the device side (`linkapp phone` is one); it announces the state anew";

bool isNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos && text.size() < 4;
}

}  // namespace

Target::Target(const doctor::Examination& all, const Question& question) : all_(all), question_(question) {
  find();
}

// An application that was started again has several entries. The last one counts whose process is there.
void Target::find() {
  for (const inspect::AppView& app : all_.snapshot.apps) {
    const bool isMeant = isNumber(question_.app) ? std::to_string(app.entry.place + 1) == question_.app
                                                 : app.entry.appName == question_.app;
    if (isMeant && (app_ == nullptr || !app.isOwnerGone || app_->isOwnerGone)) {
      app_ = &app;
    }
  }
}

std::string Target::name() const {
  return text::quoted(app_ == nullptr ? question_.app : app_->entry.appName);
}

std::string Target::said(const Said& said) const {
  return doctor::saidText(said, all_.snapshot);
}

std::uint32_t Target::ownerPid() const {
  return app_ != nullptr && app_->owner && !app_->isOwnerGone ? app_->owner->pid : 0;
}

const ReceiverView* Target::receiverOf(std::uint32_t pid) const {
  const auto& receivers = all_.snapshot.receivers;
  const auto found = std::find_if(receivers.begin(), receivers.end(), [pid](const ReceiverView& receiver) {
    return pid != 0 && receiver.listed.pid == pid && !receiver.isGone;
  });
  return found == receivers.end() ? nullptr : &*found;
}

const doctor::ChannelProcess* Target::processOf(std::uint32_t pid) const {
  const auto& processes = all_.system.processes;
  const auto found = std::find_if(processes.begin(), processes.end(), [pid](const doctor::ChannelProcess& process) {
    return pid != 0 && process.process.pid == pid;
  });
  return found == processes.end() ? nullptr : &*found;
}

const doctor::DeviceSide* Target::deviceSide() const {
  const doctor::DeviceSide* last = nullptr;
  for (const doctor::DeviceSide& side : all_.history.deviceSides) {
    if (!side.isGone && (last == nullptr || side.last.sequence > last->last.sequence)) {
      last = &side;
    }
  }
  return last;
}

const ReceiverView* Target::deviceSideReceiver() const {
  const doctor::DeviceSide* const side = deviceSide();
  return side == nullptr ? nullptr : receiverOf(side->process.pid);
}

const doctor::SessionChange* Target::lastSession() const {
  const auto& sessions = all_.history.sessions;
  const auto found = std::find_if(sessions.rbegin(), sessions.rend(),
                                  [this](const auto& session) { return session.appId == appId(); });
  return found == sessions.rend() ? nullptr : &*found;
}

const inspect::ChannelState::Link* Target::lastLink() const {
  const auto& links = all_.history.links;
  const auto found =
      std::find_if(links.rbegin(), links.rend(), [this](const auto& link) { return link.device == question_.device; });
  return found == links.rend() ? nullptr : &*found;
}

bool Target::knowsAllOfApp() const {
  return all_.history.isComplete || (app_ != nullptr && app_->traffic && app_->traffic->registered);
}

Condition Target::isRegistered(const char* effect) const {
  const inspect::Table& table = all_.snapshot.table;
  Condition condition = {"the application is registered", Verdict::kFails, "", effect, ""};
  std::vector<std::string> names;
  for (const inspect::AppView& app : all_.snapshot.apps) {
    names.push_back(text::quoted(app.entry.appName));
  }
  if (!table.segment.object.exists && table.segment.object.problem.empty()) {
    condition.evidence = "there is no registration table: /dev/shm has no " + std::string(inspect::kAppInfoSegment);
    condition.remedy = "start the device side and the application";
  } else if (!table.segment.isWhole) {
    condition.evidence = std::string(inspect::kAppInfoSegment) + " cannot be read: " +
                         (table.segment.object.problem.empty() ? "it is too short" : table.segment.object.problem);
    condition.remedy = "see `linkapp doctor`";
  } else if (app_ == nullptr) {
    condition.evidence = "the table has no app " + text::quoted(question_.app) +
                         (names.empty() ? "; it is empty" : "; it has " + doctor::joined(names, 20)) +
                         (table.isFull() ? ". It is full: who starts now gets no place" : "");
    condition.remedy = table.isFull() ? "stop everything that uses the channel, and type `linkapp reset`"
                                      : "start it; a registered app has a name that is not empty";
  } else if (!app_->entry.isValid || app_->entry.appId != appId()) {
    condition.evidence = "its entry is damaged: place " + std::to_string(app_->entry.place) + " holds app id " +
                         std::to_string(app_->entry.appId);
    condition.remedy = "see `linkapp doctor`";
  } else {
    condition.verdict = Verdict::kHolds;
    condition.evidence = name() + " has app id " + std::to_string(appId());
  }
  return condition;
}

Condition Target::isRunning() const {
  Condition condition = {"its process runs", Verdict::kFails, "",
                         "nothing: there is nobody who launches, sends or hears", ""};
  if (!app_->owner) {
    return {condition.what, Verdict::kUnseen, "no message in the log names the process behind the app", "", ""};
  }
  condition.evidence = processText(*app_->owner);
  if (app_->isOwnerGone) {
    condition.evidence = "process " + std::to_string(app_->owner->pid) + ", which registered it, has ended";
    condition.remedy = "start the application again; it gets a new app id";
  } else if (app_->owner->isStopped()) {
    condition.evidence += " is stopped";
    condition.effect = "nothing happens in it until it goes on: no call, no callback";
    condition.remedy = "kill -CONT " + std::to_string(app_->owner->pid) + "; a debugger may be attached to it";
  } else {
    condition.verdict = Verdict::kHolds;
  }
  return condition;
}

Condition Target::hasLog() const {
  const inspect::Log& log = all_.snapshot.log;
  Condition condition = {"it hears and is heard through the notifier's log", Verdict::kFails, "",
                         "no notification goes out or comes in", "see `linkapp doctor`"};
  const doctor::ChannelProcess* const process = processOf(ownerPid());
  if (!log.object.exists || !log.problem.empty()) {
    condition.evidence = log.object.name + " " + (log.problem.empty() ? "is not there" : log.problem);
  } else if (process != nullptr && process->removed.count(log.object.name) != 0) {
    condition.evidence = processText(process->process) + " uses a removed " + log.object.name;
    condition.remedy = "restart it; find out who removes objects while the channel runs";
  } else if (process != nullptr && process->isSeen && process->objects.count(log.object.name) == 0) {
    condition.evidence = processText(process->process) + " does not have " + log.object.name + " mapped";
  } else if (process == nullptr || !process->isSeen) {
    return {condition.what, Verdict::kUnseen, "this user may not see what the process has mapped", "", ""};
  } else {
    condition.verdict = Verdict::kHolds;
    condition.evidence = processText(process->process) + " has it mapped";
  }
  return condition;
}

Condition Target::isDeviceKnown(const char* effect) const {
  const bool isOne = question_.device == 1;
  return {"the device id is 1", isOne ? Verdict::kHolds : Verdict::kFails,
          "asked for device " + std::to_string(question_.device), effect, "the channel serves one iPhone, device 1"};
}

// As the application's own list has it: the last word that it has heard says exactly 1.
Condition Target::isConnected(const char* effect) const {
  const inspect::ChannelState::Link* const link = lastLink();
  Condition condition = {"device " + std::to_string(question_.device) + " is connected", Verdict::kFails, "", effect,
                         ""};
  if (link == nullptr && !all_.history.isComplete) {
    return {condition.what, Verdict::kUnseen, "the last word on it is older than the log", "", ""};
  }
  if (link == nullptr) {
    condition.evidence = "nobody has announced it";
    condition.remedy = deviceSide() == nullptr ? kStartDeviceSide : "connect the phone";
    return condition;
  }
  condition.evidence =
      "connectStatus " + std::to_string(link->connectStatus) + " was the last word, " + said(link->said);
  if (!link->isConnected()) {
    condition.remedy = link->connectStatus == 0 ? "connect the phone" : "the device side must announce exactly 1";
    return condition;
  }
  if (app_->traffic && app_->traffic->registered && app_->traffic->registered->sequence > link->said.sequence) {
    condition.evidence += ", before the application registered; it has not been said again";
    condition.remedy = "the device side must announce the state when an app registers (docs/start-order.md)";
    return condition;
  }
  const Condition heard = hasRead(link->said, condition.what, effect);
  return heard.verdict == Verdict::kFails ? heard
                                          : Condition{condition.what, Verdict::kHolds, condition.evidence, "", ""};
}

// Which device a client has chosen stands in its process alone. A launch that it asked for, or anything it sent, shows.
Condition Target::hasSelected() const {
  Condition condition = {"an accepted launch has chosen the device", Verdict::kFails, "",
                         "requestMsgSend returns false, and what the phone sends is not taken",
                         "call requestiOSLaunch when the phone is connected"};
  const auto& traffic = app_->traffic;
  if (traffic && (traffic->launches != 0 || traffic->sent != 0)) {
    condition.verdict = Verdict::kHolds;
    condition.evidence = traffic->lastLaunch ? "it asked for a launch, " + said(*traffic->lastLaunch)
                                             : "it has sent, " + said(*traffic->lastSent);
    return condition;
  }
  const bool wouldShow = !app_->entry.launchString.empty() && knowsAllOfApp() && lastSession() == nullptr;
  if (!wouldShow) {
    return {condition.what, Verdict::kUnseen,
            "a launch of an app that is open already, or has no launch string, sends "
            "nothing",
            "", ""};
  }
  condition.evidence =
      "app id " + std::to_string(appId()) + " has asked for no launch since it registered: not launched";
  return condition;
}

Condition Target::hasSession(const char* effect) const {
  Condition condition = {"its session is open", Verdict::kFails, "", effect, "see `linkapp why launch " + name() + "`"};
  const doctor::SessionChange* const session = lastSession();
  const inspect::ChannelState::Link* const link = lastLink();
  if (session == nullptr && !all_.history.isComplete && !knowsAllOfApp()) {
    return {condition.what, Verdict::kUnseen, "the last word on it is older than the log", "", ""};
  }
  if (session == nullptr) {
    condition.evidence = "no session of app id " + std::to_string(appId()) + " has been opened: no session";
    return condition;
  }
  condition.evidence = std::string(session->isOpened ? "opened" : "closed") + ", " + said(session->said);
  if (!session->isOpened) {
    return condition;
  }
  for (const inspect::ChannelState::Link& other : all_.history.links) {
    if (other.said.sequence > session->said.sequence && !other.isConnected() && other.device == question_.device) {
      condition.evidence += "; it went with the link, " + said(other.said);
      return condition;
    }
  }
  if (link != nullptr && link->isConnected()) {
    Condition heard = hasRead(session->said, condition.what, effect);
    if (heard.verdict == Verdict::kFails) {
      return heard;
    }
  }
  condition.verdict = Verdict::kHolds;
  return condition;
}

Condition Target::mapped(const std::string& who, std::uint32_t pid, const char* segment, const char* effect) const {
  Condition condition = {who + " has " + segment + " mapped", Verdict::kFails, "", effect, "see `linkapp doctor`"};
  const doctor::ChannelProcess* const process = processOf(pid);
  if (process == nullptr || !process->isSeen) {
    return {condition.what, Verdict::kUnseen, "this user may not see what the process has mapped", "", ""};
  }
  condition.evidence = processText(process->process);
  if (process->removed.count(segment) != 0) {
    condition.evidence += " uses a removed one: nobody who came later meets it there";
    condition.remedy = "restart it; find out who removes objects while the channel runs";
  } else if (process->objects.count(segment) == 0) {
    condition.evidence += " does not have it mapped: it could not open it when it started";
  } else {
    condition.verdict = Verdict::kHolds;
  }
  return condition;
}

Condition Target::hasMapped(const char* segment, const char* effect) const {
  return mapped("the application", ownerPid(), segment, effect);
}

Condition Target::deviceSideHasMapped(const char* segment) const {
  const doctor::DeviceSide* const side = deviceSide();
  return mapped("the device side", side == nullptr ? 0 : side->process.pid, segment,
                "the two sides do not meet in this segment");
}

Condition Target::read(const std::string& who, const ReceiverView* receiver, const Said& said, const std::string& what,
                       const char* effect) const {
  Condition condition = {what, Verdict::kHolds, "", effect, ""};
  if (receiver == nullptr) {
    return {what, Verdict::kUnseen, who + " is not in the table of receivers", "", ""};
  }
  condition.evidence = who + " " + std::to_string(receiver->listed.pid);
  const auto later = all_.history.positions.find(receiver->listed.pid);
  const bool hasMoved = later != all_.history.positions.end() && later->second > said.sequence;
  if (hasMoved || receiver->listed.position > said.sequence) {
    condition.evidence += " has read it";
    return condition;
  }
  condition.verdict = Verdict::kFails;
  condition.isUnderWay = !receiver->process.isStopped();
  condition.evidence += " has not read it yet (" + this->said(said) + "): it is " +
                        doctor::number(receiver->behind.value_or(0), "message", "messages") + " behind" +
                        (receiver->process.isStopped() ? ", and stopped" : "");
  condition.remedy = receiver->process.isStopped() ? "kill -CONT " + std::to_string(receiver->listed.pid)
                                                   : "look again; see what its callbacks do if it stays so";
  return condition;
}

Condition Target::hasRead(const Said& said, const std::string& what, const char* effect) const {
  return read("the application", receiver(), said, what, effect);
}

Condition Target::deviceSideHasRead(const Said& said, const std::string& what) const {
  return read("the device side", deviceSideReceiver(), said, what, "it does nothing about it until then");
}

Condition Target::hasDeviceSide() const {
  Condition condition = {"a device side is there and runs", Verdict::kFails, "", "nobody answers", kStartDeviceSide};
  const doctor::DeviceSide* const side = deviceSide();
  if (side == nullptr && all_.history.deviceSides.empty() && !all_.history.isComplete) {
    return {condition.what, Verdict::kUnseen, "nobody has spoken as the device side for 8192 messages", "", ""};
  }
  if (side == nullptr) {
    condition.evidence = all_.history.deviceSides.empty()
                             ? "nobody has spoken as the device side"
                             : "process " + std::to_string(all_.history.deviceSides.back().last.pid) +
                                   ", which spoke as the device side, has ended";
    return condition;
  }
  condition.evidence = processText(side->process);
  const auto others = std::count_if(all_.history.deviceSides.begin(), all_.history.deviceSides.end(),
                                    [](const doctor::DeviceSide& one) { return !one.isGone; });
  if (side->process.isStopped()) {
    condition.evidence += " is stopped";
    condition.remedy = "kill -CONT " + std::to_string(side->process.pid);
  } else if (others > 1) {
    condition.evidence += " spoke last, but " + std::to_string(others) + " processes speak as the device side";
    condition.effect = "each opens sessions and takes messages of its own: they contradict each other";
    condition.remedy = "end all but one";
  } else {
    condition.verdict = Verdict::kHolds;
  }
  return condition;
}

Condition Target::isFree(const char* segment, const char* effect) const {
  const auto* const at = std::find_if(std::begin(inspect::kSegments), std::end(inspect::kSegments),
                                      [segment](const char* name) { return std::string(name) == segment; });
  const auto index = static_cast<std::size_t>(at - std::begin(inspect::kSegments));
  const inspect::Lock& lock = all_.snapshot.locks[index];
  const inspect::Process& holder = all_.snapshot.holders[index];
  Condition condition = {"nobody keeps the lock of " + std::string(segment), Verdict::kFails, "", effect, ""};
  if (lock.object.exists && !lock.problem.empty()) {
    condition.evidence = lock.object.name + " " + lock.problem;
    condition.effect = "processes do not exclude each other, or do not use the segment";
    condition.remedy = "see `linkapp doctor`";
  } else if (holder.isStopped()) {
    condition.evidence = "it is held by " + processText(holder) + ", which is stopped";
    condition.remedy = "kill -CONT " + std::to_string(holder.pid) + ", or end it";
  } else {
    condition.verdict = Verdict::kHolds;
    condition.evidence = holder.pid == 0 ? "it is free"
                         : doctor::isHolderDead(lock, holder)
                             ? "its holder has died; the next one takes it over"
                             : "it is held by " + processText(holder) + " at this moment";
  }
  return condition;
}

// A slot is read after its announcement: 40 further messages, and it holds a later one.
Condition Target::isInRing(inspect::RingId id, std::uint32_t slot, const ReceiverView* reader) const {
  const inspect::Ring& ring = all_.snapshot.rings[static_cast<std::size_t>(id)];
  Condition condition = {"it still lies in the ring when it is read", Verdict::kFails, "",
                         "the message is lost, and a later one comes in its place",
                         "let fewer messages be without an answer (the ring holds 40); see why the reader is slow"};
  const std::uint64_t lapped = reader == nullptr ? 0 : reader->ringOverwritten[static_cast<std::size_t>(id)];
  if (lapped != 0) {
    condition.evidence = "the ring has lapped its reader " + std::to_string(reader->listed.pid) + ": at least " +
                         doctor::number(lapped, "message", "messages") + " that it has not taken are overwritten";
  } else if (slot >= ring.slots.size() && !ring.slots.empty()) {
    condition.evidence = "slot " + std::to_string(slot) + " was announced, and there are 40";
    condition.effect = "the receiver ignores it";
    condition.remedy = "whoever announced it is no process of the channel, or damaged";
  } else if (ring.slots.empty()) {
    condition.evidence = "the ring cannot be read";
    condition.remedy = "see `linkapp doctor`";
  } else if (ring.slots[slot].size == 0) {
    condition.evidence = "slot " + std::to_string(slot) + " holds no message: its size word is " +
                         std::to_string(ring.slots[slot].sizeWord);
    condition.effect = "the receiver ignores it";
  } else {
    condition.verdict = Verdict::kHolds;
    condition.evidence =
        "slot " + std::to_string(slot) + " holds " + doctor::number(ring.slots[slot].size, "byte", "bytes");
  }
  return condition;
}

}  // namespace why
