#include "phone/simulated_phone.h"

#include <algorithm>
#include <utility>

#include "phone/frames.h"
#include "text/message.h"

namespace phone {

// One open session and its app. It outlives its app's calls: closing is put off to an errand of its own.
class SimulatedPhone::OpenSession final : public Session {
 public:
  OpenSession(SimulatedPhone& phone, std::uint16_t number, unsigned int appId, std::string launchString)
      : phone_(phone), number_(number), appId_(appId), launchString_(std::move(launchString)) {}
  ~OpenSession() override {
    for (const loop::TimerId timer : lateResults) {
      phone_.errands_.cancel(timer);
    }
  }
  OpenSession(const OpenSession&) = delete;
  OpenSession& operator=(const OpenSession&) = delete;

  std::uint16_t number() const override { return number_; }
  unsigned int appId() const override { return appId_; }
  const std::string& launchString() const override { return launchString_; }

  void send(const Bytes& message) override { trySend(message); }
  // Empty where it was sent, else why not.
  std::string trySend(const Bytes& message) {
    if (message.empty() || message.size() > kLongestMessage) {
      std::string reason = "the channel takes 1 to 4096 bytes";
      report("send-refused", {{"size", message.size()}, {"reason", reason}});
      return reason;
    }
    ++sent;
    ++phone_.sent_;
    text::Fields fields = facts();
    for (text::Field& field : text::messageFields(message)) {
      fields.push_back(std::move(field));
    }
    phone_.sink_({"sent", fields});
    phone_.listener_->onData(number_, message);
    return "";
  }

  void close() override { phone_.scheduleClose(number_); }

  void report(const std::string& event, const text::Fields& more) override {
    text::Fields fields = facts();
    fields.insert(fields.end(), more.begin(), more.end());
    phone_.sink_({event, fields});
  }

  text::Fields facts() const { return {{"launch", launchString_}, {"session", number_}}; }

  std::unique_ptr<App> app;
  std::vector<std::unique_ptr<BurstSender>> bursts;
  std::vector<loop::TimerId> lateResults;
  std::int64_t received = 0;
  std::int64_t sent = 0;
  std::int64_t waiting = 0;  // sends whose outcome has not been told

