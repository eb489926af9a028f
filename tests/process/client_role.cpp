// Role "client APPNAME LAUNCHSTRING [IAP1NAME]" ("-" = empty): a head-unit application.
//
// It says
//   ready
//   info DEVICE spp STATUS NAME usb STATUS NAME iap VERSION hfp CONNECTED ADDRESS      NAME "-" = empty
//   result DEVICE APPID NAME RESULT
//   data DEVICE NAME SIZE:HASH SESSION
//   playback DEVICE NAME
// and hears
//   launch METHOD | send SIZE SEED | connected | session APPID | handsfree     answered by the result
//   exchange FROM TO     sends one message of each of these sizes to a phone that echoes, and awaits echo and result;
//                        answered by "ok" or what went wrong; what comes meanwhile is not said
#include <condition_variable>
#include <deque>
#include <mutex>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

std::string shown(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string given(const std::string& text) {
  return text == "-" ? "" : text;
}

std::string sayable(const iOSAppCommonClient::DeviceInfo& info) {
  return "info " + std::to_string(info.deviceId) + " spp " + std::to_string(info.btSppStatus) + " " +
         shown(info.btSppName) + " usb " + std::to_string(info.usbStatus) + " " + shown(info.usbName) + " iap " +
         std::to_string(info.iapVersion) + " hfp " + std::to_string(info.hfpConnected) + " " + info.btAddress;
}

class ClientProcess {
 public:
  ClientProcess(const std::string& iAP1Name, const std::string& appName, const std::string& launchString)
      : listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        client_(iAP1Name, appName, launchString) {
    client_.AddObserver(listener_.observer());
  }

  ~ClientProcess() { client_.RemoveObserver(listener_.observer()); }

  std::string obey(const std::vector<std::string>& words) {
    const auto word = [&words](std::size_t index) { return index < words.size() ? numberOf(words[index]) : 0; };
    const std::string command = words.empty() ? "" : words[0];
    if (command == "launch") {
      return std::to_string(client_.launch(1, static_cast<iosapp_def_::AppLaunchMethod>(word(1))));
    }
    if (command == "send") {
      return std::to_string(send(patternBytes(word(1), word(2))));
    }
    if (command == "connected") {
      return std::to_string(client_.isDeviceConnected(1));
    }
    if (command == "session") {
      return std::to_string(client_.isSessionOpened(1, word(1)));
    }
    if (command == "handsfree") {
      return std::to_string(client_.getBtHfInfoToList(1).btConnected);
    }
    if (command == "exchange") {
      return exchange(word(1), word(2));
    }
    return "unknown command";
  }

 private:
  struct Echo {
    std::vector<std::uint8_t> bytes;
    std::uint32_t reportedSize;
  };

  unsigned int send(const std::vector<std::uint8_t>& bytes) {
    return client_.sendDataFromHU(bytes.data(), static_cast<unsigned int>(bytes.size()));
  }

  void onNotification(unsigned int id, const void* data) {
    switch (id) {
      case 0:
        say(sayable(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data)));
        break;
      case 1:
        onResult(*static_cast<const iosapp_def_::SendResultInfo*>(data));
        break;
      case 2:
        onData(*static_cast<const iosapp_def_::CommData*>(data));
        break;
      case 3: {
        const auto& playback = *static_cast<const iosapp_def_::PlaybackAppInfo*>(data);
        say("playback " + std::to_string(playback.deviceId) + " " + shown(playback.appName));
        break;
      }
      default:
        say("unknown notification " + std::to_string(id));
    }
  }

  void onResult(const iosapp_def_::SendResultInfo& result) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isExchanging_) {
      results_.push_back(result.result);
      changed_.notify_all();
    } else {
      say("result " + std::to_string(result.deviceId) + " " + std::to_string(result.appId) + " " +
          shown(result.appName) + " " + std::to_string(result.result));
    }
  }

  void onData(const iosapp_def_::CommData& data) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (isExchanging_) {
      echoes_.push_back({{data.data, data.data + data.size}, data.size});
      changed_.notify_all();
    } else {
      say("data " + std::to_string(data.deviceId) + " " + shown(data.appName) + " " + describe(data.data, data.size) +
          " " + std::to_string(data.sessionId));
    }
  }

  std::string exchange(std::uint32_t from, std::uint32_t to) {
    std::unique_lock<std::mutex> lock(mutex_);
    isExchanging_ = true;
    std::string outcome = "ok";
    for (std::uint32_t size = from; size <= to && outcome == "ok"; ++size) {
      outcome = exchangeOne(size, lock);
    }
    isExchanging_ = false;
    return outcome;
  }

  std::string exchangeOne(std::uint32_t size, std::unique_lock<std::mutex>& lock) {
    const std::vector<std::uint8_t> sent = patternBytes(size, size * 3);
    lock.unlock();
    const unsigned int isSent = send(sent);
    lock.lock();
    const std::string which = " the message of " + std::to_string(size) + " bytes";
    if (isSent != 1) {
      return "cannot send" + which;
    }
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(static_cast<int>(test_support::kDeadline));
    while (echoes_.empty() || results_.empty()) {
      if (changed_.wait_until(lock, deadline) == std::cv_status::timeout) {
        return "no answer to" + which;
      }
    }
    const Echo echo = echoes_.front();
    const std::uint32_t result = results_.front();
    echoes_.pop_front();
    results_.pop_front();
    if (echo.bytes != sent || result != iosapp_def_::SENDRESULT_SUCCESS) {
      return "wrong answer to" + which + ": result " + std::to_string(result) + ", " + describe(echo.bytes) +
             " instead of " + describe(sent);
    }
    return "ok";
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool isExchanging_ = false;
  std::deque<Echo> echoes_;
  std::deque<std::uint32_t> results_;
  Listener listener_;
  iOSAppCommonClient client_;
};

TEST_ROLE(client) {
  ClientProcess process(args.size() > 2 ? given(args[2]) : "", given(args.at(0)), given(args.at(1)));
  say("ready");
  while (const auto line = hear()) {
    answer(process.obey(wordsOf(*line)));
  }
  return 0;
}

}  // namespace
