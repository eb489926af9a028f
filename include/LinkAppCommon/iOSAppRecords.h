// The records of the iOS app channel: what lies in the four shared segments, what travels as the payload of a
// notification, and the value records that server, client and registry hand to the observers of their own process.
//
// Glossary
//   device side   the process that owns an iOSAppCommonServer and speaks to the iOS device
//   head unit     (HU) the processes with an iOSAppCommonClient each
//   app id        place in the registration table + 1; 0 = none
//   session id    the device's own number of an open app session, 16 bits; 0 = none
//   iAP1 id       1, 2, 3, ... among the registered apps that have an iAP1 name; 0 = none
//
//   segment                              record                 bytes    id   written or sent by   read by
//   iOSAppCommonLocalMem_ConnectStatus   ConnectStatusNotify    308      4    server, client       client, server
//   iOSAppMem_Device1_From_HU            iOSAppCommonDataList   164008   2    client               server
//   iOSAppMem_Device1_From_Device        iOSAppCommonDataList   164008   3    server               client
//   iOSAppCommonLocalMem_AppInfo         iOSAppInfoList         5448     5    client               registry
// (id: the notify identifier. Connection status: kinds 1 to 5 go from server to client, kind 0 the other way.)
//
//   segment      | size of record, u32 | record ...                      |
//   byte         0                     4                                 4 + size
//
//   ring record  | slot 0: data[4096] size | slot 1 ... | slot 39 ... | writeIndex |
//   byte         0                         4100         159900        164000       164004
//
// All numbers are little-endian and 32 bits wide. Texts are fixed arrays, NUL-terminated or NUL-padded.
// Locks: the segment's own lock guards its record. A ConnectStatusNotify travels as payload only; the segment that
// bears its name is created and cleared, and otherwise left alone.
// Other processes write these bytes: readers trust neither index nor count nor size (see each field).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "LinkAppCommon/LinkAppExport.h"
#include "VQFramework/Sync/VQSync.h"

class iOSAppCommonLocalMem;

