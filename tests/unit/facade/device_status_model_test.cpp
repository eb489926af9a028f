// VQSLinkAppDeviceStatus against the model of its rules: random sequences of notices, compared call by call, together
// with all that is kept from one notice to the next.
//
// Numbers, names and states come from small sets, so that they collide; some lists are so long that the 8-bit counts
// overflow; some notices come from within a listener's call. LINKAPP_MODEL_SEED repeats a run.
#include "device_status_model.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <variant>

#include "device_status_fixture.h"

namespace {

// Of each side. Tools that slow the program down want fewer.
unsigned long sequences() {
  const char* const text = getenv("LINKAPP_MODEL_SEQUENCES");
  return text != nullptr ? strtoul(text, nullptr, 10) : 50000;
}

std::uint64_t chosenSeed() {
  const char* const text = getenv("LINKAPP_MODEL_SEED");
  return text != nullptr ? strtoull(text, nullptr, 10) : std::random_device()();
}

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  std::size_t below(std::size_t end) { return static_cast<std::size_t>(engine_() % end); }
  bool oneIn(std::size_t chances) { return below(chances) == 0; }

  template <class T>
  T of(std::initializer_list<T> values) {
    return values.begin()[below(values.size())];
  }

 private:
  std::mt19937_64 engine_;
};

enum class ListenerChange { set, setNull, remove, removeForeign };

// A question to one of the two public operations of the iOS side.
struct Question {
  bool isAboutUsb = false;
  DeviceInfo info;
};

using Step = std::variant<SppInformation, SppConnectionState, IosRecord, ListenerChange, Question>;

bool same(const DeviceInfo& one, const DeviceInfo& other) {
  const auto sameLink = [](const auto& a, const auto& b) {
    return a.status == b.status && a.uuid == b.uuid && a.appName == b.appName;
  };
  return one.deviceType == other.deviceType && one.deviceId == other.deviceId && one.deviceName == other.deviceName &&
         sameLink(one.btSpp, other.btSpp) && sameLink(one.usb, other.usb) && one.iapVersion == other.iapVersion;
}

bool same(const SppEntry& one, const SppEntry& other) {
  return one.deviceId == other.deviceId && one.btAddress == other.btAddress && one.deviceName == other.deviceName &&
         one.vendorId == other.vendorId && one.available == other.available;
}

bool same(const SppConnectionState& one, const SppConnectionState& other) {
  return one.deviceId == other.deviceId && one.uuid == other.uuid && one.state == other.state;
}

template <class Record>
bool same(const std::vector<Record>& one, const std::vector<Record>& other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](const Record& a, const Record& b) { return same(a, b); });
}

bool same(const SppInformation& one, const SppInformation& other) {
  return one.header == other.header && one.errorCode == other.errorCode && same(one.devices, other.devices);
}

// The object under test and the model, which take the same steps.
class Pair : public VQSLinkAppDeviceStatusListener {
 public:
  Pair() {
    sut_.setListener(this);
    model_.hasListener = true;
    model_.listener = [this](const DeviceInfo& info) { onModelCall(info); };
  }

  void onDeviceStatus(DeviceInfo info) override {
    sutCalls_.push_back(std::move(info));
    if (meanwhile_ != nullptr && sutCalls_.size() == meanwhileAt_) {
      std::visit([this](const auto& step) { takeSut(step); }, *meanwhile_);
    }
  }

  // Comes from within the call of that number (1 = the first) of the next step, if there are so many.
  void planMeanwhile(const Step* step, std::size_t atCall) {
    meanwhile_ = step;
    meanwhileAt_ = atCall;
  }

  void take(const Step& step) {
    sutCalls_.clear();
    modelCalls_.clear();
    sutAnswers_.clear();
    modelAnswers_.clear();
    std::visit([this](const auto& taken) { takeSut(taken); }, step);
    std::visit([this](const auto& taken) { takeModel(taken); }, step);
    meanwhile_ = nullptr;
  }

