// LinkAppiOSWrapper, LinkAppiOSPlaybackInfo and VQSLinkAppOperator with their transcription: the same records, notices
// and requests, compared step by step.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/fake/FakeBluetooth.h"
#include "platform/fake/FakeFramework.h"
#include "platform/fake/fake_state.h"
#include "tests/fuzz/channel_bench.h"
#include "tests/fuzz/facade_model.h"
#include "tests/fuzz/opened.h"

namespace {

using facade_model::call;
using facade_model::number;
using facade_model::OperatorModel;
using facade_model::PlaybackModel;
using facade_model::WrapperModel;
using fuzz::Input;
using fuzz::Lines;

constexpr unsigned int kMostSteps = 32;
constexpr std::uint32_t kListeners = 3;
constexpr std::size_t kMostBytes = 5000;  // of a message

// One of everything that listens. Their places in the array are the order of their addresses.
class Listener : public LinkAppiOSWrapperListener,
                 public VQSILinkAppSenderReceiverListener,
                 public LinkAppiOSPlaybackInfoListener {
 public:
  void oniOSClientDeviceInfo(void* record) override {
    const auto& info = *static_cast<const DeviceInfo*>(record);
    tell("device", number(info.deviceId) + info.btAddress + " " + number(info.btSppStatus) + info.btSppName + " " +
                       number(info.usbStatus) + info.usbName + " " + number(info.iapVersion));
  }
  void oniOSClientSendResult(void* record) override {
    const auto& result = *static_cast<const SendResult*>(record);
    tell("result", result.uuid + " " + number(result.result));
  }
  void oniOSClientReceivedMsg(void* record) override {
    const auto& message = *static_cast<const ReceivedMsg*>(record);
    tell("message", message.uuid + " " + std::string(message.data, message.data + message.size));
  }
  void onSendResult(unsigned int failed) override { tell("result", number(failed)); }
  void onReceivedMsg(const unsigned char* data, unsigned int size) override {
    tell("message", std::string(data, data + size));
  }
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override {
    tell("playback", number(info.deviceId) + info.appName);
  }

  Lines* lines = nullptr;
  int place = 0;

 private:
  void tell(const char* what, const std::string& arguments) { lines->push_back(call(what, place, arguments)); }
};

std::string name(Input& input) {
  static constexpr const char* kNames[] = {"app", "uuid", "", "App"};
  const std::uint8_t choice = input.byte();
  return choice < 250 ? kNames[choice % std::size(kNames)] : input.text(16);
}

FUZZ_OPEN(CurrentDevice, VQSLinkAppOperator, std::uint8_t, currentDevice);
FUZZ_OPEN(CurrentIsIos, VQSLinkAppOperator, bool, currentIsIos);
FUZZ_OPEN(Wrapper, VQSLinkAppOperator, LinkAppiOSWrapper*, mpiOSWrapper);
FUZZ_OPEN(Client, LinkAppiOSWrapper, iOSAppCommonClient*, client);
FUZZ_OPEN(MemPacks, iOSAppCommonClient, std::vector<iOSAppMemPack*>, memPacks);
FUZZ_OPEN(CurrentDeviceId, iOSAppCommonClient, std::atomic<std::uint32_t>, currentDeviceId);
FUZZ_OPEN(AppId, iOSAppCommonClient, std::atomic<std::uint32_t>, appId);
FUZZ_OPEN(ConnectInfos, iOSAppCommonClient, std::vector<iosapp_def_::ConnectInfo>, connectInfoList);
FUZZ_OPEN(SessionInfos, iOSAppCommonClient, std::vector<iosapp_def_::SessionInfo>, sessionInfoList);

// The objects of the product. They are made once, since that takes longer than an execution.
struct Objects {
  std::array<Listener, kListeners> listeners;
  VQSLinkAppOperator withSpp{"uuid"};
  VQSLinkAppOperator withIos{"app", "", "launch"};
  VQSLinkAppOperator withBoth{"uuid", "app", "", "launch"};
  std::array<VQSLinkAppOperator*, 3> operators = {&withSpp, &withIos, &withBoth};
  LinkAppiOSWrapper wrapper{"", "", ""};
  LinkAppiOSPlaybackInfo playback;
  iOSAppCommonDataList ring = {};  // the transcription's

