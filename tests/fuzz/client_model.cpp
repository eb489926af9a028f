#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tests/fuzz/channel_lines.h"
#include "tests/fuzz/channel_model.h"

namespace channel_model {
namespace {

const char* const kClientFile = "LinkAppCommon/private/iOSApp/iOSAppCommonClient";

// As %d shows it.
std::string signedText(std::uint32_t value) {
  return std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace

std::string postLine(unsigned int id, const std::string& payload, const std::string& locks) {
  return "post " + channel_lines::number(id) + "[" + locks + "] " + payload;
}

std::string logLine(const std::string& file, const std::string& function, int line, unsigned int tag,
                    const std::string& text) {
  return "log " + file + ":" + std::to_string(line) + " " + function + " " + std::to_string(tag) + " " + text;
}

int RingModel::write(std::uint32_t appId, const unsigned char* data, std::uint32_t size, Lines& lines) {
  if (record == nullptr || data == nullptr || size == 0 || size > 4096) {
    return 0;
  }
  const std::uint32_t i = record->writeIndex % 40;
  std::memcpy(record->slot[i].data, data, size);
  record->slot[i].size = size;
  record->writeIndex = (i + 1) % 40;
  const iOSAppCommonDataNotify announcement = {deviceId, appId, i};
  lines.push_back(postLine(notifyId, bytesOf(announcement), segment));
  return 1;
}

bool RingModel::read(std::uint32_t slotIndex, std::uint32_t& size, std::string& bytes) {
  if (record == nullptr || slotIndex > 39) {
    return false;
  }
  // A size that no writer makes counts as never written, at both reads.
  size = record->slot[slotIndex].size > 4096 ? 0 : record->slot[slotIndex].size;
  if (changesMeanwhile) {
    record->slot[slotMeanwhile].size = sizeMeanwhile;
    changesMeanwhile = false;
  }
  if (size == 0) {
    return false;
  }
  const std::uint32_t now = record->slot[slotIndex].size > 4096 ? 0 : record->slot[slotIndex].size;
  bytes.assign(4096, '\0');
  std::memcpy(&bytes[0], record->slot[slotIndex].data, now);
  return true;
}

void ClientModel::onConnectStatusUpdate(unsigned int id, const void* data, unsigned int size) {
  if (id != 4 || data == nullptr || size == 0) {
    return;
  }
  ConnectStatusNotify m;
  std::memcpy(&m, data, 304);
  switch (m.notifyType) {
    case 1:
      return connectStatus(m);
    case 2:
      return sessionStatus(m);
    case 3:
      return sendResult(m);
    case 4:
      return btHfStatus(m);
    case 5:
      return playbackAppInfo(m);
    default:
      return;
  }
}

void ClientModel::tell(std::uint32_t deviceId, const std::uint8_t (&address)[6], std::uint32_t connectType,
                       std::uint32_t status, std::uint32_t iapType, std::uint32_t btConnected) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2], address[3],
                address[4], address[5]);
  const std::uint32_t iapVersion = iapType == 0 ? 1 : 2;
  const std::uint32_t hfp = btConnected == 1 ? 1 : 0;
  const auto low = static_cast<std::uint8_t>(deviceId % 256);
  if (connectType == 1) {
    lines.push_back(channel_lines::deviceInfo(low, text, status, appName, 0, "", iapVersion, hfp, 32));
  } else {
    lines.push_back(channel_lines::deviceInfo(low, text, 0, "", status, appName, iapVersion, hfp, 32));
  }
}

void ClientModel::connectStatus(const ConnectStatusNotify& m) {
  const iosapp_def_::BtHfInfo hf = btHfInfo(m.deviceId);
  if (m.connectStatus == 1) {
    addConnectInfo({m.deviceId, m.connectStatus, m.connectType, m.iapType});
  } else {
    removeConnectInfo(m.deviceId);
    removeSessionInfo(m.deviceId, 0);
  }
  tell(m.deviceId, hf.btAddress, m.connectType, m.connectStatus == 0 ? 0 : 1, m.iapType, hf.btConnected);
}

void ClientModel::sessionStatus(const ConnectStatusNotify& m) {
  const iosapp_def_::ConnectInfo connection = connectInfo(m.deviceId);
  const iosapp_def_::BtHfInfo hf = btHfInfo(m.deviceId);
  if (connection.connectStatus != 1) {
    lines.push_back(
        logLine(kClientFile, "onConnectStatusUpdate", 0, 1,
                "[NOTIFYID_SESSIONSTATUS] Error: DeviceId[" + signedText(m.deviceId) + "] not connected!\n"));
    return;
  }
  if (appId == 0 || appId != m.appId) {
    return;
  }
  if (m.status == 1) {
    addSessionInfo({m.deviceId, m.appId, m.status});
  } else {
    removeSessionInfo(m.deviceId, m.appId);
  }
  tell(m.deviceId, hf.btAddress, connection.connectType, m.status == 1 ? 2 : 1, connection.iapType, hf.btConnected);
}

void ClientModel::sendResult(const ConnectStatusNotify& m) {
  if (appId == 0 || m.deviceId != currentDeviceId || m.appId != appId) {
    return;
  }
  lines.push_back(channel_lines::sendResult(m.deviceId, 0, appName, m.sendResult, 16));
}

void ClientModel::btHfStatus(const ConnectStatusNotify& m) {
  const iosapp_def_::ConnectInfo connection = connectInfo(m.deviceId);
  iosapp_def_::BtHfInfo hf;
  hf.deviceId = m.deviceId;
  hf.btConnected = m.btConnected;
  std::memcpy(hf.btAddress, m.btAddress, 6);
  if (m.status == 1) {
    addBtHfInfo(hf);
  } else {
    removeBtHfInfo(m.deviceId);
  }
  std::uint32_t state = 0;
  if (connection.connectStatus == 1) {
    state = isSessionOpened(m.deviceId, appId) == 1 ? 2 : 1;
  }
  tell(m.deviceId, m.btAddress, connection.connectType, state, connection.iapType, m.btConnected);
}