// What travels as connection status, and the value records that the observers of one process get.
namespace iosapp_def_ {

// How an app is to be launched. The channel carries the value unchanged and does not interpret it: the device side and
// the head-unit apps agree on it. Foreign values pass.
enum AppLaunchMethod : unsigned int {
  APPLAUNCH_WITH_USER_ALERT = 0,  // the device asks its user first
  APPLAUNCH_WITHOUT_ALERT = 1,    // the app opens at once
};

// How a transfer to the device ended. Carried unchanged, foreign values too; LinkAppiOSWrapper counts whatever is not
// SENDRESULT_SUCCESS as a failure.
enum SendResult : unsigned int {
  SENDRESULT_FAILURE = 0,  // not delivered
  SENDRESULT_SUCCESS = 1,  // delivered to the device
};

// Kind of a connection-status message.
enum NotifyType : unsigned int {
  NOTIFYID_APPLAUNCH = 0,        // client: deviceId, appId, launchMethod
  NOTIFYID_CONNECTSTATUS = 1,    // server: deviceId, connectStatus, connectType, iapType
  NOTIFYID_SESSIONSTATUS = 2,    // server: deviceId, appId, status
  NOTIFYID_SENDRESULT = 3,       // server: deviceId, appId, sendResult
  NOTIFYID_BTHFSTATUS = 4,       // server: deviceId, btConnected, btAddress
  NOTIFYID_PLAYBACKAPPINFO = 5,  // server: deviceId, playbackAppName
};

// One flat record for six kinds of message; NotifyType says which fields each kind fills. The others are sent as zero.
struct ConnectStatusNotify {
  std::uint32_t notifyType;     // NotifyType
  std::uint32_t deviceId;       // of the device, as its server was given it
  std::uint32_t appId;          // place in the registration table + 1
  std::uint32_t connectStatus;  // 1 = connected, 0 = disconnected
  std::uint32_t connectType;    // 1 = Bluetooth, any other value = USB
  std::uint32_t iapType;        // 0 = iAP1, else iAP2; exactly 1 = session openings carry app ids
  std::uint32_t status;         // 1 = session opened, 0 = closed; also read for kind 4, which does not fill it
  std::uint32_t sendResult;     // SendResult
  std::uint32_t btConnected;    // 1 = hands-free link up
  std::uint8_t btAddress[6];    // byte 0 first
  char playbackAppName[256];    // cleared, then copied with a bound of 256
  std::uint8_t padding[2];      // never read
  std::uint32_t launchMethod;   // AppLaunchMethod
};

// A device's connection. The values are those of a ConnectStatusNotify.
struct ConnectInfo {
  std::uint32_t deviceId = 0;       // the server puts its own here before it sends
  std::uint32_t connectStatus = 0;  // 1 = connected, 0 = disconnected
  std::uint32_t connectType = 0;    // 1 = Bluetooth, any other value = USB
  std::uint32_t iapType = 0;        // 0 = iAP1, else iAP2
};

// The session between a registered app and its counterpart on a device.
struct SessionInfo {
  std::uint32_t deviceId = 0;  // of the device that the phone app runs on
  std::uint32_t appId = 0;     // place in the registration table + 1; 0 = unknown app
  std::uint32_t status = 0;    // 1 = opened, 0 = closed
};

// A device's hands-free link.
struct BtHfInfo {
  std::uint32_t deviceId = 0;      // the iOS channel's number, not the Bluetooth library's
  std::uint32_t btConnected = 0;   // 1 = link up
  std::uint8_t btAddress[6] = {};  // byte 0 is printed first
};

// The app that plays media now. Every client hears of every device's.
struct PlaybackAppInfo {
  std::uint32_t deviceId = 0;  // of the device that plays
  std::string appName;         // as the device side named it, at most 255 characters on the way
};

// Data of one message. From the server (its notification 1) `data` is an array that the observer owns and releases
// with delete[]; from the client (its notification 2) it belongs to the client and is valid during the call only.
struct CommData {
  std::uint32_t deviceId = 0;    // of the ring that the data came through
  std::string appName;           // empty from the server, the client's own name from the client
  std::uint8_t* data = nullptr;  // whose it is: see above
  std::uint32_t size = 0;        // bytes, 1 to 4096
  std::uint16_t sessionId = 0;   // 0 from the client, and from the server where the app has no open session
};

// How a transfer of one app's data to the device ended.
struct SendResultInfo {
  std::uint32_t deviceId = 0;              // of the device that the data went to
  std::uint32_t appId = 0;                 // 0 from the client
  std::string appName;                     // the client's own name from the client
  SendResult result = SENDRESULT_FAILURE;  // as the device side reported it
};

static_assert(sizeof(ConnectStatusNotify) == 304, "size on the wire");
static_assert(alignof(ConnectStatusNotify) == 4, "lies at byte 4 of its segment");
static_assert(offsetof(ConnectStatusNotify, notifyType) == 0, "layout");
static_assert(offsetof(ConnectStatusNotify, deviceId) == 4, "layout");
static_assert(offsetof(ConnectStatusNotify, appId) == 8, "layout");
static_assert(offsetof(ConnectStatusNotify, connectStatus) == 12, "layout");
static_assert(offsetof(ConnectStatusNotify, connectType) == 16, "layout");
static_assert(offsetof(ConnectStatusNotify, iapType) == 20, "layout");
static_assert(offsetof(ConnectStatusNotify, status) == 24, "layout");
static_assert(offsetof(ConnectStatusNotify, sendResult) == 28, "layout");
static_assert(offsetof(ConnectStatusNotify, btConnected) == 32, "layout");
static_assert(offsetof(ConnectStatusNotify, btAddress) == 36, "layout");
static_assert(offsetof(ConnectStatusNotify, playbackAppName) == 42, "layout");
static_assert(offsetof(ConnectStatusNotify, padding) == 298, "layout");
static_assert(offsetof(ConnectStatusNotify, launchMethod) == 300, "layout");
static_assert(std::is_trivially_copyable<ConnectStatusNotify>::value, "travels as bytes");
static_assert(std::is_standard_layout<ConnectStatusNotify>::value, "offsets are defined");

}  // namespace iosapp_def_

// One message of a data ring.
struct iOSAppCommonDataSlot {
  std::uint8_t data[4096];  // the message; bytes behind `size` are left from former ones
  std::uint32_t size;       // 1..4096; 0 = never written; a larger value, which no writer makes, counts as 0
};

// A ring of 40 messages. There is no read index and no overflow detection: a reader that falls 40 messages behind
// reads overwritten slots. Flow control is the users' business (send results).
struct iOSAppCommonDataList {
  static constexpr std::uint32_t kSlotCount = 40;    // a reader this far behind reads overwritten slots
  static constexpr std::uint32_t kSlotBytes = 4096;  // longest message; longer ones are refused, not split

  iOSAppCommonDataSlot slot[kSlotCount];  // written one after the other, the last is followed by the first
  std::uint32_t writeIndex;               // slot of the next write, 0..39; taken modulo 40. Set to 0, without the lock,
                                          // by every process that constructs the endpoint
};

// Payload of notify identifiers 2 and 3.
struct iOSAppCommonDataNotify {
  std::uint32_t deviceId;   // of the sending endpoint
  std::uint32_t appId;      // the app that sends (identifier 2) or is meant (3)
  std::uint32_t slotIndex;  // slot just written, 0..39
};

// One registered app. A text that fills its field or is longer runs on into the next one; readers read up to the NUL
// or the end of the record.
struct iOSAppInfo {
  std::uint32_t appId;      // index + 1; 0 = invalid
  char iAP1Name[11];        // empty where the app has none
  char appName[128];        // first byte NUL = invalid
  char launchString[128];   // what the device needs to launch the app; empty = it is never launched
  std::uint8_t padding[1];  // not used
};

// The registration table. It only grows; entries are never taken back.
struct iOSAppInfoList {
  static constexpr std::uint32_t kEntryCount = 20;  // a registration beyond it is refused with a log line

