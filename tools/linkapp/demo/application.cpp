// One head-unit application: it registers its app, launches it on the phone and exchanges messages with it.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "VQFramework/Observer/VQObserver.h"
#include "demo/demo.h"
#include "demo/line_channel.h"
#include "demo/pattern.h"

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kDeviceId = 1;
constexpr unsigned int kDeviceInfo = 0;
constexpr unsigned int kSendResult = 1;
constexpr unsigned int kData = 2;
constexpr unsigned int kPlaybackApp = 3;

// Shorter than the director's patience with a step: what is missing is counted before it gives up.
constexpr std::chrono::seconds kPatience{20};

class Application {
 public:
  Application(const std::string& iAP1Name, const std::string& name)
      : name_(name), client_(iAP1Name, name, "com.example." + name), observer_(this, &Application::onClient) {
    client_.AddObserver(&observer_);
  }
  ~Application() { client_.RemoveObserver(&observer_); }
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  void launch() {
    if (client_.launch(kDeviceId, iosapp_def_::APPLAUNCH_WITHOUT_ALERT) == 0) {
      report("problem", "launch was refused");
    }
  }

  // Starts counting anew, with message 0.
  void begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    sent_ = results_ = echoed_ = corrupted_ = 0;
    sendTimes_.clear();
    roundTrips_.clear();
  }

  // Sends the next `count` messages and waits until each has its result and its echo.
  void sendRound(unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      const unsigned int number = noteSent();
      const std::vector<std::uint8_t> message = makeMessage(name_, number);
      if (client_.sendDataFromHU(message.data(), static_cast<unsigned int>(message.size())) == 0) {
        report("problem", "message " + std::to_string(number) + " was refused");
      }
    }
    report("round", waitForAll() ? "done" : "short");
  }

  void reportTotal() {
    std::unique_lock<std::mutex> lock(mutex_);
    std::sort(roundTrips_.begin(), roundTrips_.end());
    const std::string total = std::to_string(sent_) + " " + std::to_string(echoed_) + " " + std::to_string(corrupted_) +
                              " " + std::to_string(percentile(50)) + " " + std::to_string(percentile(99));
    lock.unlock();
    report("total", total);
  }

  unsigned int onClient(unsigned int id, void* data, unsigned int size) {
    if (data == nullptr || size == 0) {
      return 0;
    }
    switch (id) {
      case kDeviceInfo:
        onDevice(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data));
        break;
      case kSendResult:
        onResult(*static_cast<const iosapp_def_::SendResultInfo*>(data));
        break;
      case kData:
        onEcho(*static_cast<const iosapp_def_::CommData*>(data));
        break;
      case kPlaybackApp:
        report("now-playing",
               "phone plays with \"" + static_cast<const iosapp_def_::PlaybackAppInfo*>(data)->appName + "\"");
        break;
      default:
        break;
    }
    return 0;
  }

 private:
  void onDevice(const iOSAppCommonClient::DeviceInfo& info) {
    static const char* const kWords[] = {"disconnected", "connected", "session-open"};
    static const char* const kTexts[] = {"device is gone", "device is connected", "own session is open"};
    const unsigned int status = std::min<unsigned int>(info.usbStatus, 2);
    report(kWords[status], std::string(kTexts[status]) + ", hands-free " + (info.hfpConnected != 0 ? "up" : "down"));
  }

  void onResult(const iosapp_def_::SendResultInfo& info) {
    if (info.result != iosapp_def_::SENDRESULT_SUCCESS) {
      report("problem", "a message was not delivered");
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ++results_;
    changed_.notify_one();
  }

  // Echoes come in the order in which the messages were sent.
  void onEcho(const iosapp_def_::CommData& data) {
    const Clock::time_point now = Clock::now();
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::vector<std::uint8_t> expected = makeMessage(name_, echoed_);
    const bool isSame = data.size == expected.size() && std::equal(expected.begin(), expected.end(), data.data);
    corrupted_ += isSame ? 0 : 1;
    if (echoed_ < sendTimes_.size()) {
      roundTrips_.push_back(std::chrono::duration<double, std::micro>(now - sendTimes_[echoed_]).count());
    }
    ++echoed_;
    changed_.notify_one();
  }

  // The number of the message that is sent now.
  unsigned int noteSent() {
    const std::lock_guard<std::mutex> lock(mutex_);
    sendTimes_.push_back(Clock::now());
    return sent_++;
  }

  bool waitForAll() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience, [this] { return results_ >= sent_ && echoed_ >= sent_; });
  }

  double percentile(unsigned int percent) const {
    return roundTrips_.empty() ? 0.0 : roundTrips_[(roundTrips_.size() - 1) * percent / 100];
  }

  const std::string name_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  unsigned int sent_ = 0;
  unsigned int results_ = 0;
  unsigned int echoed_ = 0;
  unsigned int corrupted_ = 0;
  std::vector<Clock::time_point> sendTimes_;
  std::vector<double> roundTrips_;  // microseconds
  iOSAppCommonClient client_;
  VQObserver<Application> observer_;
};

void obey(Application& application, const Command& command) {
  if (command.word == "launch") {
    application.launch();
  } else if (command.word == "begin") {
    application.begin();
  } else if (command.word == "send") {
    application.sendRound(static_cast<unsigned int>(std::stoul(command.argument)));
  } else if (command.word == "total") {
    application.reportTotal();
  } else {
    report("problem", "unknown command \"" + command.word + "\"");
  }
}

}  // namespace

int runApplication(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) {
    return 2;
  }
  Application application(arguments[0], arguments[1]);
  report("ready", "application is there");
  for (Command command = nextCommand(); command.word != "quit"; command = nextCommand()) {
    obey(application, command);
  }
  return 0;
}

}  // namespace demo