 private:
  SimulatedPhone& phone_;
  const std::uint16_t number_;
  const unsigned int appId_;
  const std::string launchString_;
};

// What the device was like when it went down.
struct SimulatedPhone::Reboot {
  loop::TimerId timer;
  bool wasHandsFreeUp;
};

SimulatedPhone::SimulatedPhone(loop::Errands& errands, EventSink sink) : errands_(errands), sink_(std::move(sink)) {
  installed_[kAnyLaunchString] = echoApp();
  launches_[kAnyLaunchString] = {};
  results_[kAnyLaunchString] = {};
}

SimulatedPhone::~SimulatedPhone() {
  *isAlive_ = false;
  if (reboot_) {
    errands_.cancel(reboot_->timer);
  }
}

void SimulatedPhone::start(AccessoryListener& listener) {
  listener_ = &listener;
}

void SimulatedPhone::post(loop::Task task) {
  errands_.post([isAlive = isAlive_, task = std::move(task)] {
    if (*isAlive) {
      task();
    }
  });
}

template <class Entry>
const Entry& SimulatedPhone::entryFor(const std::map<std::string, Entry>& entries, const std::string& launchString) {
  const auto found = entries.find(launchString);
  return found == entries.end() ? entries.at(kAnyLaunchString) : found->second;
}

void SimulatedPhone::launch(const LaunchRequest& request) {
  if (!isConnected_) {
    refuseLaunch(request, "the phone is not connected");
    return;
  }
  if (request.launchString.empty()) {
    refuseLaunch(request, "the application is not in the table");
    return;
  }
  const LaunchPolicy policy = entryFor(launches_, request.launchString);
  if (policy.kind == LaunchPolicy::Kind::kRefuse) {
    refuseLaunch(request, "launches are refused");
  } else if (policy.kind == LaunchPolicy::Kind::kSlow) {
    errands_.after(policy.delay, [this, isAlive = isAlive_, connection = connection_, request] {
      if (*isAlive && isConnected_ && connection == connection_) {
        openSession(request.appId, request.launchString);
      }
    });
  } else {
    openSession(request.appId, request.launchString);
  }
}

void SimulatedPhone::refuseLaunch(const LaunchRequest& request, const std::string& reason) {
  sink_({"launch-refused", {{"app", request.appId}, {"launch", request.launchString}, {"reason", reason}}});
}

void SimulatedPhone::openSession(unsigned int appId, const std::string& launchString) {
  unsigned int id = appId;
  if (generation_ == Generation::kIap1) {
    const HeadUnitApp* const app = appOf(appId);
    id = app == nullptr ? 0 : app->iap1Id;
    if (id == 0) {
      refuseLaunch({appId, launchString, 0}, "iAP1 opens sessions by iAP1 name, and this application has none");
      return;
    }
  }
  for (const auto& entry : sessions_) {
    if (entry.second->appId() == appId) {  // the application asks because it does not know
      entry.second->report("session-open-already", {{"app", appId}, {"id", id}});
      listener_->onSessionOpened(id, entry.first);
      return;
    }
  }
  const Installed& installed = entryFor(installed_, launchString);
  if (!installed.run) {
    refuseLaunch({appId, launchString, 0}, "no such app is installed");
    return;
  }
  const std::uint16_t number = freeSessionNumber();
  const auto session =
      sessions_.emplace(number, std::make_unique<OpenSession>(*this, number, appId, launchString)).first->second.get();
  order_.push_back(number);
  session->app = installed.run(*session);
  session->report("session-opened", {{"app", appId}, {"id", id}, {"behaviour", installed.description}});
  listener_->onSessionOpened(id, number);
  session->app->onOpened();
}

std::uint16_t SimulatedPhone::freeSessionNumber() {
  do {
    ++lastSession_;
  } while (lastSession_ == 0 || sessions_.count(lastSession_) != 0);
  return lastSession_;
}

void SimulatedPhone::scheduleClose(std::uint16_t session) {
  post([this, session] { closeSession(session, "app"); });
}

void SimulatedPhone::closeSession(std::uint16_t session, const std::string& by) {
  const auto found = sessions_.find(session);
  if (found == sessions_.end()) {
    return;
  }
  const std::unique_ptr<OpenSession> open = std::move(found->second);
  sessions_.erase(found);
  order_.erase(std::find(order_.begin(), order_.end(), session));
  open->app.reset();
  open->bursts.clear();
  open->report("session-closed", {{"by", by}, {"unanswered", open->waiting}});
  listener_->onSessionClosed(session);
}

void SimulatedPhone::closeAllSessions(const std::string& by) {
  while (!order_.empty()) {
    closeSession(order_.front(), by);
  }
}

void SimulatedPhone::send(std::uint16_t session, std::vector<std::uint8_t> data) {
  OpenSession* const open = find(session);
  if (open == nullptr) {
    return;  // closed while the message was under way
  }
  ++received_;
  ++open->received;
  ++open->waiting;
  text::Fields fields = text::messageFields(data);
  fields.push_back({"count", open->received});
  open->report("received", fields);
  const ResultPolicy policy = entryFor(results_, open->launchString());
  const bool isTaken = policy.kind != ResultPolicy::Kind::kFailure && open->app->onMessage(data);
  if (!isTaken || policy.kind == ResultPolicy::Kind::kFailure) {
    finishSend(session, SendOutcome::kFailure);
  } else if (policy.kind == ResultPolicy::Kind::kSuccess) {
    finishSend(session, SendOutcome::kSuccess);
  } else if (policy.kind == ResultPolicy::Kind::kLate) {
    open->lateResults.push_back(
        errands_.after(policy.delay, [this, session] { finishSend(session, SendOutcome::kSuccess); }));
  }
}

void SimulatedPhone::finishSend(std::uint16_t session, SendOutcome outcome) {
  OpenSession* const open = find(session);
  if (open == nullptr) {
    return;
  }
  --open->waiting;
  open->report("result", {{"outcome", outcome == SendOutcome::kSuccess ? "success" : "failure"}});
  listener_->onSendOutcome(session, outcome);
}

std::string SimulatedPhone::plug(Link link, Generation generation) {
  if (reboot_) {
    return "the phone is rebooting";
  }
  if (isConnected_) {
    return std::string("the phone is connected over ") + nameOf(link_) +
           (link == link_ ? " already" : "; `switch` changes the link");
  }
  link_ = link;
  generation_ = generation;
  connect();
  return "";
}

std::string SimulatedPhone::unplug() {
  if (!isConnected_) {
    return "the phone is not connected";
  }
  disconnect("unplug");
  return "";
}

std::string SimulatedPhone::switchTo(Link link) {
  if (!isConnected_) {
    return "the phone is not connected";
  }
  if (link == link_) {
    return std::string("the phone is connected over ") + nameOf(link) + " already";
  }
  disconnect("switch");
  link_ = link;
  connect();
  return "";
}

void SimulatedPhone::connect() {
  isConnected_ = true;
  ++connection_;
  sink_({"connected", {{"link", nameOf(link_)}, {"iap", nameOf(generation_)}}});
  listener_->onConnected(link_, generation_);
}

void SimulatedPhone::disconnect(const std::string& by) {
  closeAllSessions(by);
  isConnected_ = false;
  sink_({"disconnected", {{"link", nameOf(link_)}, {"by", by}}});
  listener_->onDisconnected();
}

std::string SimulatedPhone::reboot(text::Duration downTime) {
  if (reboot_) {
    return "the phone is rebooting already";
  }
  if (!isConnected_) {
    return "the phone is not connected";
  }
  sink_({"reboot", {{"sessions", sessions_.size()}}});
  reboot_ = std::make_unique<Reboot>(Reboot{0, isHandsFreeUp_});
  disconnect("reboot");
  if (isHandsFreeUp_) {
    setHandsFree(false, std::nullopt);
  }
  if (!playing_.empty()) {
    play("");
  }
  reboot_->timer = errands_.after(downTime, [this] { comeBack(); });
  return "";
}

void SimulatedPhone::comeBack() {
  const std::unique_ptr<Reboot> reboot = std::move(reboot_);
  connect();
  if (reboot->wasHandsFreeUp) {
    setHandsFree(true, std::nullopt);
  }
}

std::string SimulatedPhone::open(const std::string& launchString) {
  if (!isConnected_) {
    return "the phone is not connected";
  }
  const auto app = std::find_if(headUnitApps_.rbegin(), headUnitApps_.rend(),
                                [&launchString](const HeadUnitApp& a) { return a.launchString == launchString; });
  if (app == headUnitApps_.rend()) {
    return "no head-unit application has registered " + launchString;
  }
  openSession(app->appId, launchString);
  return "";
}

std::string SimulatedPhone::close(const std::string& launchString) {
  OpenSession* const session = newest(launchString);
  if (session == nullptr) {
    return "no session of " + launchString + " is open";
  }
  closeSession(session->number(), "user");
  return "";
}

std::string SimulatedPhone::sendFromApp(const std::string& launchString, const Bytes& message) {
  OpenSession* const session = newest(launchString);
  if (session == nullptr) {
    return "no session of " + launchString + " is open";
  }
  return session->trySend(message);
}

std::string SimulatedPhone::burstFromApp(const std::string& launchString, const Burst& burst) {
  OpenSession* const session = newest(launchString);
  if (session == nullptr) {
    return "no session of " + launchString + " is open";
  }
  session->bursts.push_back(std::make_unique<BurstSender>(
      errands_, burst, [session](const Bytes& message) { session->send(message); },
      [session](std::uint32_t sent) {
        session->report("burst-ended", {{"sent", sent}});
      }));
  return "";
}

std::string SimulatedPhone::setHandsFree(bool isUp, const std::optional<Address>& address) {
  isHandsFreeUp_ = isUp;
  address_ = address.value_or(address_);
  sink_({"hands-free", {{"up", isUp}, {"address", textOf(address_)}}});
  listener_->onHandsFree(isUp, address_);
  return "";
}

std::string SimulatedPhone::play(const std::string& app) {
  playing_ = app;
  sink_({"playing", {{"name", app}}});
  listener_->onPlaying(app);
  return "";
}

void SimulatedPhone::install(const std::string& launchString, Installed app) {
  sink_({"installed", {{"launch", launchString}, {"behaviour", app.description}}});
  installed_[launchString] = std::move(app);
}

std::string SimulatedPhone::remove(const std::string& launchString) {
  const auto found = installed_.find(launchString);
  if (found == installed_.end()) {
    return "no app is installed for " + launchString + " itself";
  }
  // The entry stays: without one the launch string would fall to the app that stands for all others.
  found->second = {"none", nullptr};
  sink_({"installed", {{"launch", launchString}, {"behaviour", "none"}}});
  return "";
}

void SimulatedPhone::setLaunches(const std::string& launchString, const LaunchPolicy& policy) {
  launches_[launchString] = policy;
}

void SimulatedPhone::setResults(const std::string& launchString, const ResultPolicy& policy) {
  results_[launchString] = policy;
}

SimulatedPhone::OpenSession* SimulatedPhone::find(std::uint16_t session) {
  const auto found = sessions_.find(session);
  return found == sessions_.end() ? nullptr : found->second.get();
}

SimulatedPhone::OpenSession* SimulatedPhone::newest(const std::string& launchString) {
  for (auto number = order_.rbegin(); number != order_.rend(); ++number) {
    if (sessions_.at(*number)->launchString() == launchString) {
      return sessions_.at(*number).get();
    }
  }
  return nullptr;
}

const HeadUnitApp* SimulatedPhone::appOf(unsigned int appId) const {
  const auto found = std::find_if(headUnitApps_.begin(), headUnitApps_.end(),
                                  [appId](const HeadUnitApp& app) { return app.appId == appId; });
  return found == headUnitApps_.end() ? nullptr : &*found;
}

text::Fields SimulatedPhone::state() const {
  return {{"connected", isConnected_},    {"link", isConnected_ ? nameOf(link_) : "none"},
          {"iap", nameOf(generation_)},   {"rebooting", reboot_ != nullptr},
          {"sessions", sessions_.size()}, {"apps", headUnitApps_.size()},
          {"received", received_},        {"sent", sent_},
          {"hands-free", isHandsFreeUp_}, {"address", textOf(address_)},
          {"playing", playing_}};
}

text::List SimulatedPhone::sessionList() const {
  text::List list;
  for (const std::uint16_t number : order_) {
    const OpenSession& session = *sessions_.at(number);
    list.push_back({{"session", number},
                    {"app", session.appId()},
                    {"launch", session.launchString()},
                    {"received", session.received},
                    {"sent", session.sent},
                    {"waiting", session.waiting}});
  }
  return list;
}

text::List SimulatedPhone::installedList() const {
  text::List list;
  for (const auto& [launchString, app] : installed_) {
    list.push_back({{"launch", launchString}, {"behaviour", app.description}});
  }
  return list;
}

std::vector<std::string> SimulatedPhone::launchStrings() const {
  std::vector<std::string> all;
  for (const auto& entry : installed_) {
    all.push_back(entry.first);
  }
  for (const HeadUnitApp& app : headUnitApps_) {
    all.push_back(app.launchString);
  }
  return all;
}

}  // namespace phone
