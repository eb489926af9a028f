#include "record/to_scenario.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "inspect/message.h"
#include "record/show.h"
#include "text/fields.h"

namespace record {
namespace {

using Kind = StoryStep::Kind;

constexpr std::uint32_t kOpened = 1;

// `${` would be a variable, and a line ends with its break.
bool isPlainText(const std::vector<std::uint8_t>& bytes) {
  return !bytes.empty() && bytes.size() <= 200 && std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) {
    return byte >= ' ' && byte < 0x7F && byte != '$';
  });
}

std::string messageWords(const std::vector<std::uint8_t>& bytes, const std::string& receiver) {
  const std::string to = receiver.empty() ? "" : " " + receiver;
  if (isPlainText(bytes)) {
    return "send" + to + " " + text::quoted(std::string(bytes.begin(), bytes.end()));
  }
  return "send-hex" + to + " " + hexOf(bytes.data(), bytes.size());
}

class ScenarioWriter {
 public:
  explicit ScenarioWriter(const Story& story) : story_(story), names_(story.processes.size()) {}

  std::string write(const std::string& title) {
    nameProcesses();
    for (index_ = 0; index_ < story_.steps.size(); ++index_) {
      write(story_.steps[index_]);
    }
    return "# " + text::printable(title) + "\n" + declarations_ + "\n" + text_;
  }

 private:
  struct Application {
    bool isRunning = false;
    bool isFrozen = false;
    bool isConnected = false;  // has launched its app, so that it gets what the app sends
    std::uint64_t sent = 0;
    std::uint64_t results = 0;
    std::uint64_t failed = 0;
    std::uint64_t received = 0;
  };

  void line(const std::string& text) { text_ += text + "\n"; }

  // One name for processes that were started alike, one after the other.
  void nameProcesses() {
    declarations_ = "process phone = phone\n";
    std::map<std::string, std::set<std::size_t>> running;  // by declaration
    std::map<std::string, std::vector<std::string>> names;
    std::set<std::string> taken = {"phone"};
    for (const StoryStep& step : story_.steps) {
      const StoryProcess& process = story_.processes[step.process];
      if (process.isDeviceSide || (step.kind != Kind::kBegin && step.kind != Kind::kEnd)) {
        continue;
      }
      const std::string declaration = declarationOf(step.process);
      if (step.kind == Kind::kEnd) {
        running[declaration].erase(step.process);
        continue;
      }
      std::vector<std::string>& known = names[declaration];
      const auto isFree = [&](const std::string& name) {
        return std::none_of(running[declaration].begin(), running[declaration].end(),
                            [&](std::size_t other) { return names_[other] == name; });
      };
      const auto free = std::find_if(known.begin(), known.end(), isFree);
      if (free != known.end()) {
        names_[step.process] = *free;
      } else {
        names_[step.process] = freeName(step.process, taken);
        known.push_back(names_[step.process]);
        declarations_ += "process " + names_[step.process] + " = " + declaration + "\n";
      }
      running[declaration].insert(step.process);
    }
  }

  const StoryApp* appOfProcess(std::size_t process) const {
    for (const StoryStep& step : story_.steps) {
      if (step.kind == Kind::kRegister && step.process == process) {
        return story_.app(step.app.appId);
      }
    }
    return nullptr;
  }

  std::string declarationOf(std::size_t process) const {
    std::string text = "app";
    for (const std::string& word : story_.argumentsFor(process)) {
      text += " " + text::quoted(word);
    }
    return text;
  }

  std::string freeName(std::size_t process, std::set<std::string>& taken) const {
    const auto option = [&](const char* name) {
      const std::vector<std::string> values = story_.processes[process].valuesOf(name);
      return values.empty() ? std::string() : values.front();
    };
    const StoryApp* const app = appOfProcess(process);
    std::string wanted = app != nullptr ? app->name : !option("--name").empty() ? option("--name") : option("--listen");
    for (char& c : wanted) {
      const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
      c = isPlain ? c : '-';
    }
    wanted = wanted.empty() ? "app" : wanted;
    std::string name = wanted;
    for (int number = 2; !taken.insert(name).second; ++number) {
      name = wanted + "-" + std::to_string(number);
    }
    return name;
  }

