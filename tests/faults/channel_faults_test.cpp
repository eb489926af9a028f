// What the product does with segments that are there: registering, sending, receiving.
#include <errno.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <numeric>
#include <optional>
#include <type_traits>

#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/private/iOSApp/DataRing.h"
#include "tests/faults/matrix.h"
#include "tests/faults/receiver.h"
#include "tests/support/shm_files.h"

namespace {

using faults::Expectation;
using faults::Operation;
using faults::Receiver;
using faults::Watch;

constexpr const char* kRing = "iOSAppMem_Device1_From_HU";
constexpr unsigned int kFromHU = 2;

// Under a segment's lock the notifier's is taken: which of the two a fault meets shows in what is logged. `name`: the
// segment. `works`: outcome where all is well. `unannounced`: outcome where nobody could be told.
std::vector<Expectation> whileSending(const std::string& name, unsigned int id, const std::string& works,
                                      const std::string& unannounced, bool hasLock) {
  const std::string remove = "stop every process that uses it and remove /dev/shm/";
  const std::string takenOver = "lock:0 lock \"" + name + "\": its holder died; taken over";
  const std::string ownLock =
      "lock:0 lock \"" + name + "\" is damaged and works inside this process only; " + remove + name + ".lock";
  const std::string refused = "NotifyDataUpdate:0 message of identifier " + std::to_string(id) +
                              " refused: the log is damaged; " + remove + "VQSharedMemNotifier.log";
  const std::string segmentMutex = hasLock ? name + ".lock" : "none";
  const std::string logMutex = "VQSharedMemNotifier.log";
  using faults::Way;
  return {
      {"", "", {EBUSY}, works},
      {"", segmentMutex, {EOWNERDEAD}, works, {takenOver}},
      {"", logMutex, {EOWNERDEAD}, works},
      {"", segmentMutex, {ENOTRECOVERABLE, EAGAIN}, works, {ownLock}, {}, Way::kOnce},
      {"", segmentMutex, {ENOTRECOVERABLE, EAGAIN}, unannounced, {ownLock, refused}, {}, Way::kAlways},
      {"", logMutex, {ENOTRECOVERABLE, EAGAIN}, unannounced, {refused}},
      {"clock_gettime", "", {}, works},
      {"sched_getcpu", "", {}, works},
      {"pthread_setspecific", "", {}, works},
      {"futex wake", "", {}, works},
  };
}

std::vector<std::uint8_t> pattern() {
  std::vector<std::uint8_t> bytes(4096);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

constexpr const char* kStuck = "the delivery thread does not sleep";

std::string outcomeOf(const std::string& result, const Receiver& receiver, unsigned int before,
                      faults::Marker& marker) {
  faults::clearPlan();
  if (!marker.pass()) {
    return result + ", and nothing arrives any more";
  }
  return result + (receiver.count() == before + 1 ? ", announced" : ", not announced");
}

// Objects that stay, and with them the delivery thread.
template <class Endpoint>
class WithEndpoint : public Operation {
 public:
  void prepare() override {
    marker_.emplace();
    endpoint_ = make();
    endpoint_->AddObserver(receiver_.observer());
  }
  void finish() override {
    endpoint_.reset();
    marker_.reset();
  }

 protected:
  static std::unique_ptr<Endpoint> make() {
    if constexpr (std::is_same_v<Endpoint, iOSAppCommonLocalMem>) {
      return std::make_unique<Endpoint>(kRing, 1U, kFromHU);
    } else {
      return std::make_unique<Endpoint>();
    }
  }

  std::optional<faults::Marker> marker_;
  std::unique_ptr<Endpoint> endpoint_;
  Receiver receiver_;
};

class RegisteredApp : public WithEndpoint<iOSAppCommonLocalMem_AppInfo> {
 public:
  std::string attempt() override {
    constexpr std::size_t kCount = 4 + 5440;
    test_support::pokeShmWord("iOSAppCommonLocalMem_AppInfo", kCount, 0);
    if (!faults::waitForSleep(5)) {
      return kStuck;
    }
    const unsigned int before = receiver_.count();
    std::atomic<std::uint32_t> appId{0};
    {
      const Watch watch;
      endpoint_->registAppInfo("", "app", "launch", appId);
    }
    return outcomeOf("app id " + std::to_string(appId), receiver_, before, *marker_);
  }
};

TEST(Faults, WhileAnAppIsRegistered) {
  faults::run(
      {"registration of an app", "app id 1, announced", [] { return std::make_unique<RegisteredApp>(); },
       whileSending("iOSAppCommonLocalMem_AppInfo", 5, "app id 1, announced", "app id 1, not announced", true)});
}

class WrittenRing : public WithEndpoint<iOSAppCommonLocalMem> {
 public:
  std::string attempt() override {
    if (!faults::waitForSleep(kFromHU)) {
      return kStuck;
    }
    const std::vector<std::uint8_t> bytes = pattern();
    const unsigned int before = receiver_.count();
    bool isWritten = false;
    {
      const Watch watch;
      isWritten = writeToRing(*endpoint_, 1, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    const std::string outcome = outcomeOf(isWritten ? "true" : "false", receiver_, before, *marker_);
    std::vector<std::uint8_t> read(bytes.size());
    SlotCopy copy = {read.data(), 0};
    const bool isRead = readSlotFromRing(*endpoint_, slot_++, copy);
    return isRead && read == bytes ? outcome : outcome + ", and other bytes lie in the slot";
  }

 private:
  std::uint32_t slot_ = 0;
};

TEST(Faults, WhileARingIsWritten) {
  faults::run({"data message, written into its ring", "true, announced", [] { return std::make_unique<WrittenRing>(); },
               whileSending(kRing, 2, "true, announced", "true, not announced", true)});
}

class SentStatus : public WithEndpoint<iOSAppCommonLocalMem_ConnectStatus> {
 public:
  std::string attempt() override {
    if (!faults::waitForSleep(4)) {
      return kStuck;
    }
    const unsigned int before = receiver_.count();
    iosapp_def_::ConnectInfo info = {1, 1, 0, 1};
    {
      const Watch watch;
      endpoint_->setDeviceConnectionStatus(info);
    }
    return outcomeOf("sent", receiver_, before, *marker_);
  }
};

TEST(Faults, WhileAStatusIsSent) {
  faults::run({"connection message, sent", "sent, announced", [] { return std::make_unique<SentStatus>(); },
               whileSending("", 4, "sent, announced", "sent, not announced", false)});
}

// What the server's observer gets. It owns the bytes.
class ReceivedData {
 public:
  VQObserver_* observer() { return &observer_; }
  unsigned int count() const { return count_; }

 private:
  unsigned int update(unsigned int id, void* data, unsigned int /*size*/) {
    const faults::LookAway away;
    if (id == 1) {
      const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
      const std::vector<std::uint8_t> expected = pattern();
      const bool isWhole =
          received.size == expected.size() && memcmp(received.data, expected.data(), received.size) == 0;
      count_ += isWhole ? 1U : 0U;
      delete[] received.data;
    }
    return 0;
  }

  std::atomic<unsigned int> count_{0};
  VQObserver<ReceivedData> observer_{this, &ReceivedData::update};
};

class ServerThatReceives : public WithEndpoint<iOSAppCommonLocalMem> {
 public:
  void prepare() override {
    WithEndpoint::prepare();
    server_ = std::make_unique<iOSAppCommonServer>(1U);
    server_->AddObserver(data_.observer());
  }
  std::string attempt() override {
    if (!faults::waitForSleep(kFromHU)) {
      return kStuck;
    }
    const std::vector<std::uint8_t> bytes = pattern();
    const unsigned int before = data_.count();
    faults::watchDelivery(true);
    writeToRing(*endpoint_, 1, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    const bool hasPassed = marker_->pass();
    faults::watchDelivery(false);
    if (!hasPassed) {
      return "nothing arrives any more";
    }
    return data_.count() == before + 1 ? "received" : "not received";
  }
  void finish() override {
    server_.reset();
    VQSingleton<iOSAppCommonUtil>::destroy();
    WithEndpoint::finish();
  }

 private:
  ReceivedData data_;
  std::unique_ptr<iOSAppCommonServer> server_;
};

TEST(Faults, WhileTheServerReceives) {
  const std::string ring = kRing;
  const std::vector<std::string> takenOver = {"lock:0 lock \"" + ring + "\": its holder died; taken over"};
  const std::vector<std::string> damaged = {"lock:0 lock \"" + ring +
                                            "\" is damaged and works inside this process only; stop every process "
                                            "that uses it and remove /dev/shm/" +
                                            ring + ".lock"};
  faults::run({"data message, received by the server",
               "received",
               [] { return std::make_unique<ServerThatReceives>(); },
               {{"new (nothrow)", "", {}, "not received"},
                {"", "", {EBUSY}, "received"},
                {"mutex trylock", ring + ".lock", {EOWNERDEAD}, "received", takenOver, {}, faults::Way::kOnce},
                {"mutex trylock",
                 ring + ".lock",
                 {EOWNERDEAD},
                 "received",
                 {takenOver[0], takenOver[0]},
                 {},
                 faults::Way::kAlways},
                {"mutex trylock", ring + ".lock", {}, "received", damaged},
                {"", "", {}, "received"}}});
}

}  // namespace
