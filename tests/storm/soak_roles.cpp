// Roles of the soak. Each says "ready" and hears
//   heap      answered by the bytes of its heap in use
//   round     sends itself as many messages as the log holds; answered by "ok"
//
// "soak_phone [SABOTAGE]"     the device side: answers every message with one of its own
// "soak_app [SABOTAGE]"       hears "exchange COUNT": sends so many messages, 32 at a time, and checks every answer;
//                             answered by "ok" or what went wrong
// "soak_watcher"              a client without an app and a notifier of its own
// "soak_cycler [SABOTAGE]"    hears "attach COUNT": makes and destroys objects of the channel and the facade so often;
//                             answered by "ok"
// "soak_servers"              the same with servers
// "soak_visitor HOW"          a process that attaches, exchanges a message with itself, and ends: "return" or "leave"
//                             (without its destructors)
// SABOTAGE: "descriptor", "memory", "payload" or "object" is lost or spoilt now and then.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/LinkAppiOSWrapper.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "platform/reference/message_log_layout.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/process/shared_page.h"
#include "tests/storm/footprint.h"
#include "tests/storm/journal.h"
#include "tests/storm/payload.h"
#include "tests/support/roles.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace storm {
namespace {

constexpr std::uint32_t kBatch = 32;
constexpr std::uint16_t kFirstSession = 100;
constexpr std::uint32_t kOverUsb = 0;
constexpr std::uint32_t kSessionsNameApps = 1;
constexpr std::uint32_t kRoundId = 0x534F414BU;
constexpr std::uint32_t kSabotageEvery = 1000;
constexpr const char* kTableSegment = "iOSAppCommonLocalMem_AppInfo";
constexpr std::size_t kTableCount = 4 + 5440;

// What a role loses on purpose, to see that it is noticed.
class Sabotage {
 public:
  explicit Sabotage(const test_support::Arguments& args) : what_(args.empty() ? "" : args[0]) {}

  void now() {
    if (++count_ % kSabotageEvery != 0) {
      return;
    }
    if (what_ == "descriptor") {
      fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10);
    } else if (what_ == "memory") {
      constexpr std::size_t kLost = 2048;
      lost_ = calloc(kLost, 1);
    } else if (what_ == "object") {
      mapSharedPage("lost-" + std::to_string(count_), 1);
    }
  }

  bool spoils(std::uint32_t sequence) const { return what_ == "payload" && sequence % kSabotageEvery == 0; }

 private:
  const std::string what_;
  void* volatile lost_ = nullptr;
  std::uint32_t count_ = 0;
};

// Posts as many messages as the log holds, and waits until this process has read them all: whoever has done that has
// touched every page of the log.
std::string goRoundTheLog() {
  constexpr std::uint32_t kPortion = 64;
  std::atomic<std::uint32_t> received{0};
  Listener listener([&received](unsigned int, void*, unsigned int) { ++received; });
  VQSharedMemNotifier notifier(false);
  notifier.AddObserver(listener.observer(), &kRoundId, 1);
  const std::vector<std::uint8_t> bytes(VQSharedMemNotifier::kMaxPayload, 1);
  for (std::uint32_t posted = 0; posted <= vqframework::kSlotCount; posted += kPortion) {
    for (std::uint32_t i = 0; i < kPortion; ++i) {
      notifier.NotifyDataUpdate(kRoundId, bytes.data(), VQSharedMemNotifier::kMaxPayload);
    }
    if (!test_support::waitUntil([&] { return received.load() == posted + kPortion; })) {
      return std::to_string(received.load()) + " of " + std::to_string(posted + kPortion) +
             " messages to itself have arrived";
    }
  }
  notifier.RemoveObserver(listener.observer());
  return "ok";
}

std::string obeyCommon(const std::string& command) {
  return command == "heap" ? std::to_string(heapInUse()) : goRoundTheLog();
}

template <class Obey>
int serve(Obey obey) {
  say("ready");
  while (const auto line = hear()) {
    const std::vector<std::string> words = wordsOf(*line);
    answer(words[0] == "heap" || words[0] == "round" ? obeyCommon(words[0]) : obey(words));
  }
  return 0;
}

std::string knowsNothing(const std::vector<std::string>& /*words*/) {
  return "unknown command";
}

class Phone {
 public:
  explicit Phone(const test_support::Arguments& args)
      : sabotage_(args),
        registryListener_([this](unsigned int, void*, unsigned int) { announce(); }),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        server_(1) {
    server_.AddObserver(listener_.observer());
    VQSingleton<iOSAppCommonUtil>::getInstance()->AddObserver(registryListener_.observer());
    announce();
  }

  ~Phone() {
    VQSingleton<iOSAppCommonUtil>::getInstance()->RemoveObserver(registryListener_.observer());
    server_.RemoveObserver(listener_.observer());
  }