  bool isSame() const {
    return same(sutCalls_, modelCalls_) && sutAnswers_ == modelAnswers_ &&
           same(device_status_access::devices(sut_), model_.devices) &&
           same(device_status_access::lastSppInfo(sut_), model_.lastSppInfo) &&
           same(device_status_access::lastConnectionState(sut_), model_.lastConnectionState);
  }

  void explain() const {
    EXPECT_EQ(describeAll(sutCalls_), describeAll(modelCalls_));
    EXPECT_EQ(sutAnswers_, modelAnswers_);
    EXPECT_EQ(describeAll(device_status_access::devices(sut_)), describeAll(model_.devices));
    EXPECT_EQ(describeAll(device_status_access::lastSppInfo(sut_).devices), describeAll(model_.lastSppInfo.devices));
    EXPECT_EQ(device_status_access::lastSppInfo(sut_).header, model_.lastSppInfo.header);
    EXPECT_EQ(device_status_access::lastSppInfo(sut_).errorCode, model_.lastSppInfo.errorCode);
    EXPECT_EQ(describe(device_status_access::lastConnectionState(sut_)), describe(model_.lastConnectionState));
  }

  const std::vector<DeviceInfo>& calls() const { return sutCalls_; }
  const std::vector<SppEntry>& list() const { return model_.lastSppInfo.devices; }

 private:
  void takeSut(SppInformation list) { sut_.onBtAppsUpdate(6, &list, 1); }
  void takeSut(SppConnectionState notice) { sut_.onBtAppsUpdate(3, &notice, 1); }
  void takeSut(IosRecord record) { sut_.oniOSClientDeviceInfo(&record); }
  void takeSut(ListenerChange change) {
    switch (change) {
      case ListenerChange::set:
        sut_.setListener(this);
        break;
      case ListenerChange::setNull:
        sut_.setListener(nullptr);
        break;
      case ListenerChange::remove:
        sut_.removeListener(this);
        break;
      case ListenerChange::removeForeign:
        sut_.removeListener(&foreign_);
        break;
    }
  }
  void takeSut(Question question) {
    const bool answer = question.isAboutUsb ? sut_.analyzeiOSUsbConnectionInfo(question.info, "App")
                                            : sut_.analyzeiOSBtSppConnectionInfo(question.info, "App");
    sutAnswers_.push_back((answer ? "true " : "false ") + describe(question.info));
  }

  void takeModel(const SppInformation& list) { model_.analyzeBtAppsSppInfo(list); }
  void takeModel(const SppConnectionState& notice) { model_.analyzeBtAppsConnectionState(notice); }
  void takeModel(const IosRecord& record) { model_.oniOSClientDeviceInfo(record); }
  void takeModel(ListenerChange change) {
    if (change != ListenerChange::removeForeign) {
      model_.hasListener = change == ListenerChange::set;
    }
  }
  void takeModel(Question question) {
    const bool answer = question.isAboutUsb ? model_.analyzeiOSUsbConnectionInfo(question.info, "App")
                                            : model_.analyzeiOSBtSppConnectionInfo(question.info, "App");
    modelAnswers_.push_back((answer ? "true " : "false ") + describe(question.info));
  }

  void onModelCall(const DeviceInfo& info) {
    modelCalls_.push_back(info);
    if (meanwhile_ != nullptr && modelCalls_.size() == meanwhileAt_) {
      std::visit([this](const auto& step) { takeModel(step); }, *meanwhile_);
    }
  }

  VQSLinkAppDeviceStatus sut_{"Radio"};
  DeviceStatusModel model_;
  StatusEvents foreign_;
  std::vector<DeviceInfo> sutCalls_;
  std::vector<DeviceInfo> modelCalls_;
  Lines sutAnswers_;
  Lines modelAnswers_;
  const Step* meanwhile_ = nullptr;
  std::size_t meanwhileAt_ = 0;
};