  void write(const StoryStep& step) {
    switch (step.kind) {
      case Kind::kBegin:
        begin(step);
        break;
      case Kind::kEnd:
        end(step);
        break;
      case Kind::kStop:
      case Kind::kContinue:
        freeze(step);
        break;
      case Kind::kRegister:
        ++registered_;
        waitForPhone("apps=" + std::to_string(registered_));
        break;
      case Kind::kLaunch:
        launch(step);
        break;
      case Kind::kSend:
        send(step);
        break;
      case Kind::kConnection:
        connection(step);
        break;
      case Kind::kSession:
        session(step);
        break;
      case Kind::kResult:
        result(step);
        break;
      case Kind::kHandsFree:
        handsFree(step);
        break;
      case Kind::kPlaying:
        playing(step);
        break;
      case Kind::kData:
        data(step);
        break;
    }
  }

  void begin(const StoryStep& step) {
    if (story_.processes[step.process].isDeviceSide) {
      startPhone();
      return;
    }
    setLaunches();
    line("start " + names_[step.process]);
    apps_[step.process] = {};
    apps_[step.process].isRunning = true;
  }

  // It says nothing of its own: what it says, the file tells it.
  void startPhone() {
    if (!isPhoneRunning_) {
      line("start phone");
      line("phone: app-sink *");
      isPhoneRunning_ = true;
      isConnected_ = false;
      isHandsFreeUp_ = false;
      playing_.clear();
      open_.clear();
      policies_.clear();
      received_ = 0;
      setLaunches();
    }
  }

  void end(const StoryStep& step) {
    if (!story_.processes[step.process].isDeviceSide) {
      line((story_.processes[step.process].wasKilled ? "kill " : "stop ") + names_[step.process]);
      apps_[step.process].isRunning = false;
    } else if (isPhoneRunning_) {
      line(story_.processes[step.process].wasKilled ? "kill phone" : "stop phone");
      isPhoneRunning_ = false;
      isConnected_ = isConnected_ && story_.processes[step.process].wasKilled;
    }
  }

  // A process that ends may stand still for a moment when it has left the channel already.
  void freeze(const StoryStep& step) {
    if (!story_.processes[step.process].isDeviceSide && apps_[step.process].isRunning) {
      apps_[step.process].isFrozen = step.kind == Kind::kStop;
      line((step.kind == Kind::kStop ? "freeze " : "thaw ") + names_[step.process]);
    }
  }

  // What is noticed late: a process that acts is not stopped.
  void thaw(std::size_t process) {
    if (std::exchange(apps_[process].isFrozen, false)) {
      line("thaw " + names_[process]);
    }
  }

  void waitForPhone(const std::string& condition) {
    if (isPhoneRunning_) {
      line("wait phone " + condition);
    }
  }

  bool canWaitFor(std::size_t process) const {
    const auto found = apps_.find(process);
    return found != apps_.end() && found->second.isRunning && !found->second.isFrozen;
  }

  std::string launchStringOf(std::uint32_t appId) const {
    const StoryApp* const app = story_.app(appId);
    return app == nullptr ? "" : app->launchString;
  }

  std::optional<std::size_t> processOf(std::uint32_t appId) const {
    for (const StoryStep& step : story_.steps) {
      if (step.kind == Kind::kRegister && step.app.appId == appId) {
        return step.process;
      }
    }
    return std::nullopt;
  }

  void setPolicy(const std::string& what, const std::string& usual, const std::string& policy,
                 const std::string& launchString) {
    const auto known = policies_.emplace(what + " " + launchString, usual).first;
    if (isPhoneRunning_ && !launchString.empty() && std::exchange(known->second, policy) != policy) {
      line("phone: " + what + " " + policy + " for " + text::quoted(launchString));
    }
  }

  // Applications that launch by themselves do so as soon as they are told of a phone: what becomes of it is said
  // before.
  void setLaunches() {
    std::set<std::string> set;
    for (std::size_t i = index_ + 1; i < story_.steps.size(); ++i) {
      const StoryStep& step = story_.steps[i];
      if (step.kind == Kind::kConnection && step.status.connectStatus == 1 && !isConnected_ && set.empty()) {
        continue;
      }
      if (step.kind == Kind::kConnection && step.status.connectStatus != 1) {
        break;
      }
      if (step.kind == Kind::kLaunch && story_.isLaunchByItself(i) &&
          set.insert(launchStringOf(step.app.appId)).second) {
        setPolicy("launches", "accept", opens(i) ? "accept" : "refuse", launchStringOf(step.app.appId));
      }
    }
  }

