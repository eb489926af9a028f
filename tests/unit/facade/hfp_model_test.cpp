// The hands-free judge against its model: random notices, compared call by call.
//
// LINKAPP_MODEL_SEED=N repeats one sequence; LINKAPP_MODEL_SEQUENCES=N says how many.
#include <gmock/gmock.h>

#include <cstdlib>
#include <random>
#include <string>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "hfp_model.h"
#include "platform/fake/FakeBluetooth.h"
#include "tests/unit/LinkAppCommon/channel_fixture.h"

namespace {

using hfp_model::Entry;
using hfp_model::Model;

class Recorder : public LinkAppHfpWrapperListener {
 public:
  void onHfpStatus(HfpStatus status) override {
    calls.push_back({status.deviceKind, status.deviceId, status.connected});
  }
  std::vector<Entry> calls;
};

std::string describe(const std::vector<Entry>& calls) {
  std::string text;
  for (const Entry& call : calls) {
    text += "(" + std::to_string(call.kind) + " " + std::to_string(call.device) + (call.connected ? " up)" : " down)");
  }
  return text;
}

unsigned long numberFrom(const char* variable, unsigned long otherwise) {
  const char* const text = getenv(variable);
  return text != nullptr ? strtoul(text, nullptr, 10) : otherwise;
}

// One wrapper and its model, told the same.
class Pair {
 public:
  explicit Pair(unsigned long seed) : random_(seed) {
    sut_.setListener(&recorder_);
    chooseSetting();
  }
  ~Pair() { sut_.removeListener(&recorder_); }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  // Tells both one more notice and returns what it was.
  std::string step() {
    switch (pick(8)) {
      case 0:
      case 1:
        return tellPairedDevices();
      case 2:
        return tellFreeze();
      case 3:
      case 4:
        return tellHfpEvent();
      case 5:
      case 6:
        return tellDeviceInfo();
      default:
        return pick(4) == 0 ? chooseSetting() : tellHfpEvent();
    }
  }

  bool agree() const { return recorder_.calls == model_.calls && hasSameSetting(); }
  bool hasCalled() const { return !recorder_.calls.empty(); }
  std::string difference() const {
    return "product " + describe(recorder_.calls) + "\nmodel   " + describe(model_.calls) +
           "\nfile: " + vqfake::settingsText("BtSetting.ini");
  }

 private:
  unsigned int pick(unsigned int count) { return std::uniform_int_distribution<unsigned int>(0, count - 1)(random_); }
  std::uint8_t device() { return static_cast<std::uint8_t>(pick(8) == 0 ? 255 : pick(5)); }

  std::string tellPairedDevices() {
    static constexpr std::uint16_t kVendors[] = {0, 76, 1452, 77, 0x4C00};
    VQSBtMgrDef::PairedDeviceList list;
    std::string text = "paired";
    for (unsigned int i = pick(5); i > 0; --i) {
      VQSBtMgrDef::PairedDevice paired;
      paired.vendorId = kVendors[pick(5)];
      paired.deviceId = device();
      text += " " + std::to_string(paired.deviceId) + "/" + std::to_string(paired.vendorId);
      list.devices.push_back(paired);
    }
    sut_.onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST, &list, 1);
    model_.pairedDevices(list.devices);
    return text;
  }

  std::string tellFreeze() {
    VQSBtMgrDef::PairedListFreeze freeze;
    freeze.frozen = static_cast<std::uint8_t>(pick(3) == 0 ? 1 + pick(255) : 0);
    sut_.onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_PAIREDLISTFREEZE, &freeze, 1);
    model_.freeze(freeze.frozen);
    return "freeze " + std::to_string(freeze.frozen);
  }

  std::string tellHfpEvent() {
    VQSBtMgrDef::HfpConnection event;
    event.deviceId = device();
    event.profile = pick(6) == 0 ? pick(3) * 2 : 1;
    event.state = pick(2) == 0 ? 3 : pick(5);
    sut_.onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_HFPCONNECTION, &event, 1);
    model_.hfpEvent(event.deviceId, event.profile, event.state);
    return "hfp " + std::to_string(event.deviceId) + " profile " + std::to_string(event.profile) + " state " +
           std::to_string(event.state);
  }

  std::string tellDeviceInfo() {
    iOSAppCommonClient::DeviceInfo info;
    info.deviceId = pick(12) == 0 ? 255 : static_cast<std::uint8_t>(1 + pick(2));
    info.btSppStatus = pick(2) == 0 ? 0 : pick(4);
    info.hfpConnected = pick(2) == 0 ? 1 : pick(3);
    sut_.oniOSClientUpdate(0, &info, 32);
    model_.deviceInfo(info.deviceId, info.btSppStatus, info.hfpConnected);
    return "info " + std::to_string(info.deviceId) + " spp " + std::to_string(info.btSppStatus) + " hfp " +
           std::to_string(info.hfpConnected);
  }

  std::string chooseSetting() {
    static constexpr unsigned int kValues[] = {0, 1, 2, 3, 4, 255, 256, 258, 511};
    const unsigned int choice = pick(11);
    if (choice >= 9) {
      model_.setting.reset();
      textWithoutSetting_ = choice == 9 ? "" : "LinkAppDevice=nobody\n";
      vqfake::setSettingsText("BtSetting.ini", textWithoutSetting_);
      return "no setting";
    }
    model_.setting = kValues[choice];
    vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=" + std::to_string(kValues[choice]) + "\n");
    return "setting " + std::to_string(kValues[choice]);
  }

  bool hasSameSetting() const {
    const std::string expected =
        model_.setting ? "LinkAppDevice=" + std::to_string(*model_.setting) + "\n" : textWithoutSetting_;
    return vqfake::settingsText("BtSetting.ini") == expected;
  }

  std::mt19937_64 random_;
  std::string textWithoutSetting_;
  Model model_;
  Recorder recorder_;
  LinkAppHfpWrapper sut_;
};

// Sequences in which the listener was called.
unsigned long toldSequences = 0;

// False, with everything that is needed to see it again.
bool runSequence(unsigned long seed) {
  vqfake::reset();
  Pair pair(seed);
  std::string story;
  for (int step = 0; step < 24; ++step) {
    story += "\n  " + pair.step();
    if (!pair.agree()) {
      ADD_FAILURE() << "LINKAPP_MODEL_SEED=" << seed << story << "\n" << pair.difference();
      return false;
    }
  }
  toldSequences += pair.hasCalled() ? 1U : 0U;
  return true;
}

class HfpModel : public ChannelTest {};

TEST_F(HfpModel, AgreesWithTheJudgesOverRandomNotices) {
  if (getenv("LINKAPP_MODEL_SEED") != nullptr) {
    runSequence(numberFrom("LINKAPP_MODEL_SEED", 0));
    return;
  }
  const unsigned long sequences = numberFrom("LINKAPP_MODEL_SEQUENCES", 100000);
  for (unsigned long seed = 1; seed <= sequences && runSequence(seed); ++seed) {
  }
  EXPECT_GT(toldSequences, sequences / 10) << "most of them said nothing";
}

}  // namespace
