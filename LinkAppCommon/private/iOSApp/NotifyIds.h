// The numbers of the channel: notify identifiers between processes, and identifiers with their size arguments between
// the objects of one process.
#pragma once

// Cross-process notifier.
constexpr unsigned int kNotifyFromHU = 2;         // iOSAppCommonDataNotify
constexpr unsigned int kNotifyFromDevice = 3;     // iOSAppCommonDataNotify
constexpr unsigned int kNotifyConnectStatus = 4;  // iosapp_def_::ConnectStatusNotify
constexpr unsigned int kNotifyAppInfo = 5;        // 4-byte index of the new entry

// In-process notifications. The sizes are constants of the interface, not sizeof: receivers in the field expect the
// sizes that the records have on the head unit's own 32-bit machine.
constexpr unsigned int kServerLaunchRequest = 0;
constexpr unsigned int kServerLaunchRequestSize = 16;
constexpr unsigned int kServerCommData = 1;

constexpr unsigned int kClientDeviceInfo = 0;
constexpr unsigned int kClientDeviceInfoSize = 32;
constexpr unsigned int kClientSendResult = 1;
constexpr unsigned int kClientSendResultSize = 16;
constexpr unsigned int kClientCommData = 2;
constexpr unsigned int kClientPlaybackAppInfo = 3;
constexpr unsigned int kClientPlaybackAppInfoSize = 8;

constexpr unsigned int kCommDataSize = 20;  // from server and client

constexpr unsigned int kUtilTableChanged = 0;  // no payload

// The one notification type that this system uses.
constexpr unsigned int kNotificationType = 0;
