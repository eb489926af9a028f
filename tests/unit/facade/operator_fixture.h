// What the operator's unit tests share: a clean start, the phones' doings on both sides, and where a message goes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "operator_events.h"
#include "platform/fake/FakeBluetooth.h"
#include "tests/unit/LinkAppCommon/channel_fixture.h"

constexpr const char* kOperatorFile = "LinkAppCommon/private/VQSLinkAppOperator";
constexpr const char* kUuid = "0000abcd-0000-1000-8000-00805f9b34fb";
constexpr const char* kApp = "Radio";

inline testing::Matcher<const vqfake::LogLine&> operatorLine(const std::string& function, const std::string& text) {
  return logLine(kOperatorFile, function, 0, 1, text);
}

inline VQSBtAppsNtf::SppDataSendResult sppResult(const std::string& uuid, bool result, std::uint8_t deviceId = 7) {
  VQSBtAppsNtf::SppDataSendResult record;
  record.deviceId = deviceId;
  record.uuid = uuid;
  record.result = result;
  return record;
}

inline VQSBtAppsNtf::SppReceivedData sppData(const std::string& uuid, const Bytes& bytes, std::uint8_t deviceId = 7) {
  VQSBtAppsNtf::SppReceivedData record;
  record.deviceId = deviceId;
  record.uuid = uuid;
  record.data = VQBinary(bytes.data(), static_cast<unsigned int>(bytes.size()));
  return record;
}

inline VQSBtAppsNtf::SppConnectionState sppState(const std::string& uuid, std::int32_t state, std::uint8_t deviceId) {
  VQSBtAppsNtf::SppConnectionState record;
  record.deviceId = deviceId;
  record.uuid = uuid;
  record.state = state;
  return record;
}

// A list of one device that is no Apple device.
inline VQSBtAppsNtf::SppInformation sppList(std::uint8_t deviceId, const std::string& deviceName) {
  VQSBtAppsDef::SppInformationImpl entry;
  entry.deviceId = deviceId;
  entry.deviceName = deviceName;
  entry.vendorId = 0x00E0;
  entry.available = 1;
  VQSBtAppsNtf::SppInformation record;
  record.devices.push_back(entry);
  return record;
}

class OperatorTest : public ChannelTest {
 public:
  void SetUp() override {
    ChannelTest::SetUp();
    vqfake::resetBluetooth();
  }

  // The SPP service lives until the process exits; here every test starts without one.
  void TearDown() override {
    sut.reset();
    opeLog_ = 0;
    vqfake::resetBluetooth();
    VQSingleton<VQSBtApps>::destroy();
    ChannelTest::TearDown();
  }

  void startSppOnly() { sut = std::make_unique<VQSLinkAppOperator>(kUuid); }
  void startIosOnly() { sut = std::make_unique<VQSLinkAppOperator>(kApp, "Radio1", "radio://"); }
  void startCombined() { sut = std::make_unique<VQSLinkAppOperator>(kUuid, kApp, "Radio1", "radio://"); }

  // With both listeners; the SPP service's calls up to here are forgotten.
  void subscribe() {
    sut->setListener(&messages);
    sut->setStatusListener(&status);
    vqfake::clearBtCalls();
  }

  // The device side's messages. The operator under test is app 1, being the first that registers.
  static void postStatus(const iosapp_def_::ConnectStatusNotify& message) {
    vqfake::post(4, &message, sizeof(message));
    vqfake::deliverAll();
  }
  static void connectIosDevice() { postStatus(connectMessage(1, 1, 1, 1)); }
  static void disconnectIosDevice() { postStatus(connectMessage(1, 0, 1, 1)); }
  static void openIosSession(std::uint32_t appId = 1) { postStatus(sessionMessage(1, appId, 1)); }
  static void closeIosSession(std::uint32_t appId = 1) { postStatus(sessionMessage(1, appId, 0)); }

  static void endIosSend(std::uint32_t result, std::uint32_t appId = 1) {
    iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_SENDRESULT, 1);
    message.appId = appId;
    message.sendResult = result;
    postStatus(message);
  }

  static void sendFromIosDevice(const Bytes& bytes, std::uint32_t appId = 1) {
    {
      SegmentView view(kFromDeviceSegment);
      iOSAppCommonDataSlot& slot = view.record<iOSAppCommonDataList>().slot[0];
      std::memcpy(slot.data, bytes.data(), bytes.size());
      slot.size = static_cast<std::uint32_t>(bytes.size());
    }
    const iOSAppCommonDataNotify announcement = {1, appId, 0};
    vqfake::post(3, &announcement, sizeof(announcement));
    vqfake::deliverAll();
  }

  bool launch(unsigned int method = 0, unsigned char deviceId = 1) {
    return sut->requestiOSLaunch(deviceId, static_cast<VQSLinkAppOperator::IOSAppLaunchMethod>(method));
  }

  // Up to the point where messages can be sent over iOS.
  void launchAndOpen() {
    connectIosDevice();
    if (!launch()) {
      throw std::runtime_error("no launch");
    }
    openIosSession();
  }

  // What a send of 01 02 ab leads to: its result, then every call of either side, as "true; sendData 7 [uuid] 0102ab"
  // and "true; ios device 1 app 1 0102ab".
  std::string sendOne() {
    const Bytes bytes = {0x01, 0x02, 0xAB};
    const std::size_t callsBefore = vqfake::btCalls().size();
    PostedSince posted;
    std::string text = sut->requestMsgSend(bytes.data(), 3) ? "true" : "false";
    const Lines calls = btCallLines();
    for (std::size_t i = callsBefore; i < calls.size(); ++i) {
      text += "; " + calls[i];
    }
    for (const vqfake::Message& message : posted.messages()) {
      text += "; " + describeIosSend(message);
    }
    return text;
  }

  static constexpr const char* kNowhere = "false";
  static constexpr const char* kOverIos = "true; ios device 1 app 1 0102ab";
  static std::string overSpp(unsigned int deviceId, const std::string& uuid = kUuid) {
    return "true; sendData " + std::to_string(deviceId) + " [" + uuid + "] 0102ab";
  }

  std::unique_ptr<VQSLinkAppOperator> sut;
  MessageEvents messages;
  StatusEvents status;

 private:
  static std::string describeIosSend(const vqfake::Message& message) {
    if (message.id != 2) {
      return "posted " + std::to_string(message.id);
    }
    const auto announcement = payloadAs<iOSAppCommonDataNotify>(message);
    SegmentView view(kFromHuSegment);
    const iOSAppCommonDataSlot& slot = view.record<iOSAppCommonDataList>().slot[announcement.slotIndex];
    return "ios device " + std::to_string(announcement.deviceId) + " app " + std::to_string(announcement.appId) + " " +
           hexOf(Bytes(slot.data, slot.data + std::min(slot.size, iOSAppCommonDataList::kSlotBytes)));
  }
};
