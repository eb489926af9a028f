// LinkAppHfpWrapper and the model of its judge (tests/unit/facade): the same notices and settings, compared call by
// call. The settings file holds any bytes.
#include "tests/unit/facade/hfp_model.h"

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "platform/fake/FakeBluetooth.h"
#include "platform/fake/FakeFramework.h"
#include "platform/inprocess/settings_text.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Input;
using fuzz::Lines;

constexpr unsigned int kMostSteps = 48;
constexpr const char* kSettings = "BtSetting.ini";

class HandsFreePair : public LinkAppHfpWrapperListener {
 public:
  HandsFreePair() { sut_.setListener(this); }
  ~HandsFreePair() override { sut_.removeListener(this); }
  HandsFreePair(const HandsFreePair&) = delete;
  HandsFreePair& operator=(const HandsFreePair&) = delete;

  void onHfpStatus(HfpStatus status) override {
    lines_.push_back(line(status.deviceKind, status.deviceId, status.connected));
  }

  void step(Input& input) {
    const std::uint32_t kind = input.below(6);
    switch (kind) {
      case 0:
        tellPaired(input);
        break;
      case 1:
        tellFreeze(input);
        break;
      case 2:
        tellConnection(input);
        break;
      case 3:
        changeSettings(input);
        break;
      default:
        tellDevice(input);
        break;
    }
    Lines expected;
    for (const hfp_model::Entry& call : model_.calls) {
      expected.push_back(line(call.kind, call.device, call.connected));
    }
    model_.calls.clear();
    fuzz::requireSame(lines_, expected, kSteps[kind]);
    lines_.clear();
  }

 private:
  static constexpr const char* kSteps[] = {"a paired list",        "a freeze", "a hands-free connection",
                                           "a change of settings", "a device", "a device"};

  static std::string line(unsigned int kind, unsigned int device, bool isConnected) {
    return std::to_string(kind) + " " + std::to_string(device) + (isConnected ? " up" : " down");
  }

  static std::uint8_t device(Input& input) {
    const std::uint8_t byte = input.byte();
    return byte < 240 ? byte % 5 : byte;
  }

  void tellPaired(Input& input) {
    static constexpr std::uint16_t kVendors[] = {0, 76, 1452, 77, 0x4C00};
    VQSBtMgrDef::PairedDeviceList list;
    for (std::uint32_t i = input.below(6); i > 0; --i) {
      VQSBtMgrDef::PairedDevice paired;
      paired.vendorId = kVendors[input.below(5)];
      paired.deviceId = device(input);
      list.devices.push_back(paired);
    }
    sut_.onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST, &list, 1);
    model_.pairedDevices(list.devices);
  }

  void tellFreeze(Input& input) {
    VQSBtMgrDef::PairedListFreeze freeze;
    freeze.frozen = static_cast<std::uint8_t>(input.below(3));
    sut_.onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_PAIREDLISTFREEZE, &freeze, 1);
    model_.freeze(freeze.frozen);
  }

  void tellConnection(Input& input) {
    VQSBtMgrDef::HfpConnection event;
    event.deviceId = device(input);
    event.profile = input.below(8) == 7 ? input.number() : 1;
    event.state = input.flag() ? 3 : input.number();
    sut_.onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_HFPCONNECTION, &event, 1);
    model_.hfpEvent(event.deviceId, event.profile, event.state);
  }

  void tellDevice(Input& input) {
    iOSAppCommonClient::DeviceInfo info;
    info.deviceId = device(input);
    info.btSppStatus = input.number();
    info.hfpConnected = input.number();
    sut_.oniOSClientUpdate(0, &info, 32);
    model_.deviceInfo(info.deviceId, info.btSppStatus, info.hfpConnected);
  }

  void changeSettings(Input& input) {
    const std::uint8_t shape = input.byte();
    const std::string text = shape < 200 ? "LinkAppDevice=" + std::to_string(input.number()) + "\n" : input.text();
    vqfake::setSettingsText(kSettings, text);
    model_.setting = vqframework::settingsValue(text, "LinkAppDevice");
  }

  hfp_model::Model model_;
  Lines lines_;
  LinkAppHfpWrapper sut_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  Input input(data, size);
  vqfake::reset();
  vqfake::setSettingsText(kSettings, "");
  HandsFreePair pair;
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    pair.step(input);
  }
  return 0;
}
