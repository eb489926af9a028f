// Traffic of the product, for tests in which somebody looks on.
//
// "traffic_phone": the device side; opens a session at a launch request, and takes each message with a success as its
// result and sends it back. Says "ready"; hears "connect".
// "traffic_app RATE": sends so many numbered messages a second, no more than 16 ahead of their echo and result, from
// "go" on. Says "ready" and "open"; answers
//   figures     "SENT RESULTS ECHOES WRONG"
//   median      of the round trips since it was asked last, in nanoseconds
//   end         figures, when nothing is under way any more
// "traffic_alone RATE": both in one process, which sends and reads on one thread only, so that nobody waits for a lock
// of a segment. Says and answers the same; "end" ends the traffic.
// "traffic_ear": a process that only listens. Answers "heard" by how many ring messages it heard, and how many it lost.
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/process/listener.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"
#include "text/pattern.h"

namespace {

using test_support::answer;
using test_support::hear;
using test_support::say;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

constexpr unsigned int kDevice = 1;
constexpr unsigned int kUsb = 2;
constexpr unsigned short kFirstSession = 100;
constexpr std::uint32_t kWindow = 16;
constexpr std::size_t kMessageBytes = 64;
constexpr std::size_t kMostSamples = 1'000'000;

class Phone {
 public:
  Phone() : listener_([this](unsigned int id, void* data, unsigned int) { hearApp(id, data); }), server_(kDevice) {
    server_.AddObserver(listener_.observer());
  }
  ~Phone() { server_.RemoveObserver(listener_.observer()); }

  // An app's registration arrives some time after it was made.
  void connect() {
    if (!test_support::waitUntil([this] { return !server_.getLaunchStringFromAppList(1).empty(); })) {
      say("no app");
    }
    iosapp_def_::ConnectInfo info = {kDevice, 1, kUsb, 1};
    server_.notifyConnectionState(info);
  }

 private:
  void hearApp(unsigned int id, void* data) {
    if (id == 0) {
      const unsigned int app = static_cast<const iOSAppLaunchRequest*>(data)->appId;
      server_.notifySessionOpen(app, static_cast<unsigned short>(kFirstSession + app));
    } else if (id == 1) {
      const auto& message = *static_cast<const iosapp_def_::CommData*>(data);
      const std::unique_ptr<std::uint8_t[]> owned(message.data);
      server_.notifySendResult(message.sessionId, iosapp_def_::SENDRESULT_SUCCESS);
      server_.sendDataFromDevice(message.sessionId, message.data, message.size);
    }
  }

  Listener listener_;
  iOSAppCommonServer server_;
};

// Numbered messages, and what came of them.
class App {
 public:
  explicit App(std::function<void()> onEcho = [] {})
      : onEcho_(std::move(onEcho)),
        listener_([this](unsigned int id, void* data, unsigned int) { hearPhone(id, data); }),
        client_("", "traffic", "com.example.traffic") {
    client_.AddObserver(listener_.observer());
  }
  ~App() { client_.RemoveObserver(listener_.observer()); }

  void send() {
    std::uint32_t number = 0;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      number = sent_++;
      sentAt_.push_back(Clock::now());
    }
    const Bytes message = text::patternMessage(number, kMessageBytes);
    if (client_.sendDataFromHU(message.data(), static_cast<unsigned int>(message.size())) != 1) {
      const std::lock_guard<std::mutex> guard(mutex_);
      ++wrong_;
    }
  }
  // False where so much is under way that more might overrun the ring, and stays so.
  bool waitForWindow() {
    return waitFor([this] { return sent_ - std::min(echoes_, results_) < kWindow; });
  }
  bool waitForRest() {
    return waitFor([this] { return echoes_ >= sent_ && results_ >= sent_; });
  }