  iOSAppInfo entry[kEntryCount];  // in order of registration
  std::uint32_t count;            // entries in use; a reader takes 20 for anything above
};

static_assert(sizeof(iOSAppCommonDataSlot) == 4100 && alignof(iOSAppCommonDataSlot) == 4, "layout");
static_assert(offsetof(iOSAppCommonDataSlot, data) == 0 && offsetof(iOSAppCommonDataSlot, size) == 4096, "layout");
static_assert(sizeof(iOSAppCommonDataList) == 164004 && alignof(iOSAppCommonDataList) == 4, "layout");
static_assert(offsetof(iOSAppCommonDataList, slot) == 0, "layout");
static_assert(offsetof(iOSAppCommonDataList, writeIndex) == 164000, "layout");
static_assert(sizeof(iOSAppCommonDataNotify) == 12 && alignof(iOSAppCommonDataNotify) == 4, "layout");
static_assert(offsetof(iOSAppCommonDataNotify, deviceId) == 0, "layout");
static_assert(offsetof(iOSAppCommonDataNotify, appId) == 4, "layout");
static_assert(offsetof(iOSAppCommonDataNotify, slotIndex) == 8, "layout");
static_assert(sizeof(iOSAppInfo) == 272 && alignof(iOSAppInfo) == 4, "layout");
static_assert(offsetof(iOSAppInfo, appId) == 0, "layout");
static_assert(offsetof(iOSAppInfo, iAP1Name) == 4, "layout");
static_assert(offsetof(iOSAppInfo, appName) == 15, "layout");
static_assert(offsetof(iOSAppInfo, launchString) == 143, "layout");
static_assert(offsetof(iOSAppInfo, padding) == 271, "layout");
static_assert(sizeof(iOSAppInfoList) == 5444 && alignof(iOSAppInfoList) == 4, "layout");
static_assert(offsetof(iOSAppInfoList, entry) == 0 && offsetof(iOSAppInfoList, count) == 5440, "layout");
static_assert(std::is_trivially_copyable<iOSAppCommonDataList>::value, "lies in shared memory");
static_assert(std::is_trivially_copyable<iOSAppInfoList>::value, "lies in shared memory");
static_assert(std::is_trivially_copyable<iOSAppCommonDataNotify>::value, "travels as bytes");

// Hands-free state as the device side reports it to its server.
struct iOSAppExtBluetoothConnectionStatus {
  std::uint8_t btAddress[6] = {};  // byte 0 is printed first
  std::uint32_t flags = 0;         // bit 0 = hands-free link connected; other bits are ignored
};

// The server's notification 0: a client asks to launch an app on the device.
struct iOSAppLaunchRequest {
  std::uint32_t deviceId = 0;  // as the client sent it, not compared with the server's own
  std::uint32_t appId = 0;     // the asking app's place in the registration table + 1
  std::string launchString;    // empty where the app is not in the table
  iosapp_def_::AppLaunchMethod launchMethod = iosapp_def_::APPLAUNCH_WITH_USER_ALERT;  // as the client sent it
};

// The two data endpoints of one device. A plain record: whoever makes a pack owns it and its endpoints.
struct iOSAppMemPack {
  std::uint32_t deviceId = 0;                  // that the two endpoints serve; only 1 has segments
  iOSAppCommonLocalMem* fromHU = nullptr;      // clients write, the server reads
  iOSAppCommonLocalMem* fromDevice = nullptr;  // the server writes, clients read
};

// One registered app as registry and server keep it.
struct LINKAPP_API iOSLinkAppInfo {
  iOSLinkAppInfo();
  // Copies all fields, the session too.
  iOSLinkAppInfo(const iOSLinkAppInfo& other);
  // Copies all fields, the session too.
  iOSLinkAppInfo& operator=(const iOSLinkAppInfo& other);
  virtual ~iOSLinkAppInfo();

  std::uint16_t appId = 0;      // place in the registration table + 1; 0 = the blank entry
  std::string iAP1Name;         // empty where the app has none
  std::string appName;          // never empty but in the blank entry
  std::string launchString;     // empty = the app is never launched
  std::uint16_t sessionId = 0;  // the device's number, set by the server only; 0 = no open session
  std::uint16_t iAP1Id = 0;     // counted by the registry of this process; 0 = none
};

// A table of apps. Index 0 is always one blank entry, so that look-ups by app id 0 meet it and real apps start at 1.
// Whoever touches `list` of a shared instance holds `lock`. A copy takes the list and gets a lock of its own.
struct LINKAPP_API SupportiOSLinkAppInfo {
  SupportiOSLinkAppInfo();
  // Copies the list, without taking the other's lock; the own one is free.
  SupportiOSLinkAppInfo(const SupportiOSLinkAppInfo& other);
  // Copies the list, without taking either lock.
  SupportiOSLinkAppInfo& operator=(const SupportiOSLinkAppInfo& other);
  virtual ~SupportiOSLinkAppInfo();

  mutable VQSync lock;               // guards `list`; a leaf
  std::vector<iOSLinkAppInfo> list;  // the blank entry, then the apps in the order in which they were seen
};
