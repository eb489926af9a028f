// iOSAppCommonServer and its transcription: the same messages, rings, registrations and operations, compared step by
// step.
//
// In: ConnectStatusNotify as payload, iOSAppCommonDataNotify as payload, both data rings, the registry's table.
#include "LinkAppCommon/iOSAppCommonServer.h"

#include <memory>

#include "tests/fuzz/channel_bench.h"
#include "tests/fuzz/channel_lines.h"
#include "tests/fuzz/opened.h"

namespace {

using channel_model::App;
using channel_model::ServerModel;
using fuzz::Input;
using fuzz::Lines;

FUZZ_OPEN(MemPacks, iOSAppCommonServer, std::vector<iOSAppMemPack*>, memPacks);
FUZZ_OPEN(IapType, iOSAppCommonServer, std::atomic<std::uint32_t>, iapType);
FUZZ_OPEN(AppList, iOSAppCommonServer, SupportiOSLinkAppInfo, appList);
FUZZ_OPEN(SupportInfo, iOSAppCommonUtil, SupportiOSLinkAppInfo, supportInfo);

constexpr unsigned int kMostSteps = 32;
constexpr std::size_t kMostApps = 30;  // more than the table has, since apps may be announced twice

class ServerPair {
 public:
  ServerPair() {
    fuzz::keepLogIn(observed_);
    sut_.AddObserver(&observer_);
  }

  void begin(Input& /*input*/) {
    fuzz::beginExecution();
    observed_.clear();
    registered_.assign(1, App());
    (util_.*memberOf(SupportInfo())).list.assign(1, iOSLinkAppInfo());
    (sut_.*memberOf(AppList())).list.assign(1, iOSLinkAppInfo());
    sut_.*memberOf(IapType()) = 1;

    model_ = ServerModel();
    model_.fromHU = fromHU_.model();
    model_.fromDevice = fromDevice_.model();
  }

  void step(Input& input) {
    static constexpr const char* kSteps[] = {
        "a status message",  "an announcement", "an announcement", "a disturbance", "a registration", "a registration",
        "a change of table", "a session",       "a state",         "a send",        "a question"};
    const std::uint32_t kind = input.below(std::size(kSteps));
    switch (kind) {
      case 0:
        tellStatus(input);
        break;
      case 1:
      case 2:
        announce(input);
        break;
      case 3:
        (input.flag() ? fromHU_ : fromDevice_).disturb(input);
        break;
      case 4:
      case 5:
        registerApp(input);
        break;
      case 6:
        changeTable(input);
        break;
      case 7:
        changeSession(input);
        break;
      case 8:
        tellState(input);
        break;
      case 9:
        send(input);
        break;
      default:
        ask(input);
        break;
    }
    fuzz::requireSame(fuzz::takeLines(observed_), model_.lines, kSteps[kind]);
    model_.lines.clear();
    requireSameTable();
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
    const unsigned int id = fuzz::identifier(input, 2);
    if (isDisturbed) {
      fromHU_.disturbMeanwhile(input, model_.fromHU);
    }
    fuzz::require(sut_.onFromHUUpdate(id, payload.data(), payload.size()) == 0, "handlers answer 0");
    model_.onFromHUUpdate(id, payload.data(), payload.size());
    if (isDisturbed) {
      fromHU_.endOfMeanwhile(model_.fromHU);
    }
  }

  void registerApp(Input& input) {
    if (registered_.size() >= kMostApps) {
      return;
    }
    App app;
    app.appId = static_cast<std::uint16_t>(input.number());
    app.iAP1Id = static_cast<std::uint16_t>(input.number());
    app.launchString = input.text(8);
    registered_.push_back(app);
    iOSLinkAppInfo info;
    info.appId = app.appId;
    info.iAP1Id = app.iAP1Id;
    info.launchString = app.launchString;
    util_.pushAppInfo(info);
  }

  void changeTable(Input& input) {
    const unsigned int id = fuzz::identifier(input, 0);
    fuzz::require(sut_.onAppUtilUpdate(id, nullptr, 0) == 0, "handlers answer 0");
    model_.onAppUtilUpdate(id, registered_);
  }

  void changeSession(Input& input) {
    const unsigned int id = input.number();
    const auto session = static_cast<unsigned short>(input.number());
    switch (input.below(3)) {
      case 0:
        sut_.notifySessionOpen(id, session);
        return model_.notifySessionOpen(id, session);
      case 1:
        sut_.notifySessionClose(session);
        return model_.notifySessionClose(session);
      default:
        sut_.setSessionIdToAppList(id, session);
        return model_.setSession(id, session);
    }
  }

