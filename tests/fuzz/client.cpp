// iOSAppCommonClient and its transcription: the same messages, rings and requests, compared step by step.
//
// In: ConnectStatusNotify as payload, iOSAppCommonDataNotify as payload, both data rings.
#include "LinkAppCommon/iOSAppCommonClient.h"

#include "tests/fuzz/channel_bench.h"
#include "tests/fuzz/channel_lines.h"
#include "tests/fuzz/opened.h"

namespace {

using channel_model::ClientModel;
using fuzz::Input;
using fuzz::Lines;

FUZZ_OPEN(MemPacks, iOSAppCommonClient, std::vector<iOSAppMemPack*>, memPacks);
FUZZ_OPEN(CurrentDeviceId, iOSAppCommonClient, std::atomic<std::uint32_t>, currentDeviceId);
FUZZ_OPEN(AppId, iOSAppCommonClient, std::atomic<std::uint32_t>, appId);
FUZZ_OPEN(LaunchEnabled, iOSAppCommonClient, bool, launchEnabled);
FUZZ_OPEN(ConnectInfos, iOSAppCommonClient, std::vector<iosapp_def_::ConnectInfo>, connectInfoList);
FUZZ_OPEN(SessionInfos, iOSAppCommonClient, std::vector<iosapp_def_::SessionInfo>, sessionInfoList);
FUZZ_OPEN(BtHfInfos, iOSAppCommonClient, std::vector<iosapp_def_::BtHfInfo>, btHfInfoList);

constexpr unsigned int kMostSteps = 32;

bool operator==(const iosapp_def_::ConnectInfo& a, const iosapp_def_::ConnectInfo& b) {
  return a.deviceId == b.deviceId && a.connectStatus == b.connectStatus && a.connectType == b.connectType &&
         a.iapType == b.iapType;
}

bool operator==(const iosapp_def_::SessionInfo& a, const iosapp_def_::SessionInfo& b) {
  return a.deviceId == b.deviceId && a.appId == b.appId && a.status == b.status;
}

bool operator==(const iosapp_def_::BtHfInfo& a, const iosapp_def_::BtHfInfo& b) {
  return a.deviceId == b.deviceId && a.btConnected == b.btConnected &&
         std::equal(std::begin(a.btAddress), std::end(a.btAddress), std::begin(b.btAddress));
}

template <class Record>
bool same(const std::vector<Record>& a, const std::vector<Record>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Record& x, const Record& y) { return x == y; });
}

class ClientPair {
 public:
  ClientPair() {
    fuzz::keepLogIn(observed_);
    sut_.AddObserver(&observer_);
  }

  void begin(Input& input) {
    fuzz::beginExecution();
    observed_.clear();
    const std::uint8_t shape = input.byte();
    const std::uint32_t appId = shape % 4 == 0 ? 0 : shape % 4 == 1 ? input.number() : 1;
    const bool isLaunched = (shape & 16) != 0;
    sut_.*memberOf(AppId()) = appId;
    sut_.*memberOf(CurrentDeviceId()) = isLaunched ? 1 : 0;
    sut_.*memberOf(LaunchEnabled()) = (shape & 8) != 0;
    (sut_.*memberOf(ConnectInfos())).clear();
    (sut_.*memberOf(SessionInfos())).clear();
    (sut_.*memberOf(BtHfInfos())).clear();

    model_ = ClientModel();
    model_.fromHU = fromHU_.model();
    model_.fromDevice = fromDevice_.model();
    model_.appName = "app";
    model_.appId = appId;
    model_.currentDeviceId = isLaunched ? 1 : 0;
    model_.launchEnabled = (shape & 8) != 0;
  }

  void step(Input& input) {
    static constexpr const char* kSteps[] = {
        "a status message", "a status message", "a status message", "an announcement",    "an announcement",
        "a disturbance",    "a launch",         "a send",           "a change of a list", "a question"};
    const std::uint32_t kind = input.below(std::size(kSteps));
    switch (kind) {
      case 0:
      case 1:
      case 2:
        tellStatus(input);
        break;
      case 3:
      case 4:
        announce(input);
        break;
      case 5:
        (input.flag() ? fromHU_ : fromDevice_).disturb(input);
        break;
      case 6:
        launch(input);
        break;
      case 7:
        send(input);
        break;
      case 8:
        changeList(input);
        break;
      default:
        ask(input);
        break;
    }
    fuzz::requireSame(fuzz::takeLines(observed_), model_.lines, kSteps[kind]);
    model_.lines.clear();
    fuzz::require(same(sut_.*memberOf(ConnectInfos()), model_.connections), "both know the same connections");
    fuzz::require(same(sut_.*memberOf(SessionInfos()), model_.sessions), "both know the same sessions");
    fuzz::require(same(sut_.*memberOf(BtHfInfos()), model_.handsFree), "both know the same hands-free links");
    fuzz::require(sut_.*memberOf(CurrentDeviceId()) == model_.currentDeviceId, "both have the same device selected");
  }

  void end() {
    fromHU_.requireSame();
    fromDevice_.requireSame();
    fromHU_.clear();
    fromDevice_.clear();
  }