class DeviceStatusModelTest : public DeviceStatusTest {
 public:
  void SetUp() override {
    DeviceStatusTest::SetUp();
    sut.reset();
  }

  // A sequence of both objects; false at the first step at which they differ.
  template <class NextStep>
  bool run(std::size_t steps, const NextStep& nextStep) {
    Pair pair;
    stsLog_ = random.oneIn(4) ? 1 : 0;
    for (std::size_t i = 0; i < steps; ++i) {
      const Step step = nextStep(pair);
      const Step meanwhile = nextStep(pair);
      if (random.oneIn(8)) {
        pair.planMeanwhile(&meanwhile, 1 + random.below(3));
      }
      pair.take(step);
      if (!pair.isSame()) {
        pair.explain();
        ADD_FAILURE() << "step " << i << " of sequence " << sequence << "; LINKAPP_MODEL_SEED=" << seed;
        return false;
      }
      count(pair.calls());
    }
    vqfake::clearBtCalls();
    return true;
  }

  void count(const std::vector<DeviceInfo>& calls) {
    for (const DeviceInfo& info : calls) {
      ++(info.btSpp.status == 0 ? absent : info.btSpp.status == 1 ? present : open);
    }
  }

  // That the sequences were no empty ones.
  void expectAllKindsOfReports() const {
    EXPECT_GT(absent, sequences() / 10) << "LINKAPP_MODEL_SEED=" << seed;
    EXPECT_GT(present, sequences() / 10) << "LINKAPP_MODEL_SEED=" << seed;
    EXPECT_GT(open, sequences() / 10) << "LINKAPP_MODEL_SEED=" << seed;
  }

  Step someListenerChange() {
    return random.of({ListenerChange::set, ListenerChange::set, ListenerChange::set, ListenerChange::setNull,
                      ListenerChange::remove, ListenerChange::removeForeign});
  }

  const std::uint64_t seed = chosenSeed();
  Random random{seed};
  unsigned int sequence = 0;
  std::size_t absent = 0;
  std::size_t present = 0;
  std::size_t open = 0;
};

class SppModel : public DeviceStatusModelTest {
 public:
  SppEntry someEntry() {
    const bool isApple = random.oneIn(isLong ? 800 : 12);
    const std::uint16_t vendorId = isApple ? random.of({kAppleVendors[0], kAppleVendors[1]})
                                           : random.of<std::uint16_t>({kSomeVendor, kSomeVendor, 0x0075});
    const std::uint8_t available = random.oneIn(4) ? 0 : random.of<std::uint8_t>({1, 1, 255});
    return entry(random.of<std::uint8_t>({1, 2, 3, 255}), random.of({"", "A", "B"}), vendorId, available);
  }

  std::size_t someSize() {
    return isLong ? random.of<std::size_t>({0, 1, 2, 254, 255, 255, 256, 256, 257, 257, 258, 511, 512, 513})
                  : random.below(5);
  }

  // Mostly the former list with some entries changed, and longer or shorter.
  SppInformation someList(const Pair& pair) {
    SppInformation list;
    list.header = random.of<std::uint8_t>({0, 7, 255});
    list.errorCode = random.oneIn(16) ? random.of<std::uint8_t>({1, 255}) : std::uint8_t{0};
    if (!random.oneIn(4)) {
      list.devices = pair.list();
    }
    for (SppEntry& item : list.devices) {
      if (random.oneIn(isLong ? 16 : 3)) {
        item = someEntry();
      }
    }
    if (!random.oneIn(3)) {
      const std::size_t size = someSize();
      while (list.devices.size() < size) {
        list.devices.push_back(someEntry());
      }
      list.devices.resize(size);
    }
    return list;
  }

  SppConnectionState someConnection() {
    return connection(random.of<std::uint8_t>({1, 2, 3, 4, 255}), random.of<std::int32_t>({0, 1, 1, 2, -1}),
                      random.of({"", kService, kOtherService}));
  }

