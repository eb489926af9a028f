#include "demo/phone.h"

#include <utility>

#include "demo/pattern.h"

namespace demo {
namespace {

// Apps that are installed on this phone: launch string and name.
const std::map<std::string, std::string>& installedApps() {
  static const auto* const apps =
      new std::map<std::string, std::string>{{"com.example.navi", "navi"}, {"com.example.music", "music"}};
  return *apps;
}

}  // namespace

Phone::Phone(PhoneListener& listener) : listener_(listener), thread_([this] { work(); }) {}

Phone::~Phone() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Phone::plugIn() {
  post([this] { listener_.onPlugged(true); });
}

void Phone::unplug() {
  post([this] {
    endAllApps();
    listener_.onPlugged(false);
  });
}

void Phone::play(const std::string& app) {
  post([this, app] { listener_.onPlaying(app); });
}

void Phone::setHandsFree(bool isConnected) {
  post([this, isConnected] { listener_.onHandsFree(isConnected); });
}

void Phone::launch(const std::string& launchString, unsigned int appId) {
  post([this, launchString, appId] { startApp(launchString, appId); });
}

void Phone::receive(std::uint16_t session, std::vector<std::uint8_t> data) {
  post([this, session, data = std::move(data)] { runApp(session, data); });
}

void Phone::post(std::function<void()> task) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  changed_.notify_one();
}

void Phone::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return isEnding_ || !tasks_.empty(); });
    if (isEnding_) {
      return;
    }
    const std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

void Phone::startApp(const std::string& launchString, unsigned int appId) {
  const auto app = installedApps().find(launchString);
  if (app == installedApps().end()) {
    listener_.onProblem("no app is called \"" + launchString + "\"");
    return;
  }
  const std::uint16_t session = nextSession_++;
  apps_[session] = App{app->second, 0};
  listener_.onSessionOpened(appId, session);
}

// The echo goes out before the result: whoever waits for the result before it sends more has its echo then, too.
void Phone::runApp(std::uint16_t session, const std::vector<std::uint8_t>& data) {
  const auto app = apps_.find(session);
  if (app == apps_.end()) {
    listener_.onProblem("data for session " + std::to_string(session) + ", which is not open");
    return;
  }
  if (data != makeMessage(app->second.name, app->second.received++)) {
    listener_.onProblem("message " + std::to_string(app->second.received - 1) + " of " + app->second.name +
                        " is not what was sent");
  }
  listener_.onData(session, data);
  listener_.onTransferDone(session);
}

void Phone::endAllApps() {
  for (const auto& app : apps_) {
    listener_.onSessionClosed(app.first);
  }
  apps_.clear();
}

}  // namespace demo
