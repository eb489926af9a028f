// What is true on the head unit's own machine: 32-bit ARM, and the C++ library's original std::string, which is one
// pointer to counted characters. The size arguments of the notifications, constants everywhere, are sizes of the
// records there; receivers in the field rely on it. Elsewhere this file is empty.

#include <string>

#if defined(__arm__) && !_GLIBCXX_USE_CXX11_ABI

#include <cstddef>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "LinkAppCommon/private/iOSApp/NotifyIds.h"
#include "VQBluetooth/VQSBtMgrDef.h"

static_assert(sizeof(std::string) == 4, "the original std::string");

static_assert(sizeof(iOSAppCommonClient::DeviceInfo) == 32, "size on the head unit");
static_assert(sizeof(iOSAppCommonClient::DeviceInfo) == kClientDeviceInfoSize, "size argument");
static_assert(sizeof(iOSAppLaunchRequest) == 16, "size on the head unit");
static_assert(sizeof(iOSAppLaunchRequest) == kServerLaunchRequestSize, "size argument");
static_assert(sizeof(iosapp_def_::CommData) == 20, "size on the head unit");
static_assert(sizeof(iosapp_def_::CommData) == kCommDataSize, "size argument");
static_assert(sizeof(iosapp_def_::PlaybackAppInfo) == 8, "size on the head unit");
static_assert(sizeof(iosapp_def_::PlaybackAppInfo) == kClientPlaybackAppInfoSize, "size argument");
static_assert(sizeof(iosapp_def_::SendResultInfo) == 16, "size on the head unit");
static_assert(sizeof(iosapp_def_::SendResultInfo) == kClientSendResultSize, "size argument");

// A size says nothing of two fields that have changed places.
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, btAddress) == 4, "place on the head unit");
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, btSppStatus) == 8, "place on the head unit");
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, btSppName) == 12, "place on the head unit");
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, usbStatus) == 16, "place on the head unit");
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, usbName) == 20, "place on the head unit");
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, iapVersion) == 24, "place on the head unit");
static_assert(offsetof(iOSAppCommonClient::DeviceInfo, hfpConnected) == 28, "place on the head unit");
static_assert(offsetof(iosapp_def_::CommData, appName) == 4, "place on the head unit");
static_assert(offsetof(iosapp_def_::CommData, data) == 8, "place on the head unit");
static_assert(offsetof(iosapp_def_::CommData, size) == 12, "place on the head unit");
static_assert(offsetof(iosapp_def_::CommData, sessionId) == 16, "place on the head unit");
static_assert(offsetof(iosapp_def_::PlaybackAppInfo, appName) == 4, "place on the head unit");
static_assert(offsetof(iosapp_def_::SendResultInfo, appId) == 4, "place on the head unit");
static_assert(offsetof(iosapp_def_::SendResultInfo, appName) == 8, "place on the head unit");
static_assert(offsetof(iosapp_def_::SendResultInfo, result) == 12, "place on the head unit");
static_assert(offsetof(iOSAppLaunchRequest, appId) == 4, "place on the head unit");
static_assert(offsetof(iOSAppLaunchRequest, launchString) == 8, "place on the head unit");
static_assert(offsetof(iOSAppLaunchRequest, launchMethod) == 12, "place on the head unit");

static_assert(offsetof(VQSBtMgrDef::HfpConnection, deviceId) == 4, "place on the head unit");
static_assert(offsetof(VQSBtMgrDef::HfpConnection, profile) == 8, "place on the head unit");
static_assert(offsetof(VQSBtMgrDef::HfpConnection, state) == 12, "place on the head unit");
static_assert(offsetof(VQSBtMgrDef::PairedListFreeze, frozen) == 4, "place on the head unit");
static_assert(offsetof(VQSBtMgrDef::PairedDeviceList, devices) == 4, "place on the head unit");

#endif
