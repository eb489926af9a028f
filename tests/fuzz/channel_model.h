// The rules of the channel's ends once more, plainly: every list walked from the front, every step written out. It
// shares nothing with the product but the records, so that a slip would have to be made twice.
//
// What is observed of either is told in lines: notifications with their arguments, posts with their bytes, log lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppRecords.h"
#include "tests/fuzz/require.h"

namespace channel_model {

using fuzz::Lines;
using iosapp_def_::ConnectStatusNotify;

// Bytes of a record as they are sent.
template <class Record>
std::string bytesOf(const Record& record) {
  return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

std::string postLine(unsigned int id, const std::string& payload, const std::string& locks);
std::string logLine(const std::string& file, const std::string& function, int line, unsigned int tag,
                    const std::string& text);

// One data ring. Somebody may change a slot's size between the two reads of it.
struct RingModel {
  iOSAppCommonDataList* record;  // the transcription's own copy
  std::uint32_t deviceId;
  std::uint32_t notifyId;
  const char* segment;
  bool changesMeanwhile = false;
  std::uint32_t slotMeanwhile = 0;
  std::uint32_t sizeMeanwhile = 0;

  // 1 = written and announced.
  int write(std::uint32_t appId, const unsigned char* data, std::uint32_t size, Lines& lines);
  // False: nothing to be told. Else the size that is reported and the 4096 bytes that go with it.
  bool read(std::uint32_t slotIndex, std::uint32_t& size, std::string& bytes);
};

class ClientModel {
 public:
  Lines lines;
  RingModel fromHU{};
  RingModel fromDevice{};
  std::string appName;
  std::uint32_t appId = 0;
  std::uint32_t currentDeviceId = 0;
  bool launchEnabled = false;

  void onConnectStatusUpdate(unsigned int id, const void* data, unsigned int size);
  void onFromDeviceUpdate(unsigned int id, const void* data, unsigned int size);
  unsigned int launch(unsigned int deviceId, unsigned int method);
  unsigned int sendDataFromHU(const unsigned char* data, unsigned int size);
  unsigned int isDeviceConnected(unsigned int deviceId) const;
  unsigned int isSessionOpened(unsigned int deviceId, unsigned int app) const;

  iosapp_def_::ConnectInfo connectInfo(unsigned int deviceId) const;
  iosapp_def_::BtHfInfo btHfInfo(unsigned int deviceId) const;
  void addConnectInfo(const iosapp_def_::ConnectInfo& info);
  void addSessionInfo(const iosapp_def_::SessionInfo& info);
  void addBtHfInfo(const iosapp_def_::BtHfInfo& info);
  void removeConnectInfo(unsigned int deviceId);
  void removeSessionInfo(unsigned int deviceId, unsigned int app);
  void removeBtHfInfo(unsigned int deviceId);

  std::vector<iosapp_def_::ConnectInfo> connections;
  std::vector<iosapp_def_::SessionInfo> sessions;
  std::vector<iosapp_def_::BtHfInfo> handsFree;

 private:
  void connectStatus(const ConnectStatusNotify& m);
  void sessionStatus(const ConnectStatusNotify& m);
  void sendResult(const ConnectStatusNotify& m);
  void btHfStatus(const ConnectStatusNotify& m);
  void playbackAppInfo(const ConnectStatusNotify& m);
  void tell(std::uint32_t deviceId, const std::uint8_t (&address)[6], std::uint32_t connectType, std::uint32_t status,
            std::uint32_t iapType, std::uint32_t btConnected);
};

// One app as registry and server keep it.
struct App {
  std::uint16_t appId = 0;
  std::string iAP1Name;
  std::string appName;
  std::string launchString;
  std::uint16_t sessionId = 0;
  std::uint16_t iAP1Id = 0;
};

class RegistryModel {
 public:
  Lines lines;
  const iOSAppInfoList* table = nullptr;  // what lies in the segment
  std::vector<App> apps = std::vector<App>(1);
  std::uint16_t iAP1Counter = 1;

  void readAll();
  void onAppInfoUpdate(unsigned int id, const void* data, unsigned int size);
  bool hasNameWith(const std::string& part) const;

 private:
  bool convert(std::uint32_t index, App& app);
};

// What a client's registration makes of the table; the app id that it gets, or 0.
std::uint32_t registerApp(iOSAppInfoList& table, const std::string& iAP1Name, const std::string& appName,
                          const std::string& launchString, Lines& lines);

class ServerModel {
 public:
  Lines lines;
  RingModel fromHU{};
  RingModel fromDevice{};
  std::uint32_t deviceId = 1;
  std::uint32_t iapType = 1;
  std::vector<App> apps = std::vector<App>(1);

  void notifyConnectionState(iosapp_def_::ConnectInfo& info);
  void notifyBluetoothConnectionStatus(const iOSAppExtBluetoothConnectionStatus* status);
  void notifyPlaybackAppInfo(const std::string& appName);
  void notifySessionOpen(unsigned int id, unsigned short sessionId);
  void notifySessionClose(unsigned short sessionId);
  void sendDataFromDevice(unsigned short sessionId, const unsigned char* data, unsigned int size);
  void notifySendResult(unsigned short sessionId, unsigned int result);

  unsigned short sessionOf(unsigned int appId) const;
  unsigned short appOfSession(unsigned short sessionId) const;
  unsigned short appOfIAP1Id(unsigned int iAP1Id) const;
  std::string launchStringOf(unsigned int appId) const;
  void setSession(unsigned int appId, unsigned short sessionId);

  void onFromHUUpdate(unsigned int id, const void* data, unsigned int size);
  void onConnectStatusUpdate(unsigned int id, const void* data, unsigned int size);
  void onAppUtilUpdate(unsigned int id, const std::vector<App>& registered);

 private:
  void post(const ConnectStatusNotify& message);
};

}  // namespace channel_model