 private:
  void announce() {
    iosapp_def_::ConnectInfo connection = {0, 1, kOverUsb, kSessionsNameApps};
    server_.notifyConnectionState(connection);
    iOSAppExtBluetoothConnectionStatus handsFree;
    server_.notifyBluetoothConnectionStatus(&handsFree);
  }

  void onNotification(unsigned int id, void* data) {
    if (id == 0) {
      const std::uint32_t app = static_cast<const iOSAppLaunchRequest*>(data)->appId;
      server_.notifySessionOpen(app, static_cast<std::uint16_t>(kFirstSession + app));
    } else if (id == 1) {
      onData(*static_cast<const iosapp_def_::CommData*>(data));
    }
  }

  // A message that is not whole gets no answer: its sender tells.
  void onData(const iosapp_def_::CommData& data) {
    const std::unique_ptr<std::uint8_t[]> owned(data.data);
    const std::optional<Stamp> stamp = readMessage(data.data, data.size);
    if (stamp) {
      std::vector<std::uint8_t> bytes = messageOf({1, 0, ++sent_, stamp->size, 0, 0, stamp->sequence});
      bytes.back() = static_cast<std::uint8_t>(bytes.back() + (sabotage_.spoils(sent_) ? 1 : 0));
      server_.sendDataFromDevice(data.sessionId, bytes.data(), stamp->size);
    }
  }

  const Sabotage sabotage_;
  std::uint32_t sent_ = 0;
  Listener registryListener_;
  Listener listener_;
  iOSAppCommonServer server_;
};

class App {
 public:
  explicit App(const test_support::Arguments& args)
      : sabotage_(args),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        client_("", "soak", "launch soak") {
    client_.AddObserver(listener_.observer());
  }

  ~App() { client_.RemoveObserver(listener_.observer()); }

  std::string obey(const std::vector<std::string>& words) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (words[0] != "exchange") {
      return "unknown command";
    }
    lock.unlock();
    const bool isConnected = test_support::waitUntil([this] { return client_.isDeviceConnected(1) == 1; });
    if (!isConnected || client_.launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT) != 1) {
      return "not connected";
    }
    lock.lock();
    if (!await(lock, [this] { return isOpen_; })) {
      return "no session";
    }
    // Every message is one of them, and so is its answer.
    for (std::uint32_t rest = numberOf(words.at(1)) / 2; rest != 0 && trouble_.empty();) {
      const std::uint32_t count = std::min(rest, kBatch);
      lock.unlock();
      sendBatch(count);
      lock.lock();
      if (!await(lock, [this] { return answered_ == sent_ || !trouble_.empty(); }) && trouble_.empty()) {
        trouble_ = "no answer to message " + std::to_string(answered_ + 1);
      }
      rest -= count;
    }
    return trouble_.empty() ? "ok" : trouble_;
  }

 private:
  template <class Condition>
  bool await(std::unique_lock<std::mutex>& lock, Condition condition) {
    return changed_.wait_for(lock, std::chrono::seconds(static_cast<int>(test_support::kDeadline)), condition);
  }

  static std::uint32_t sizeOf(std::uint32_t sequence) {
    return sequence % 64 == 0 ? kLargestMessage - sequence / 64 % 1000 : kSmallestMessage + sequence % 200;
  }

  void sendBatch(std::uint32_t count) {
    const std::uint32_t first = sent_ + 1;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      sent_ += count;
    }
    for (std::uint32_t sequence = first; sequence < first + count; ++sequence) {
      sabotage_.now();
      const std::vector<std::uint8_t> bytes = messageOf({2, 0, sequence, sizeOf(sequence), 0, 0, 0});
      if (client_.sendDataFromHU(bytes.data(), static_cast<unsigned int>(bytes.size())) != 1) {
        const std::lock_guard<std::mutex> guard(mutex_);
        trouble_ = "cannot send message " + std::to_string(sequence);
      }
    }
  }

  void onNotification(unsigned int id, const void* data) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (id == 0) {
      const auto& info = *static_cast<const iOSAppCommonClient::DeviceInfo*>(data);
      isOpen_ = info.usbStatus == 2;
    } else if (id == 2) {
      const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
      onAnswer(readMessage(received.data, received.size));
    }
    if (answered_ == sent_ || !trouble_.empty()) {
      changed_.notify_all();
    }
  }

  void onAnswer(const std::optional<Stamp>& stamp) {
    if (!stamp) {
      trouble_ = "corrupted answer to message " + std::to_string(answered_ + 1);
    } else if (stamp->answeredSequence != answered_ + 1 || stamp->size != sizeOf(answered_ + 1)) {
      trouble_ = "answer " + toText(*stamp) + " to message " + std::to_string(stamp->answeredSequence) +
                 " instead of " + std::to_string(answered_ + 1);
    }
    ++answered_;
  }

  Sabotage sabotage_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOpen_ = false;
  std::uint32_t sent_ = 0;
  std::uint32_t answered_ = 0;
  std::string trouble_;
  Listener listener_;
  iOSAppCommonClient client_;
};