  Step nextStep(const Pair& pair) {
    const std::size_t choice = random.below(20);
    if (choice == 0) {
      return someListenerChange();
    }
    return choice < 11 ? Step(someList(pair)) : Step(someConnection());
  }

  bool isLong = false;
};

TEST_F(SppModel, SaysTheSameOfEverySequenceOfListsAndConnections) {
  for (sequence = 0; sequence < sequences(); ++sequence) {
    isLong = random.oneIn(50);
    if (!run(6, [this](const Pair& pair) { return nextStep(pair); })) {
      return;
    }
  }
  expectAllKindsOfReports();
}

class IosModel : public DeviceStatusModelTest {
 public:
  std::uint8_t someDeviceId() {
    return isLong ? static_cast<std::uint8_t>(random.below(256)) : random.of<std::uint8_t>({0, 1, 255});
  }

  std::uint32_t someStatus() {
    return random.oneIn(20) ? random.of<std::uint32_t>({3, 7, 0xFFFFFFFF}) : random.of<std::uint32_t>({0, 1, 1, 2});
  }

  std::uint32_t someIapVersion() {
    return random.oneIn(20) ? random.of<std::uint32_t>({0, 3, 257}) : random.of<std::uint32_t>({1, 1, 1, 2});
  }

  IosRecord someRecord() {
    IosRecord record = iosRecord(someDeviceId(), someStatus(), someStatus(), someIapVersion());
    record.btSppName = random.of({"", "A", "B"});
    record.usbName = random.of({"", "A", "C"});
    return record;
  }

  Question someQuestion() {
    Question question;
    question.isAboutUsb = random.oneIn(2);
    question.info.deviceType = 1;
    question.info.deviceId = someDeviceId();
    question.info.btSpp.status = random.of({0, 1, 2, 3, -1});
    question.info.usb.status = random.of({0, 1, 2, 3, -1});
    question.info.iapVersion = random.of({0, 1, 2, 3});
    return question;
  }

  Step nextStep() {
    const std::size_t choice = random.below(20);
    if (choice == 0) {
      return someListenerChange();
    }
    return choice < 4 ? Step(someQuestion()) : Step(someRecord());
  }

  // Every device is listed first, so that the 8-bit index comes round.
  bool runWithFullList() {
    unsigned int listed = 0;
    return run(256 + 64, [this, &listed](const Pair& /*pair*/) {
      // A step is asked for twice each time: the second may come meanwhile.
      const unsigned int number = listed++ / 2;
      return number < 256 ? Step(iosRecord(static_cast<std::uint8_t>(number), 1, 0)) : nextStep();
    });
  }

  bool isLong = false;
};

TEST_F(IosModel, SaysTheSameOfEverySequenceOfRecords) {
  for (sequence = 0; sequence < sequences(); ++sequence) {
    isLong = random.oneIn(1000);
    if (!(isLong ? runWithFullList() : run(12, [this](const Pair& /*pair*/) { return nextStep(); }))) {
      return;
    }
  }
  expectAllKindsOfReports();
}

// Both sides in one object: neither may disturb the other.
class BothModel : public DeviceStatusModelTest {
 public:
  Step nextStep() {
    const auto deviceId = static_cast<std::uint8_t>(1 + random.below(2));
    switch (random.below(4)) {
      case 0:
        return listOf(std::vector<SppEntry>(random.below(3), entry(deviceId, random.of({"A", "B"}))));
      case 1:
        return connection(deviceId, random.of({0, 1}));
      case 2:
        return iosRecord(deviceId, random.of({0U, 1U, 2U}), random.of({0U, 1U, 2U}), random.of({1U, 2U}));
      default:
        return someListenerChange();
    }
  }
};

TEST_F(BothModel, SaysTheSameOfSequencesInWhichBothSidesMeet) {
  for (sequence = 0; sequence < sequences() / 5; ++sequence) {
    if (!run(12, [this](const Pair& /*pair*/) { return nextStep(); })) {
      return;
    }
  }
}

}  // namespace
