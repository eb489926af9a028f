// The rules of LinkAppiOSWrapper, LinkAppiOSPlaybackInfo and VQSLinkAppOperator once more, plainly. Listeners are named
// by their places in ascending order of addresses; what they are told is told in lines.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "tests/fuzz/channel_lines.h"
#include "tests/fuzz/channel_model.h"

namespace facade_model {

using channel_lines::number;
using fuzz::Lines;

inline std::string call(const char* what, int listener, const std::string& arguments) {
  return std::string(what) + " to " + std::to_string(listener) + ": " + arguments;
}

class WrapperModel {
 public:
  Lines lines;
  std::set<int> listeners;

  bool setListener(int listener) {
    if (listener < 0) {
      lines.push_back(nullLine("setListener"));
      return false;
    }
    listeners.insert(listener);
    return true;
  }
  bool removeListener(int listener) {
    if (listener < 0) {
      lines.push_back(nullLine("removeListener"));
      return false;
    }
    return listeners.erase(listener) == 1;
  }

  void deviceInfo(std::uint8_t deviceId, const std::string& btAddress, std::uint32_t btSppStatus,
                  const std::string& btSppName, std::uint32_t usbStatus, const std::string& usbName,
                  std::uint32_t iapVersion) {
    for (const int listener : listeners) {
      lines.push_back(call("device", listener,
                           number(deviceId) + btAddress + " " + number(mapped(btSppStatus)) + btSppName + " " +
                               number(mapped(usbStatus)) + usbName + " " + number(mapped(iapVersion))));
    }
  }
  void sendResult(const std::string& appName, std::uint32_t result) {
    for (const int listener : listeners) {
      lines.push_back(call("result", listener, appName + " " + number(result == 1 ? 0 : 1)));
    }
  }
  void receivedData(const std::string& appName, const std::string& bytes) {
    for (const int listener : listeners) {
      lines.push_back(call("message", listener, appName + " " + bytes));
    }
  }

 private:
  static std::uint32_t mapped(std::uint32_t value) { return value == 1 || value == 2 ? value : 0; }
  static std::string nullLine(const char* function) {
    return channel_model::logLine("LinkAppCommon/private/LinkAppiOSWrapper", function, 0, 1,
                                  "ListenerPointerIsNull!!!!\n");
  }
};

class PlaybackModel {
 public:
  Lines lines;
  int listener = -1;

  bool setListener(int next) {
    if (next < 0) {
      lines.push_back(logLine("setListener", 57, "Listener Pointer is NULL...n"));
      return false;
    }
    listener = next;
    return true;
  }
  bool removeListener(int old) {
    if (old >= 0 && old == listener) {
      listener = -1;
    } else {
      lines.push_back(logLine("removeListener", 72, "Listener Pointer is NULL or NOT match...\n"));
    }
    return false;
  }
  void playbackAppInfo(std::uint32_t deviceId, const std::string& appName) {
    if (listener >= 0) {
      lines.push_back(call("playback", listener, number(deviceId) + appName));
    }
  }

 private:
  static std::string logLine(const char* function, int line, const char* text) {
    return channel_model::logLine("LinkAppCommon/private/LinkAppiOSPlaybackInfo", function, line, 1, text);
  }
};

class OperatorModel {
 public:
  OperatorModel(bool withSpp, bool withIos) : hasSpp(withSpp), hasIos(withIos), currentIsIos(!withSpp) {}

  Lines lines;
  bool hasSpp;
  bool hasIos;
  std::string sppUuid;
  std::string iosAppName;
  std::set<int> listeners;
  std::uint8_t currentDevice = 255;
  bool currentIsIos;
  std::map<std::string, bool> answers;  // of the SPP service; true where there is none
  channel_model::ClientModel client;    // of its wrapper

  bool setListener(int listener) {
    if (listener < 0) {
      return logged("setListener", "npListener(NULL)!!!\n");
    }
    return listeners.insert(listener).second;
  }
  bool removeListener(int listener) {
    if (listener < 0) {
      return logged("removeListener", "npListener(NULL)!!!\n");
    }
    return listeners.erase(listener) == 1;
  }

  // requestSppConnect and requestSppAutoConnectStart.
  bool connect(const char* request, const char* operation, std::uint8_t device) {
    if (!hasSpp) {
      return logged(request, "mpBtApps(NULL)!!!\n");
    }
    bool r1 = ask("isRegisteredUuid");
    if (!r1) {
      r1 = ask("registerUuid");
    }
    const bool r2 = ask(operation, device);
    if (r1 && r2) {
      currentDevice = device;
      currentIsIos = false;
    }
    return r1 && r2;
  }
  // requestSppDisconnect and requestSppAutoConnectStop.
  bool disconnect(const char* request, const char* operation, std::uint8_t device) {
    if (!hasSpp) {
      return logged(request, "mpBtApps(NULL)!!!\n");
    }
    bool r1 = true;
    if (ask("isRegisteredUuid")) {
      r1 = ask("unregisterUuid");
    }
    const bool r2 = ask(operation, device);
    if (r1 && r2 && !currentIsIos) {
      currentDevice = 255;
    }
    return r1 && r2;
  }
  bool launch(std::uint8_t device, std::uint32_t method) {
    if (!hasIos) {
      return logged("requestiOSLaunch", "mpiOSWrapper(NULL)!!!\n");
    }
    if (client.launch(device, method == 1 ? 1 : 0) == 0) {
      return false;
    }
    currentDevice = device;
    currentIsIos = true;
    return true;
  }
  bool registerStandby() { return hasSpp && ask("registerWaitUuid"); }

  bool requestMsgSend(const unsigned char* data, unsigned int size) {
    if (currentDevice == 255) {
      return false;
    }
    if (currentIsIos) {
      return hasIos && client.sendDataFromHU(data, size) != 0;
    }
    return hasSpp && ask("sendData", currentDevice, data == nullptr ? "" : std::string(data, data + size));
  }

  void sppSendResult(const std::string& uuid, bool result) { tellResult(uuid, sppUuid, result ? 0 : 1); }
  void sppReceivedData(const std::string& uuid, const std::string& bytes) { tellMessage(uuid, sppUuid, bytes); }
  void iosSendResult(const std::string& uuid, std::uint32_t result) {
    tellResult(uuid, iosAppName, result == 0 ? 0 : 1);
  }
  void iosReceivedMsg(const std::string& uuid, const std::string& bytes) { tellMessage(uuid, iosAppName, bytes); }

  static std::string askLine(const std::string& operation, unsigned int device, const std::string& uuid,
                             const std::string& bytes) {
    return operation + " " + std::to_string(device) + " [" + uuid + "] " + bytes;
  }

 private:
  bool logged(const char* function, const char* text) {
    lines.push_back(channel_model::logLine("LinkAppCommon/private/VQSLinkAppOperator", function, 0, 1, text));
    return false;
  }
  bool ask(const char* operation, unsigned int device = 0xFFFF, const std::string& bytes = "") {
    lines.push_back(askLine(operation, device, sppUuid, bytes));
    return answers.count(operation) == 0 || answers[operation];
  }
  void tellResult(const std::string& uuid, const std::string& own, unsigned int failed) {
    for (const int listener : listeners) {
      if (uuid == own && !own.empty()) {
        lines.push_back(call("result", listener, number(failed)));
      }
    }
  }
  void tellMessage(const std::string& uuid, const std::string& own, const std::string& bytes) {
    for (const int listener : listeners) {
      if (uuid == own && !own.empty()) {
        lines.push_back(call("message", listener, bytes));
      }
    }
  }
};

}  // namespace facade_model