  // As they were made.
  void reset() {
    for (Listener& listener : listeners) {
      wrapper.removeListener(&listener);
      playback.removeListener(&listener);
    }
    for (std::size_t kind = 0; kind < operators.size(); ++kind) {
      VQSLinkAppOperator& one = *operators[kind];
      for (Listener& listener : listeners) {
        one.removeListener(&listener);
      }
      one.*memberOf(CurrentDevice()) = 255;
      one.*memberOf(CurrentIsIos()) = kind == 1;
      LinkAppiOSWrapper* const ios = one.*memberOf(Wrapper());
      if (ios != nullptr) {
        reset(*(ios->*memberOf(Client())));
      }
    }
    ring.writeIndex = 0;
  }

 private:
  static void reset(iOSAppCommonClient& client) {
    client.*memberOf(CurrentDeviceId()) = 0;
    client.*memberOf(AppId()) = 1;
    (client.*memberOf(ConnectInfos())).clear();
    (client.*memberOf(SessionInfos())).clear();
    iOSAppCommonLocalMem& fromHU = *(client.*memberOf(MemPacks())).at(0)->fromHU;
    static_cast<iOSAppCommonDataList*>(static_cast<void*>(static_cast<char*>(fromHU.mapping) + 4))->writeIndex = 0;
  }
};

class FacadePair {
 public:
  FacadePair(Input& input, Objects& objects)
      : kind_(input.below(3)),
        listeners_(objects.listeners),
        operator_(objects.operators[kind_]),
        operatorModel_(kind_ != 1, kind_ != 0),
        wrapper_(objects.wrapper),
        playback_(objects.playback) {
    objects.reset();
    operatorModel_.sppUuid = kind_ == 1 ? "" : "uuid";
    operatorModel_.iosAppName = kind_ == 0 ? "" : "app";
    operatorModel_.client.appName = "app";
    operatorModel_.client.appId = 1;
    operatorModel_.client.launchEnabled = true;
    operatorModel_.client.fromHU = {&objects.ring, 1, 2, "iOSAppMem_Device1_From_HU"};
    for (std::size_t i = 0; i < listeners_.size(); ++i) {
      listeners_[i].lines = &observed_;
      listeners_[i].place = static_cast<int>(i);
    }
    vqfake::resetNotifier();
    vqfake::clearBtCalls();
    fuzz::keepLogIn(observed_);
  }
  ~FacadePair() { VQDbgOutput::SetSink(nullptr, nullptr); }
  FacadePair(const FacadePair&) = delete;
  FacadePair& operator=(const FacadePair&) = delete;

  void step(Input& input) {
    const std::uint32_t kind = input.below(9);
    switch (kind) {
      case 0:
        changeListener(input);
        break;
      case 1:
        tellStatus(input);
        break;
      case 2:
      case 3:
        tellWrapper(input);
        break;
      case 4:
        tellOperator(input);
        break;
      case 5:
        answer(input);
        break;
      case 6:
        send(input);
        break;
      default:
        request(input);
        break;
    }
    compare(kSteps[kind]);
  }

 private:
  static constexpr const char* kSteps[] = {"a change of listener",
                                           "a status message",
                                           "a record",
                                           "a record",
                                           "a notice",
                                           "an answer",
                                           "a send",
                                           "a request",
                                           "a request"};

  void compare(const char* step) {
    Lines product;
    for (const vqfake::BtCall& asked : vqfake::btCalls()) {
      product.push_back(OperatorModel::askLine(asked.operation, asked.deviceId,
                                               asked.uuids.empty() ? "" : asked.uuids[0],
                                               std::string(asked.data.begin(), asked.data.end())));
    }
    vqfake::clearBtCalls();
    for (const std::string& line : fuzz::takeLines(observed_)) {
      product.push_back(line);
    }
    Lines model;
    for (Lines* const lines :
         {&operatorModel_.lines, &operatorModel_.client.lines, &wrapperModel_.lines, &playbackModel_.lines}) {
      model.insert(model.end(), lines->begin(), lines->end());
      lines->clear();
    }
    fuzz::requireSame(product, model, step);
  }