TEST_ROLE(soak_phone) {
  const Phone phone(args);
  return serve(&knowsNothing);
}

TEST_ROLE(soak_app) {
  App app(args);
  return serve([&app](const std::vector<std::string>& words) { return app.obey(words); });
}

TEST_ROLE(soak_watcher) {
  iOSAppCommonClient client("", "", "");
  VQSharedMemNotifier notifier(false);
  Listener listener([](unsigned int, void*, unsigned int) {});
  client.AddObserver(listener.observer());
  notifier.AddObserver(listener.observer(), &kBareId, 1);
  const int result = serve(&knowsNothing);
  notifier.RemoveObserver(listener.observer());
  client.RemoveObserver(listener.observer());
  return result;
}

// --- attaching and detaching ---

struct EveryListener final : LinkAppiOSWrapperListener,
                             LinkAppHfpWrapperListener,
                             LinkAppiOSPlaybackInfoListener,
                             VQSLinkAppDeviceStatusListener,
                             VQSILinkAppSenderReceiverListener {};

void attachClient() {
  Listener listener([](unsigned int, void*, unsigned int) {});
  iOSAppCommonClient client("iap1", "cycle", "launch cycle");
  client.AddObserver(listener.observer());
  client.RemoveObserver(listener.observer());
}

void attachOperator() {
  EveryListener listener;
  VQSLinkAppOperator phone("cycle", "iap1", "launch cycle");
  phone.setListener(&listener);
  phone.setStatusListener(&listener);
  phone.requestiOSLaunch(1, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITH_USER_ALERT);
  phone.removeStatusListener(&listener);
  phone.removeListener(&listener);
}

void attachWrappers() {
  EveryListener listener;
  LinkAppiOSWrapper wrapper("cycle", "iap1", "launch cycle");
  LinkAppHfpWrapper handsFree;
  LinkAppiOSPlaybackInfo playback;
  wrapper.setListener(&listener);
  handsFree.setListener(&listener);
  playback.setListener(&listener);
  playback.removeListener(&listener);
  handsFree.removeListener(&listener);
  wrapper.removeListener(&listener);
}

// Whether a message to itself arrives.
bool attachNotifier() {
  std::atomic<bool> hasCome{false};
  const std::uint32_t number = static_cast<std::uint32_t>(getpid());
  Listener listener([&hasCome, number](unsigned int, void* data, unsigned int size) {
    hasCome = hasCome || (size == sizeof number && *static_cast<const std::uint32_t*>(data) == number);
  });
  VQSharedMemNotifier notifier(false);
  Listener second([](unsigned int, void*, unsigned int) {});
  notifier.AddObserver(second.observer(), &kBareId, 1);
  notifier.AddObserver(listener.observer(), &kBareId, 1);
  notifier.NotifyDataUpdate(kBareId, &number, sizeof number);
  const bool isIn = test_support::waitUntil([&hasCome] { return hasCome.load(); });
  notifier.RemoveObserver(listener.observer());
  return isIn;
}

// The table of apps is full after 20 of them; emptied, it is as after a restart of the machine. Nobody else may be
// there who keeps a copy.
std::string attachAll(std::uint32_t count, Sabotage& sabotage) {
  for (std::uint32_t i = 0; i < count; ++i) {
    sabotage.now();
    test_support::pokeShmWord(kTableSegment, kTableCount, 0);
    attachClient();
    attachOperator();
    attachWrappers();
    if (!attachNotifier()) {
      return "a notifier does not get its own message";
    }
  }
  return "ok";
}

TEST_ROLE(soak_cycler) {
  Sabotage sabotage(args);
  return serve([&sabotage](const std::vector<std::string>& words) {
    return words[0] == "attach" ? attachAll(numberOf(words.at(1)), sabotage) : knowsNothing(words);
  });
}

TEST_ROLE(soak_servers) {
  return serve([](const std::vector<std::string>& words) -> std::string {
    for (std::uint32_t rest = words[0] == "attach" ? numberOf(words.at(1)) : 0; rest != 0; --rest) {
      Listener listener([](unsigned int, void*, unsigned int) {});
      iOSAppCommonServer server(1);
      server.AddObserver(listener.observer());
      server.RemoveObserver(listener.observer());
    }
    return "ok";
  });
}

TEST_ROLE(soak_visitor) {
  Listener listener([](unsigned int, void*, unsigned int) {});
  iOSAppCommonClient client("", "visitor", "launch visitor");
  client.AddObserver(listener.observer());
  const bool isIn = attachNotifier();
  if (args.at(0) == "leave") {
    _exit(isIn ? 0 : 1);
  }
  client.RemoveObserver(listener.observer());
  return isIn ? 0 : 1;
}

}  // namespace
}  // namespace storm