  // Whether the phone opens a session for this launch request.
  bool opens(std::size_t index) const {
    const std::uint32_t appId = story_.steps[index].app.appId;
    for (std::size_t i = index + 1; i < story_.steps.size(); ++i) {
      const StoryStep& step = story_.steps[i];
      const bool isOfApp = step.app.appId == appId;
      if (isOfApp && step.kind == Kind::kSession) {
        return step.status.status == kOpened;
      }
      if ((isOfApp && step.kind == Kind::kLaunch) ||
          (step.kind == Kind::kConnection && step.status.connectStatus != 1)) {
        return false;
      }
    }
    return false;
  }

  void launch(const StoryStep& step) {
    const std::string launchString = launchStringOf(step.app.appId);
    thaw(step.process);
    if (!canWaitFor(step.process) || launchString.empty()) {
      return;
    }
    Application& app = apps_[step.process];
    app.isConnected = true;
    if (!story_.isLaunchByItself(index_)) {
      setPolicy("launches", "accept", opens(index_) ? "accept" : "refuse", launchString);
      if (!opens(index_) || open_.count(step.app.appId) == 0) {
        line("wait " + names_[step.process] + " open=false");
      }
      const bool isAsking = step.status.launchMethod != iosapp_def_::APPLAUNCH_WITHOUT_ALERT;
      line(names_[step.process] + ": launch method " + (isAsking ? "alert" : "no-alert") + " -> accepted=true");
    }
    if (isPhoneRunning_ && !opens(index_)) {
      line("expect phone launch-refused launch=" + text::quoted(launchString));
    }
    if (opens(index_) && open_.insert(step.app.appId).second) {
      waitForPhone("sessions>=" + std::to_string(open_.size()));  // others may launch at the same time
      line("wait " + names_[step.process] + " open=true");
    }
  }

  void send(const StoryStep& step) {
    const std::string launchString = launchStringOf(step.app.appId);
    thaw(step.process);
    if (!canWaitFor(step.process) || launchString.empty()) {
      return;
    }
    if (!step.areBytesKnown) {
      line("# " + names_[step.process] + " sent a message whose bytes are not in the recording");
      return;
    }
    Application& app = apps_[step.process];
    const bool isHeard = isPhoneRunning_ && open_.count(step.app.appId) != 0;
    if (isHeard) {
      setPolicy("results", "success", resultOf(index_), launchString);
    }
    line("wait " + names_[step.process] + " open=true");
    if (!std::exchange(app.isConnected, true)) {
      line(names_[step.process] + ": launch");  // its app was open already: then nobody else hears of a launch
    }
    line(names_[step.process] + ": " + messageWords(step.bytes, "") + " -> accepted=true");
    ++app.sent;
    received_ += isHeard ? 1U : 0U;
    if (isHeard) {
      waitForPhone("received=" + std::to_string(received_));
    }
  }

  // Results come in the order of the messages of an app.
  std::string resultOf(std::size_t index) const {
    const std::uint32_t appId = story_.steps[index].app.appId;
    std::size_t before = 0;  // messages ahead of this one without a result
    for (std::size_t i = 0; i < index; ++i) {
      const StoryStep& step = story_.steps[i];
      const bool isOfApp = step.app.appId == appId;
      const bool isOver = (isOfApp && step.kind == Kind::kSession) ||
                          (step.kind == Kind::kConnection && step.status.connectStatus != 1);
      before = isOver                                  ? 0
               : isOfApp && step.kind == Kind::kSend   ? before + 1
               : isOfApp && step.kind == Kind::kResult ? before - (before == 0 ? 0 : 1)
                                                       : before;
    }
    for (std::size_t i = index + 1; i < story_.steps.size(); ++i) {
      const StoryStep& step = story_.steps[i];
      const bool isOfApp = step.app.appId == appId;
      if ((isOfApp && step.kind == Kind::kSession && step.status.status != kOpened) ||
          (step.kind == Kind::kConnection && step.status.connectStatus != 1)) {
        return "none";
      }
      if (isOfApp && step.kind == Kind::kResult && before-- == 0) {
        return step.status.sendResult == iosapp_def_::SENDRESULT_SUCCESS ? "success" : "failure";
      }
    }
    return "none";
  }

  void result(const StoryStep& step) {
    const auto process = processOf(step.app.appId);
    if (!process || apps_[*process].results >= apps_[*process].sent) {
      return;
    }
    Application& app = apps_[*process];
    ++app.results;
    app.failed += step.status.sendResult != iosapp_def_::SENDRESULT_SUCCESS ? 1U : 0U;
    if (canWaitFor(*process)) {
      line("wait " + names_[*process] + " results>=" + std::to_string(app.results) +
           " failed>=" + std::to_string(app.failed));
    }
  }