  void tellState(Input& input) {
    switch (input.below(3)) {
      case 0: {
        iosapp_def_::ConnectInfo info = {input.number(), input.number(), input.number(), input.number()};
        iosapp_def_::ConnectInfo other = info;
        sut_.notifyConnectionState(info);
        model_.notifyConnectionState(other);
        return fuzz::require(info.deviceId == other.deviceId, "both put the server's device into the record");
      }
      case 1: {
        iOSAppExtBluetoothConnectionStatus status;
        status.flags = input.number();
        const std::string address = input.take(sizeof status.btAddress);
        std::copy(address.begin(), address.end(), status.btAddress);
        auto* const told = input.below(8) == 7 ? nullptr : &status;
        sut_.notifyBluetoothConnectionStatus(told);
        return model_.notifyBluetoothConnectionStatus(told);
      }
      default: {
        const std::string name = input.text() + std::string(input.flag() ? 200 : 0, 'x');
        sut_.notifyPlaybakAppInfo(name);
        return model_.notifyPlaybackAppInfo(name);
      }
    }
  }

  void send(Input& input) {
    const auto session = static_cast<unsigned short>(input.number());
    const unsigned int value = input.number();
    if (input.flag()) {
      sut_.notifySendResult(session, static_cast<iosapp_def_::SendResult>(value));
      return model_.notifySendResult(session, value);
    }
    fromDevice_.expectWrite();
    const std::string bytes(4096, static_cast<char>(input.byte()));
    const auto* const data = input.below(8) == 7 ? nullptr : reinterpret_cast<const unsigned char*>(bytes.data());
    sut_.sendDataFromDevice(session, data, value);
    model_.sendDataFromDevice(session, data, value);
  }

  void ask(Input& input) {
    const unsigned int id = input.number();
    const auto session = static_cast<unsigned short>(id);
    fuzz::require(sut_.getSessionIdFromAppList(id) == model_.sessionOf(id), "both know the app's session");
    fuzz::require(sut_.getAppIdFromAppList(session) == model_.appOfSession(session), "both know the session's app");
    fuzz::require(sut_.getAppIdFromiAP1Id(id) == model_.appOfIAP1Id(id), "both know the app of the iAP1 id");
    fuzz::require(sut_.getLaunchStringFromAppList(id) == model_.launchStringOf(id), "both know the launch string");
  }

  void requireSameTable() {
    const std::vector<iOSLinkAppInfo>& list = (sut_.*memberOf(AppList())).list;
    fuzz::require(list.size() == model_.apps.size(), "both tables are of one length");
    for (std::size_t i = 0; i < list.size(); ++i) {
      fuzz::require(list[i].appId == model_.apps[i].appId && list[i].sessionId == model_.apps[i].sessionId &&
                        list[i].iAP1Id == model_.apps[i].iAP1Id && list[i].launchString == model_.apps[i].launchString,
                    "both tables hold the same");
    }
  }

  unsigned int onEvent(unsigned int id, void* data, unsigned int size) {
    if (id == 0) {
      const auto& request = *static_cast<const iOSAppLaunchRequest*>(data);
      observed_.push_back(channel_lines::launchRequest(request.deviceId, request.appId, request.launchString,
                                                       request.launchMethod, size));
    } else {
      fuzz::require(id == 1, "a server notifies with identifiers 0 and 1");
      const auto& info = *static_cast<const iosapp_def_::CommData*>(data);
      const std::unique_ptr<std::uint8_t[]> owned(info.data);
      const std::string bytes(reinterpret_cast<const char*>(info.data), iOSAppCommonDataList::kSlotBytes);
      observed_.push_back(channel_lines::commData(info.deviceId, info.appName, info.size, info.sessionId, bytes, size));
    }
    return 0;
  }

  Lines observed_;
  iOSAppCommonUtil& util_ = *VQSingleton<iOSAppCommonUtil>::getInstance();
  iOSAppCommonServer sut_{1};
  std::vector<App> registered_;
  ServerModel model_;
  VQObserver<ServerPair> observer_{this, &ServerPair::onEvent};
  fuzz::RingPair fromHU_{*(sut_.*memberOf(MemPacks())).at(0)->fromHU, "iOSAppMem_Device1_From_HU"};
  fuzz::RingPair fromDevice_{*(sut_.*memberOf(MemPacks())).at(0)->fromDevice, "iOSAppMem_Device1_From_Device"};
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static auto* const pair = new ServerPair;
  Input input(data, size);
  pair->begin(input);
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    pair->step(input);
  }
  pair->end();
  return 0;
}