 private:
  void tellStatus(Input& input) {
    fuzz::Payload payload(fuzz::statusPayload(input));
    const unsigned int id = fuzz::identifier(input, 4);
    fuzz::require(sut_.onConnectStatusUpdate(id, payload.data(), payload.size()) == 0, "handlers answer 0");
    model_.onConnectStatusUpdate(id, payload.data(), payload.size());
  }

  void announce(Input& input) {
    const bool isDisturbed = input.below(4) == 0;
    fuzz::Payload payload(fuzz::announcementPayload(input));
    const unsigned int id = fuzz::identifier(input, 3);
    if (isDisturbed) {
      fromDevice_.disturbMeanwhile(input, model_.fromDevice);
    }
    fuzz::require(sut_.onFromDeviceUpdate(id, payload.data(), payload.size()) == 0, "handlers answer 0");
    model_.onFromDeviceUpdate(id, payload.data(), payload.size());
    if (isDisturbed) {
      fromDevice_.endOfMeanwhile(model_.fromDevice);
    }
  }

  void launch(Input& input) {
    const unsigned int deviceId = input.number();
    const unsigned int method = input.number();
    fuzz::require(
        sut_.launch(deviceId, static_cast<iosapp_def_::AppLaunchMethod>(method)) == model_.launch(deviceId, method),
        "both answer a launch the same");
  }

  void send(Input& input) {
    fromHU_.expectWrite();
    const std::string bytes(4096, static_cast<char>(input.byte()));
    const unsigned int size = input.number();
    const auto* const data = input.below(8) == 7 ? nullptr : reinterpret_cast<const unsigned char*>(bytes.data());
    fuzz::require(sut_.sendDataFromHU(data, size) == model_.sendDataFromHU(data, size), "both answer a send the same");
  }

  void changeList(Input& input) {
    const std::uint32_t device = input.number();
    const std::uint32_t value = input.number();
    switch (input.below(6)) {
      case 0:
        sut_.addConnectInfoToList({device, value, value % 2, value / 2});
        return model_.addConnectInfo({device, value, value % 2, value / 2});
      case 1:
        sut_.addSessionInfoToList({device, value, input.below(3)});
        model_.addSessionInfo((sut_.*memberOf(SessionInfos())).back());
        return;
      case 2:
        sut_.addBtHfInfoToList({device, value, {1, 2, 3, 4, 5, 6}});
        return model_.addBtHfInfo({device, value, {1, 2, 3, 4, 5, 6}});
      case 3:
        sut_.removeConnectInfoFromList(device);
        return model_.removeConnectInfo(device);
      case 4:
        sut_.removeSessionInfoFromList(device, value);
        return model_.removeSessionInfo(device, value);
      default:
        sut_.removeBtHfInfoFromList(device);
        return model_.removeBtHfInfo(device);
    }
  }

  void ask(Input& input) {
    const std::uint32_t device = input.number();
    const std::uint32_t app = input.number();
    fuzz::require(sut_.isDeviceConnected(device) == model_.isDeviceConnected(device), "both know who is connected");
    fuzz::require(sut_.isSessionOpened(device, app) == model_.isSessionOpened(device, app), "both know open sessions");
    fuzz::require(sut_.getConnectInfoToList(device) == model_.connectInfo(device), "both have the same connection");
    fuzz::require(sut_.getBtHfInfoToList(device) == model_.btHfInfo(device), "both have the same hands-free link");
  }

  unsigned int onEvent(unsigned int id, void* data, unsigned int size) {
    using channel_lines::commData;
    switch (id) {
      case 0: {
        const auto& info = *static_cast<const iOSAppCommonClient::DeviceInfo*>(data);
        observed_.push_back(channel_lines::deviceInfo(info.deviceId, info.btAddress, info.btSppStatus, info.btSppName,
                                                      info.usbStatus, info.usbName, info.iapVersion, info.hfpConnected,
                                                      size));
        break;
      }
      case 1: {
        const auto& info = *static_cast<const iosapp_def_::SendResultInfo*>(data);
        observed_.push_back(channel_lines::sendResult(info.deviceId, info.appId, info.appName, info.result, size));
        break;
      }
      case 2: {
        const auto& info = *static_cast<const iosapp_def_::CommData*>(data);
        const std::string bytes(reinterpret_cast<const char*>(info.data), iOSAppCommonDataList::kSlotBytes);
        observed_.push_back(commData(info.deviceId, info.appName, info.size, info.sessionId, bytes, size));
        break;
      }
      case 3: {
        const auto& info = *static_cast<const iosapp_def_::PlaybackAppInfo*>(data);
        observed_.push_back(channel_lines::playback(info.deviceId, info.appName, size));
        break;
      }
      default:
        fuzz::require(false, "a client notifies with identifiers 0 to 3");
    }
    return 0;
  }

  Lines observed_;
  iOSAppCommonClient sut_{"iap1", "app", "launch"};
  ClientModel model_;
  VQObserver<ClientPair> observer_{this, &ClientPair::onEvent};
  fuzz::RingPair fromHU_{*(sut_.*memberOf(MemPacks())).at(0)->fromHU, "iOSAppMem_Device1_From_HU"};
  fuzz::RingPair fromDevice_{*(sut_.*memberOf(MemPacks())).at(0)->fromDevice, "iOSAppMem_Device1_From_Device"};
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static auto* const pair = new ClientPair;
  Input input(data, size);
  pair->begin(input);
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    pair->step(input);
  }
  pair->end();
  return 0;
}