  void connection(const StoryStep& step) {
    const bool isUp = step.status.connectStatus == 1;
    if (isUp == isConnected_ || !isPhoneRunning_) {
      return;
    }
    const std::string link = step.status.connectType == 1 ? "bluetooth" : "usb";
    if (isUp) {
      setLaunches();
      line("phone: plug " + link + (step.status.iapType == 0 ? " iap1" : " iap2"));
      link_ = link;
    } else {
      line("phone: unplug");
      open_.clear();
    }
    isConnected_ = isUp;
    for (auto& [process, app] : apps_) {
      app.isConnected = app.isConnected && isUp;
      if (canWaitFor(process) && story_.processes[process].hasPart("app")) {
        line("wait " + names_[process] + " " + link_ + ".status" + (isUp ? ">=1" : "=0"));
      }
    }
  }

  // Whether the phone goes next, and takes all sessions with it.
  bool goesNext() const {
    for (std::size_t i = index_ + 1; i < story_.steps.size(); ++i) {
      const StoryStep& step = story_.steps[i];
      if (step.kind == Kind::kConnection) {
        return step.status.connectStatus != 1;
      }
      if (step.kind != Kind::kSession || step.status.status == kOpened) {
        return false;
      }
    }
    return false;
  }

  void session(const StoryStep& step) {
    const std::string launchString = launchStringOf(step.app.appId);
    const auto process = processOf(step.app.appId);
    const bool isOpen = step.status.status == kOpened;
    if (!isPhoneRunning_ || launchString.empty() || isOpen == (open_.count(step.app.appId) != 0) ||
        (!isOpen && goesNext())) {
      return;
    }
    line(std::string("phone: ") + (isOpen ? "open " : "close ") + text::quoted(launchString));
    if (isOpen) {
      open_.insert(step.app.appId);
    } else {
      open_.erase(step.app.appId);
    }
    if (process && canWaitFor(*process) && story_.processes[*process].hasPart("app")) {
      line("wait " + names_[*process] + " open=" + (isOpen ? "true" : "false"));
    }
  }

  void handsFree(const StoryStep& step) {
    const bool isUp = step.status.btConnected != 0;
    if (!isPhoneRunning_ || isUp == std::exchange(isHandsFreeUp_, isUp)) {
      return;
    }
    line(std::string("phone: hands-free ") + (isUp ? "up " + inspect::addressText(step.status.btAddress) : "down"));
  }

  void playing(const StoryStep& step) {
    const std::string name(step.status.playbackAppName,
                           std::find(step.status.playbackAppName, std::end(step.status.playbackAppName), '\0'));
    if (!isPhoneRunning_ || name == std::exchange(playing_, name) || name.find('$') != std::string::npos) {
      return;
    }
    line("phone: " + (name.empty() ? "stop-playing" : "play " + text::quoted(name)));
  }

  void data(const StoryStep& step) {
    const std::string launchString = launchStringOf(step.app.appId);
    const auto process = processOf(step.app.appId);
    if (!isPhoneRunning_ || open_.count(step.app.appId) == 0) {
      return;
    }
    if (!step.areBytesKnown) {
      line("# the phone sent " + text::quoted(launchString) + " a message whose bytes are not in the recording");
      return;
    }
    line("phone: " + messageWords(step.bytes, text::quoted(launchString)));
    Application& app = apps_[*process];
    app.received += app.isConnected ? 1U : 0U;
    if (app.isConnected && canWaitFor(*process)) {
      line("wait " + names_[*process] + " received=" + std::to_string(app.received));
    }
  }

  const Story& story_;
  std::vector<std::string> names_;
  std::string declarations_;
  std::string text_;
  std::size_t index_ = 0;  // of the step at hand
  std::map<std::size_t, Application> apps_;
  std::uint64_t registered_ = 0;

  // The phone that the file has.
  bool isPhoneRunning_ = false;
  bool isConnected_ = false;
  std::string link_ = "usb";
  bool isHandsFreeUp_ = false;
  std::string playing_;
  std::set<std::uint32_t> open_;  // app ids
  std::map<std::string, std::string> policies_;
  std::uint64_t received_ = 0;
};

}  // namespace

std::string toScenario(const Story& story, const std::string& title) {
  return ScenarioWriter(story).write(title);
}

}  // namespace record
