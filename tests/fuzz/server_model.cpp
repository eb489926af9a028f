#include <cstdio>
#include <cstring>

#include "tests/fuzz/channel_lines.h"
#include "tests/fuzz/channel_model.h"

namespace channel_model {
namespace {

// From `offset` of the entry up to the first NUL or the entry's end.
std::string textAt(const iOSAppInfo& entry, std::size_t offset) {
  const char* const bytes = reinterpret_cast<const char*>(&entry);
  std::string text;
  for (std::size_t i = offset; i < 272 && bytes[i] != '\0'; ++i) {
    text += bytes[i];
  }
  return text;
}

void putText(iOSAppInfoList& table, std::size_t offset, const std::string& text) {
  char* const bytes = reinterpret_cast<char*>(&table);
  for (std::size_t i = 0; i < text.size() && offset + i < 5444; ++i) {
    bytes[offset + i] = text[i];
  }
}

}  // namespace

bool RegistryModel::convert(std::uint32_t index, App& app) {
  if (table == nullptr || index > 19 || table->entry[index].appId == 0 || table->entry[index].appName[0] == '\0') {
    lines.push_back(logLine("LinkAppCommon/private/iOSApp/iOSAppCommonUtil", "convertiOSAppInfoToLinkAppInfo", 0, 1,
                            "### Error : iOSAppInfo is invalid.\r\n"));
    return false;
  }
  const iOSAppInfo& entry = table->entry[index];
  app.appId = static_cast<std::uint16_t>(entry.appId % 65536);
  app.iAP1Name = textAt(entry, 4);
  app.appName = textAt(entry, 15);
  app.launchString = textAt(entry, 143);
  if (!app.iAP1Name.empty()) {
    app.iAP1Id = iAP1Counter;
    iAP1Counter = static_cast<std::uint16_t>(iAP1Counter + 1);
  }
  return true;
}

void RegistryModel::readAll() {
  const std::uint32_t count = table == nullptr ? 0 : table->count > 20 ? 20 : table->count;
  for (std::uint32_t i = 0; i < count; ++i) {
    App app;
    if (convert(i, app)) {
      apps.push_back(app);
    }
  }
}

void RegistryModel::onAppInfoUpdate(unsigned int id, const void* data, unsigned int size) {
  if (id != 5 || data == nullptr || size == 0) {
    return;
  }
  std::uint32_t index = 0;
  std::memcpy(&index, data, 4);
  App app;
  if (convert(index, app)) {
    apps.push_back(app);
    lines.push_back("changed");
  }
}

bool RegistryModel::hasNameWith(const std::string& part) const {
  for (std::size_t i = 1; i < apps.size(); ++i) {
    if (apps[i].appName.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}

std::uint32_t registerApp(iOSAppInfoList& table, const std::string& iAP1Name, const std::string& appName,
                          const std::string& launchString, Lines& lines) {
  const std::uint32_t i = table.count;
  if (i > 19) {
    lines.push_back(logLine("LinkAppCommon/private/iOSApp/iOSAppCommonLocalMem_AppInfo", "registAppInfo", 0, 1,
                            "### Error : iOSAppInfoList overflow!\r\n"));
    return 0;
  }
  putText(table, std::size_t{272} * i + 4, iAP1Name);
  putText(table, std::size_t{272} * i + 15, appName);
  putText(table, std::size_t{272} * i + 143, launchString);
  table.entry[i].appId = i + 1;
  table.count = i + 1;
  lines.push_back(postLine(5, bytesOf(i), "iOSAppCommonLocalMem_AppInfo"));
  return i + 1;
}

void ServerModel::post(const ConnectStatusNotify& message) {
  lines.push_back(postLine(4, bytesOf(message), ""));
}

void ServerModel::notifyConnectionState(iosapp_def_::ConnectInfo& info) {
  info.deviceId = deviceId;
  iapType = info.iapType;
  ConnectStatusNotify m = {};
  m.notifyType = 1;
  m.deviceId = deviceId;
  m.connectStatus = info.connectStatus;
  m.connectType = info.connectType;
  m.iapType = info.iapType;
  post(m);
}

void ServerModel::notifyBluetoothConnectionStatus(const iOSAppExtBluetoothConnectionStatus* status) {
  if (status == nullptr) {
    return;
  }
  ConnectStatusNotify m = {};
  m.notifyType = 4;
  m.deviceId = deviceId;
  m.btConnected = status->flags & 1;
  std::memcpy(m.btAddress, status->btAddress, 6);
  post(m);
}

void ServerModel::notifyPlaybackAppInfo(const std::string& appName) {
  ConnectStatusNotify m = {};
  m.notifyType = 5;
  m.deviceId = deviceId;
  for (std::size_t i = 0; i < 255 && i < appName.size() && appName[i] != '\0'; ++i) {
    m.playbackAppName[i] = appName[i];
  }
  post(m);
}

void ServerModel::notifySessionOpen(unsigned int id, unsigned short sessionId) {
  const unsigned int app = iapType == 1 ? id : appOfIAP1Id(id);
  setSession(app, sessionId);
  ConnectStatusNotify m = {};
  m.notifyType = 2;
  m.deviceId = deviceId;
  m.appId = app;
  m.status = 1;
  post(m);
}

void ServerModel::notifySessionClose(unsigned short sessionId) {
  const unsigned int app = appOfSession(sessionId);
  setSession(app, 0);
  ConnectStatusNotify m = {};
  m.notifyType = 2;
  m.deviceId = deviceId;
  m.appId = app;
  post(m);
}

void ServerModel::sendDataFromDevice(unsigned short sessionId, const unsigned char* data, unsigned int size) {
  const unsigned short app = appOfSession(sessionId);
  if (app == 0 || fromDevice.write(app, data, size, lines) == 0) {
    char text[100];
    std::snprintf(text, sizeof text, "##### Error set data from Device : AppId[%d] DataSize[%d]\n", app,
                  static_cast<int>(size));
    lines.push_back(logLine("LinkAppCommon/private/iOSApp/iOSAppCommonServer", "sendDataFromDevice", 186, 1, text));
  }
}

void ServerModel::notifySendResult(unsigned short sessionId, unsigned int result) {
  ConnectStatusNotify m = {};
  m.notifyType = 3;
  m.deviceId = deviceId;
  m.appId = appOfSession(sessionId);
  m.sendResult = result;
  post(m);
}

unsigned short ServerModel::sessionOf(unsigned int appId) const {
  unsigned short result = 0;
  for (const App& app : apps) {
    if (app.appId == appId) {
      result = app.sessionId;
    }
  }
  return result;
}

unsigned short ServerModel::appOfSession(unsigned short sessionId) const {
  unsigned short result = 0;
  for (const App& app : apps) {
    if (app.sessionId == sessionId) {
      result = app.appId;
    }
  }
  return result;
}

unsigned short ServerModel::appOfIAP1Id(unsigned int iAP1Id) const {
  unsigned short result = 0;
  for (const App& app : apps) {
    if (app.iAP1Id == iAP1Id) {
      result = app.appId;
    }
  }
  return result;
}

std::string ServerModel::launchStringOf(unsigned int appId) const {
  for (const App& app : apps) {
    if (app.appId == appId) {
      return app.launchString;
    }
  }
  return "";
}

void ServerModel::setSession(unsigned int appId, unsigned short sessionId) {
  for (App& app : apps) {
    if (app.appId == appId) {
      app.sessionId = sessionId;
    }
  }
}

void ServerModel::onFromHUUpdate(unsigned int id, const void* data, unsigned int size) {
  if (id != 2 || data == nullptr || size == 0) {
    return;
  }
  iOSAppCommonDataNotify n;
  std::memcpy(&n, data, 12);
  std::uint32_t dataSize = 0;
  std::string bytes;
  if (n.deviceId == deviceId && fromHU.read(n.slotIndex, dataSize, bytes)) {
    lines.push_back(channel_lines::commData(n.deviceId, "", dataSize, sessionOf(n.appId), bytes, 20));
  }
}

void ServerModel::onConnectStatusUpdate(unsigned int id, const void* data, unsigned int size) {
  if (id != 4 || data == nullptr || size == 0) {
    return;
  }
  ConnectStatusNotify m;
  std::memcpy(&m, data, 304);
  if (m.notifyType == 0) {
    lines.push_back(channel_lines::launchRequest(m.deviceId, m.appId, launchStringOf(m.appId), m.launchMethod, 16));
  }
}

void ServerModel::onAppUtilUpdate(unsigned int id, const std::vector<App>& registered) {
  if (id != 0) {
    return;
  }
  for (std::size_t i = apps.size(); i < registered.size(); ++i) {
    apps.push_back(registered[i]);
  }
}

}  // namespace channel_model