  // To the client of every object; what the wrapper's listeners hear of it is told by other targets.
  void tellStatus(Input& input) {
    iosapp_def_::ConnectStatusNotify message = {};
    const bool isSession = input.flag();
    message.notifyType = isSession ? 2 : 1;
    message.deviceId = 1;
    message.appId = 1;
    message.connectStatus = message.status = input.below(3);
    vqfake::post(4, &message, sizeof message);
    vqfake::deliverAll();
    operatorModel_.client.onConnectStatusUpdate(4, &message, sizeof message);
    operatorModel_.client.lines.clear();
    observed_.clear();
    vqfake::resetNotifier();
  }

  int listener(Input& input) { return static_cast<int>(input.below(kListeners + 1)) - 1; }
  Listener* pointer(int place) { return place < 0 ? nullptr : &listeners_[static_cast<std::size_t>(place)]; }

  void changeListener(Input& input) {
    const std::uint8_t shape = input.byte();
    const bool isSet = (shape & 1) != 0;
    const int place = listener(input);
    Listener* const object = pointer(place);
    bool product = false;
    bool model = false;
    if (shape / 2 % 3 == 0) {
      product = isSet ? wrapper_.setListener(object) : wrapper_.removeListener(object);
      model = isSet ? wrapperModel_.setListener(place) : wrapperModel_.removeListener(place);
    } else if (shape / 2 % 3 == 1) {
      product = isSet ? operator_->setListener(object) : operator_->removeListener(object);
      model = isSet ? operatorModel_.setListener(place) : operatorModel_.removeListener(place);
    } else {
      product = isSet ? playback_.setListener(object) : playback_.removeListener(object);
      model = isSet ? playbackModel_.setListener(place) : playbackModel_.removeListener(place);
    }
    fuzz::require(product == model, "both answer a change of listener the same");
  }

  void tellWrapper(Input& input) {
    const unsigned int size = input.below(8) == 7 ? 0 : 1;
    switch (input.below(4)) {
      case 0: {
        iOSAppCommonClient::DeviceInfo info;
        info.deviceId = input.byte();
        info.btAddress = name(input);
        info.btSppStatus = input.number();
        info.btSppName = name(input);
        info.usbStatus = input.number();
        info.usbName = name(input);
        info.iapVersion = input.number();
        wrapper_.oniOSClientUpdate(0, &info, size);
        if (size != 0) {
          wrapperModel_.deviceInfo(info.deviceId, info.btAddress, info.btSppStatus, info.btSppName, info.usbStatus,
                                   info.usbName, info.iapVersion);
        }
        break;
      }
      case 1: {
        iosapp_def_::SendResultInfo info;
        info.appName = name(input);
        info.result = static_cast<iosapp_def_::SendResult>(input.number());
        wrapper_.oniOSClientUpdate(1, &info, size);
        if (size != 0) {
          wrapperModel_.sendResult(info.appName, info.result);
        }
        break;
      }
      case 2: {
        std::string bytes = input.text();
        iosapp_def_::CommData data;
        data.appName = name(input);
        data.data = reinterpret_cast<std::uint8_t*>(bytes.data());
        data.size = static_cast<std::uint32_t>(bytes.size());
        wrapper_.oniOSClientUpdate(2, &data, size);
        if (size != 0) {
          wrapperModel_.receivedData(data.appName, bytes);
        }
        break;
      }
      default: {
        iosapp_def_::PlaybackAppInfo info;
        info.deviceId = input.number();
        info.appName = name(input);
        const unsigned int id = fuzz::identifier(input, 3);
        fuzz::require(!playback_.oniOSClientUpdate(id, &info, size), "handlers answer false");
        if (size != 0 && id == 3) {
          playbackModel_.playbackAppInfo(info.deviceId, info.appName);
        }
        break;
      }
    }
  }

