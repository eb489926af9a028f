// What the operator's unit tests keep: the calls of the SPP service as text, and what the listeners were told.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "LinkAppCommon/VQSILinkAppSenderReceiver.h"
#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "platform/fake/FakeBluetooth.h"

using Lines = std::vector<std::string>;

inline std::string hexOf(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char digits[3] = "";
    snprintf(digits, sizeof(digits), "%02x", byte);
    text += digits;
  }
  return text;
}

// As "connectSpp 7 [uuid]" or "sendData 7 [uuid] 01ff".
inline std::string describe(const vqfake::BtCall& call) {
  std::string text = call.operation;
  if (call.deviceId != 0xFFFF) {
    text += " " + std::to_string(call.deviceId);
  }
  for (const std::string& uuid : call.uuids) {
    text += " [" + uuid + "]";
  }
  return call.data.empty() ? text : text + " " + hexOf(call.data);
}

inline Lines btCallLines() {
  Lines lines;
  for (const vqfake::BtCall& call : vqfake::btCalls()) {
    lines.push_back(describe(call));
  }
  return lines;
}

// Results as "result 0", messages as "message 01ff"; both carry the name that the listener was given.
class MessageEvents : public VQSILinkAppSenderReceiverListener {
 public:
  MessageEvents() = default;
  MessageEvents(std::string listenerName, Lines& sharedJournal)
      : name(std::move(listenerName)), journal(&sharedJournal) {}

  void onSendResult(unsigned int failed) override { keep("result " + std::to_string(failed)); }

  void onReceivedMsg(const unsigned char* data, unsigned int size) override {
    const bool isWithoutBytes = data == nullptr;
    keep("message " + (isWithoutBytes ? std::to_string(size) + " bytes at null"
                                      : hexOf(std::vector<std::uint8_t>(data, data + size))));
  }

  Lines lines;
  std::function<void()> during;

  // The lines since the last call.
  Lines take() { return std::exchange(lines, {}); }

 private:
  void keep(const std::string& line) {
    lines.push_back(line);
    if (journal != nullptr) {
      journal->push_back(name + " " + line);
    }
    if (during) {
      const std::function<void()> action = during;  // it may replace or clear itself
      action();
    }
  }

  std::string name;
  Lines* journal = nullptr;
};

inline std::string describe(const LinkAppCommon::ConnectionInfo::DeviceStatusInfo& link) {
  return std::to_string(link.status) + " [" + link.uuid + "] [" + link.appName + "]";
}

// All fields of the record as one line.
inline std::string describe(const LinkAppCommon::ConnectionInfo::DeviceInfo& info) {
  return "type " + std::to_string(info.deviceType) + " id " + std::to_string(info.deviceId) + " [" + info.deviceName +
         "] spp " + describe(info.btSpp) + " usb " + describe(info.usb) + " iap " + std::to_string(info.iapVersion);
}

class StatusEvents : public VQSLinkAppDeviceStatusListener {
 public:
  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo info) override {
    lines.push_back(describe(info));
    if (during) {
      during();
    }
  }

  Lines lines;
  std::function<void()> during;

  Lines take() { return std::exchange(lines, {}); }
};
