// What the wrapper's tests share: a listener that keeps what it hears, and the device side's messages.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/LinkAppiOSWrapper.h"
#include "tests/unit/LinkAppCommon/channel_fixture.h"

// A record as one line of text, all seven fields.
inline std::string describe(const LinkAppiOSWrapperListener::DeviceInfo& info) {
  return std::to_string(info.deviceId) + " " + info.btAddress + " spp " + std::to_string(info.btSppStatus) + " [" +
         info.btSppName + "] usb " + std::to_string(info.usbStatus) + " [" + info.usbName + "] iap " +
         std::to_string(info.iapVersion);
}

// The place of a virtual operation in its class's table: a pointer to it starts with the place in bytes, and some
// processors mark it there with 1.
template <class Operation>
std::size_t virtualSlot(Operation operation) {
  std::size_t word = 0;
  static_assert(sizeof(operation) == 2 * sizeof(word), "two words");
  std::memcpy(&word, &operation, sizeof(word));
  return (word & ~std::size_t{1}) / sizeof(void*);
}

class WrapperListener : public LinkAppiOSWrapperListener {
 public:
  void oniOSClientDeviceInfo(void* info) override {
    devices.push_back(describe(*static_cast<DeviceInfo*>(info)));
    onRecord(info);
  }
  void oniOSClientSendResult(void* result) override {
    results.push_back(*static_cast<SendResult*>(result));
    onRecord(result);
  }
  void oniOSClientReceivedMsg(void* msg) override {
    messages.push_back(*static_cast<ReceivedMsg*>(msg));
    onRecord(msg);
  }

  std::size_t count() const { return records.size(); }

  std::vector<void*> records;  // of all kinds, by their addresses
  std::vector<std::string> devices;
  std::vector<SendResult> results;
  std::vector<ReceivedMsg> messages;
  std::function<void()> during;

 private:
  void onRecord(void* record) {
    records.push_back(record);
    if (during) {
      during();
    }
  }
};

// Posts a message as the device side does, and delivers it.
inline void tell(const iosapp_def_::ConnectStatusNotify& message) {
  vqfake::post(4, &message, sizeof(message));
  vqfake::deliverAll();
}

inline void tellConnected() {
  tell(connectMessage(1, 1));
}

constexpr const char* kWrapperFile = "LinkAppCommon/private/LinkAppiOSWrapper";

// The wrapper's app is the only one, so that its app id is 1.
class WrapperTest : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    sut = std::make_unique<LinkAppiOSWrapper>("Radio", "com.radio", "radio://");
    vqfake::deliverAll();
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  std::unique_ptr<LinkAppiOSWrapper> sut;
};