  void tellOperator(Input& input) {
    const std::uint8_t shape = input.byte();
    const std::string uuid = name(input);
    std::string bytes = shape / 4 % 2 == 0 ? "" : input.text();
    switch (shape % 4) {
      case 0: {
        VQSBtAppsNtf::SppDataSendResult record;
        record.uuid = uuid;
        record.result = input.flag();
        fuzz::require(operator_->onBtAppsUpdate(5, &record, 1) == 0, "handlers answer 0");
        return operatorModel_.sppSendResult(uuid, record.result);
      }
      case 1: {
        VQSBtAppsNtf::SppReceivedData record;
        record.uuid = uuid;
        record.data = VQBinary(bytes.data(), static_cast<unsigned int>(bytes.size()));
        fuzz::require(operator_->onBtAppsUpdate(4, &record, 1) == 0, "handlers answer 0");
        return operatorModel_.sppReceivedData(uuid, bytes);
      }
      case 2: {
        LinkAppiOSWrapperListener::SendResult record;
        record.uuid = uuid;
        record.result = input.number();
        operator_->oniOSClientSendResult(&record);
        return operatorModel_.iosSendResult(uuid, record.result);
      }
      default: {
        LinkAppiOSWrapperListener::ReceivedMsg record;
        record.uuid = uuid;
        record.data = reinterpret_cast<const std::uint8_t*>(bytes.data());
        record.size = static_cast<std::uint32_t>(bytes.size());
        operator_->oniOSClientReceivedMsg(&record);
        return operatorModel_.iosReceivedMsg(uuid, bytes);
      }
    }
  }

  // What the SPP service says from now on.
  void answer(Input& input) {
    static constexpr const char* kOperations[] = {"isRegisteredUuid",    "registerUuid",       "unregisterUuid",
                                                  "registerWaitUuid",    "connectSpp",         "disconnectSpp",
                                                  "startAutoConnectSpp", "stopAutoConnectSpp", "sendData"};
    const char* const operation = kOperations[input.below(std::size(kOperations))];
    const bool isYes = input.flag();
    vqfake::answerBt(operation, isYes);
    operatorModel_.answers[operation] = isYes;
  }

  void send(Input& input) {
    const unsigned int size = static_cast<unsigned int>(std::min<std::size_t>(input.number(), kMostBytes));
    const std::string bytes(kMostBytes, static_cast<char>(input.byte()));
    const auto* const data = input.below(8) == 7 ? nullptr : reinterpret_cast<const unsigned char*>(bytes.data());
    fuzz::require(operator_->requestMsgSend(data, size) == operatorModel_.requestMsgSend(data, size),
                  "both answer a send the same");
  }

  void request(Input& input) {
    const std::uint8_t device = static_cast<std::uint8_t>(input.number());
    bool product = false;
    bool model = false;
    switch (input.below(6)) {
      case 0:
        product = operator_->requestSppConnect(device);
        model = operatorModel_.connect("requestSppConnect", "connectSpp", device);
        break;
      case 1:
        product = operator_->requestSppAutoConnectStart(device);
        model = operatorModel_.connect("requestSppAutoConnectStart", "startAutoConnectSpp", device);
        break;
      case 2:
        product = operator_->requestSppDisconnect(device);
        model = operatorModel_.disconnect("requestSppDisconnect", "disconnectSpp", device);
        break;
      case 3:
        product = operator_->requestSppAutoConnectStop(device);
        model = operatorModel_.disconnect("requestSppAutoConnectStop", "stopAutoConnectSpp", device);
        break;
      case 4:
        product = operator_->registerStandby();
        model = operatorModel_.registerStandby();
        break;
      default: {
        const std::uint32_t method = input.number();
        product = operator_->requestiOSLaunch(device, static_cast<VQSLinkAppOperator::IOSAppLaunchMethod>(method));
        model = operatorModel_.launch(device, method);
        break;
      }
    }
    fuzz::require(product == model, "both answer a request the same");
  }

  const std::uint32_t kind_;
  Lines observed_;
  std::array<Listener, kListeners>& listeners_;
  VQSLinkAppOperator* const operator_;
  OperatorModel operatorModel_;
  LinkAppiOSWrapper& wrapper_;
  WrapperModel wrapperModel_;
  LinkAppiOSPlaybackInfo& playback_;
  PlaybackModel playbackModel_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static auto* const objects = new Objects;
  Input input(data, size);
  vqfake::reset();
  vqfake::resetBluetooth();
  FacadePair pair(input, *objects);
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    pair.step(input);
  }
  return 0;
}