  std::string figures() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return std::to_string(sent_) + " " + std::to_string(results_) + " " + std::to_string(echoes_) + " " +
           std::to_string(wrong_);
  }
  std::string median() {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::sort(trips_.begin(), trips_.end());
    const std::int64_t median = trips_.empty() ? 0 : trips_[trips_.size() / 2];
    trips_.clear();
    return std::to_string(median);
  }

 private:
  template <class Condition>
  bool waitFor(const Condition& condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(test_support::kDeadline), condition);
  }

  void hearPhone(unsigned int id, const void* data) {
    switch (id) {
      case 0:
        onDevice(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data));
        break;
      case 1: {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto result = static_cast<const iosapp_def_::SendResultInfo*>(data)->result;
        wrong_ += result != iosapp_def_::SENDRESULT_SUCCESS ? 1U : 0U;
        ++results_;
        changed_.notify_all();
        break;
      }
      case 2:
        onMessage(*static_cast<const iosapp_def_::CommData*>(data));
        onEcho_();
        break;
      default:
        break;
    }
  }

  void onDevice(const iOSAppCommonClient::DeviceInfo& info) {
    if (info.usbStatus == 1) {
      client_.launch(kDevice, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
    } else if (info.usbStatus == 2) {
      say("open");
    }
  }

  void onMessage(const iosapp_def_::CommData& message) {
    const std::lock_guard<std::mutex> guard(mutex_);
    wrong_ += text::patternNumber(Bytes(message.data, message.data + message.size)) != echoes_ ? 1U : 0U;
    ++echoes_;
    if (!sentAt_.empty()) {
      if (trips_.size() < kMostSamples) {
        trips_.push_back(std::chrono::nanoseconds(Clock::now() - sentAt_.front()).count());
      }
      sentAt_.pop_front();
    }
    changed_.notify_all();
  }

  const std::function<void()> onEcho_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint32_t sent_ = 0;
  std::uint32_t results_ = 0;
  std::uint32_t echoes_ = 0;
  std::uint32_t wrong_ = 0;  // refused, not delivered, or another message than the next one
  std::deque<Clock::time_point> sentAt_;
  std::vector<std::int64_t> trips_;
  Listener listener_;
  iOSAppCommonClient client_;
};

// When the next message is due. What was not sent in time is made up for.
class Pace {
 public:
  explicit Pace(const std::string& perSecond)
      : step_(std::chrono::nanoseconds(1'000'000'000 / std::stoul(perSecond))) {}

  void wait() {
    const Clock::time_point now = Clock::now();
    due_ = std::max(due_ + step_, now - std::chrono::milliseconds(200));
    std::this_thread::sleep_until(due_);
  }

 private:
  const std::chrono::nanoseconds step_;
  Clock::time_point due_ = Clock::now();
};

TEST_ROLE(traffic_phone) {
  Phone phone;
  say("ready");
  while (const auto line = hear()) {
    if (*line == "connect") {
      phone.connect();
    }
  }
  return 0;
}

TEST_ROLE(traffic_app) {
  App app;
  std::atomic<bool> isOver{false};
  std::thread sender;
  say("ready");
  while (const auto line = hear()) {
    if (*line == "go") {
      sender = std::thread([&] {
        Pace pace(args.at(0));
        while (!isOver.load() && app.waitForWindow()) {
          app.send();
          pace.wait();
        }
      });
    } else if (*line == "figures") {
      answer(app.figures());
    } else if (*line == "median") {
      answer(app.median());
    } else if (*line == "end") {
      isOver.store(true);
      sender.join();
      app.waitForRest();
      answer(app.figures());
    }
  }
  isOver.store(true);
  if (sender.joinable()) {
    sender.join();
  }
  return 0;
}

// After the first message everything happens on the delivery thread: an echo brings the next message about.
TEST_ROLE(traffic_alone) {
  Phone phone;
  std::atomic<bool> isOver{false};
  App* own = nullptr;
  std::optional<Pace> pace;
  std::atomic<bool> isResting{false};
  App app([&] {
    if (isOver.load()) {
      isResting.store(true);
    } else {
      pace->wait();
      own->send();
    }
  });
  own = &app;
  say("ready");
  while (const auto line = hear()) {
    if (*line == "connect") {
      phone.connect();
    } else if (*line == "go") {
      pace.emplace(args.at(0));
      app.send();
    } else if (*line == "figures") {
      answer(app.figures());
    } else if (*line == "median") {
      answer(app.median());
    } else if (*line == "end") {
      isOver.store(true);
      const bool isAtRest = test_support::waitUntil([&] { return isResting.load(); });
      answer(isAtRest && app.waitForRest() ? app.figures() : "goes on");
    }
  }
  return 0;
}

TEST_ROLE(traffic_ear) {
  struct Ear {
    unsigned int hear(unsigned int, void*, unsigned int) {
      count.fetch_add(1);
      return 0;
    }
    std::atomic<std::uint64_t> count{0};
  } ear;
  constexpr unsigned int kRings[] = {2, 3};
  VQSharedMemNotifier notifier(false);
  VQObserver<Ear> observer(&ear, &Ear::hear);
  if (!notifier.AddObserver(&observer, kRings, 2)) {
    return 1;
  }
  say("ready");
  while (const auto line = hear()) {
    answer(std::to_string(ear.count.load()));
  }
  return 0;
}

}  // namespace