void ClientModel::playbackAppInfo(const ConnectStatusNotify& m) {
  std::string name;
  for (std::size_t i = 0; i < 256 && m.playbackAppName[i] != '\0'; ++i) {
    name += m.playbackAppName[i];
  }
  lines.push_back(channel_lines::playback(m.deviceId, name, 8));
}

unsigned int ClientModel::isDeviceConnected(unsigned int deviceId) const {
  unsigned int result = 0;
  for (const auto& entry : connections) {
    if (entry.deviceId == deviceId) {
      result = entry.connectStatus == 1 ? 1 : 0;
    }
  }
  return result;
}

unsigned int ClientModel::isSessionOpened(unsigned int deviceId, unsigned int app) const {
  unsigned int result = 0;
  for (const auto& entry : sessions) {
    if (entry.deviceId == deviceId && entry.appId == app) {
      result = entry.status == 1 ? 1 : 0;
    }
  }
  return result;
}

unsigned int ClientModel::launch(unsigned int deviceId, unsigned int method) {
  if (deviceId != 1) {
    lines.push_back(logLine(kClientFile, "launch", 0, 1,
                            "##### Launch Error : DeviceId[" + signedText(deviceId) + "]] is invalid.\n"));
    return 0;
  }
  if (appId == 0) {
    return 0;
  }
  if (isDeviceConnected(1) == 0) {
    lines.push_back(logLine(kClientFile, "launch", 0, 1, "##### Launch Error : DeviceId[1]] not connected.\n"));
    return 0;
  }
  currentDeviceId = 1;
  if (isSessionOpened(1, appId) == 1) {
    return 1;
  }
  if (launchEnabled) {
    ConnectStatusNotify m = {};
    m.deviceId = 1;
    m.appId = appId;
    m.launchMethod = method;
    lines.push_back(postLine(4, bytesOf(m), ""));
  }
  return 1;
}

unsigned int ClientModel::sendDataFromHU(const unsigned char* data, unsigned int size) {
  if (isDeviceConnected(currentDeviceId) == 0 || isSessionOpened(currentDeviceId, appId) == 0) {
    lines.push_back(logLine(kClientFile, "sendDataFromHU", 0, 1,
                            "##### Send Error : DeviceId[" + signedText(currentDeviceId) + "]] not opened.\n"));
    return 0;
  }
  if (appId == 0 || currentDeviceId != 1) {  // there is one pack, that of device 1
    return 0;
  }
  if (fromHU.write(appId, data, size, lines) == 0) {
    lines.push_back(logLine(kClientFile, "sendDataFromHU", 0, 1,
                            "##### Error set data from H/U : DevId[" + signedText(currentDeviceId) + "] AppId[" +
                                signedText(appId) + "] DataSize[" + signedText(size) + "]\n"));
    return 0;
  }
  return 1;
}

void ClientModel::onFromDeviceUpdate(unsigned int id, const void* data, unsigned int size) {
  if (id != 3 || data == nullptr || size == 0) {
    return;
  }
  iOSAppCommonDataNotify n;
  std::memcpy(&n, data, 12);
  if (n.deviceId != currentDeviceId || n.appId != appId || n.appId == 0 || n.deviceId != 1) {
    return;
  }
  std::uint32_t dataSize = 0;
  std::string bytes;
  if (fromDevice.read(n.slotIndex, dataSize, bytes)) {
    lines.push_back(channel_lines::commData(n.deviceId, appName, dataSize, 0, bytes, 20));
  }
}

iosapp_def_::ConnectInfo ClientModel::connectInfo(unsigned int deviceId) const {
  for (const auto& entry : connections) {
    if (entry.deviceId == deviceId) {
      return entry;
    }
  }
  return {};
}

iosapp_def_::BtHfInfo ClientModel::btHfInfo(unsigned int deviceId) const {
  for (const auto& entry : handsFree) {
    if (entry.deviceId == deviceId) {
      return entry;
    }
  }
  return {};
}

void ClientModel::addConnectInfo(const iosapp_def_::ConnectInfo& info) {
  removeConnectInfo(info.deviceId);
  connections.push_back(info);
}

void ClientModel::addSessionInfo(const iosapp_def_::SessionInfo& info) {
  for (std::size_t i = sessions.size(); i-- > 0;) {
    if (sessions[i].deviceId == info.deviceId && sessions[i].appId == info.appId) {
      sessions.erase(sessions.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
  sessions.push_back(info);
}

void ClientModel::addBtHfInfo(const iosapp_def_::BtHfInfo& info) {
  removeBtHfInfo(info.deviceId);
  handsFree.push_back(info);
}

void ClientModel::removeConnectInfo(unsigned int deviceId) {
  for (std::size_t i = connections.size(); i-- > 0;) {
    if (connections[i].deviceId == deviceId) {
      connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

void ClientModel::removeSessionInfo(unsigned int deviceId, unsigned int app) {
  for (std::size_t i = sessions.size(); i-- > 0;) {
    if (sessions[i].deviceId == deviceId && (app == 0 || sessions[i].appId == app)) {
      sessions.erase(sessions.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

void ClientModel::removeBtHfInfo(unsigned int deviceId) {
  for (std::size_t i = handsFree.size(); i-- > 0;) {
    if (handsFree[i].deviceId == deviceId) {
      handsFree.erase(handsFree.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

}  // namespace channel_model
