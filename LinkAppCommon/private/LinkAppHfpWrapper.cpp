// Construction, subscription and what comes over the iOS channel; the judges stand in LinkAppHfpWrapperJudge.cpp.
#include "LinkAppCommon/LinkAppHfpWrapper.h"

#include <algorithm>

#include "AppleVendor.h"
#include "HfpValues.h"
#include "ListenerLog.h"
#include "ListenerSlot.h"
#include "VQFramework/Sync/VQSyncGuard.h"

using VQSBtMgrDef::HfpConnection;
using VQSBtMgrDef::PairedDevice;
using VQSBtMgrDef::PairedDeviceList;
using VQSBtMgrDef::PairedListFreeze;

namespace {

constexpr const char* kLogFile = "LinkAppCommon/private/LinkAppHfpWrapper";

constexpr unsigned int kClientDeviceInfo = 0;  // notification of the client
constexpr std::uint32_t kClientHfpConnected = 1;
constexpr std::uint32_t kProfileHandsFree = 1;
constexpr std::uint32_t kStateConnected = 3;

}  // namespace

LinkAppHfpWrapperListener::~LinkAppHfpWrapperListener() = default;

void LinkAppHfpWrapperListener::onHfpStatus(HfpStatus /*status*/) {}

LinkAppHfpWrapper::LinkAppHfpWrapper()
    : client(new iOSAppCommonClient("", "", "")),
      btManager(VQSBtManager::getInstance()),
      clientObserver(new VQObserver<LinkAppHfpWrapper>(this, &LinkAppHfpWrapper::oniOSClientUpdate)),
      btMgrObserver(new VQObserver<LinkAppHfpWrapper>(this, &LinkAppHfpWrapper::onBtMgrUpdate)),
      listener(new LinkAppListenerSlot<LinkAppHfpWrapperListener>),
      lock(new VQSync),
      pairedListFrozen(false),
      iosSppStatus{kAppleDevice, kNoDevice, false},
      lastIosReport{kAppleDevice, kNoDevice, false} {}

// The observers leave their subjects by themselves and wait for running calls; what their handlers use goes after them.
LinkAppHfpWrapper::~LinkAppHfpWrapper() {
  delete client;
  delete clientObserver;
  delete btMgrObserver;
  delete lock;
  delete listener;
}

bool LinkAppHfpWrapper::setListener(LinkAppHfpWrapperListener* newListener) {
  if (newListener == nullptr) {
    logNullListener(kLogFile, 0);
    return false;
  }
  listener->set(newListener);
  client->AddObserver(clientObserver);
  btManager->AddObserver(btMgrObserver);
  return true;
}

// False also when it did what it was asked for: callers never relied on the result.
bool LinkAppHfpWrapper::removeListener(LinkAppHfpWrapperListener* oldListener) {
  if (!listener->holds(oldListener)) {
    logForeignListener(kLogFile, 0);
    return false;
  }
  client->RemoveObserver(clientObserver);
  btManager->RemoveObserver(btMgrObserver);
  listener->clear(oldListener);
  return false;
}

unsigned int LinkAppHfpWrapper::onBtMgrUpdate(unsigned int id, void* data, unsigned int size) {
  if (data == nullptr || size == 0) {
    return 0;
  }
  switch (id) {
    case VQSBtMgrDef::NOTIFYID_HFPCONNECTION:
      onHfpConnection(*static_cast<const HfpConnection*>(data));
      break;
    case VQSBtMgrDef::NOTIFYID_PAIREDLISTFREEZE:
      pairedListFrozen = static_cast<const PairedListFreeze*>(data)->frozen != 0;
      break;
    case VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST:
      onPairedDevices(static_cast<const PairedDeviceList*>(data)->devices);
      break;
    default:
      break;
  }
  return 0;
}

void LinkAppHfpWrapper::onHfpConnection(const HfpConnection& event) {
  if (event.profile != kProfileHandsFree) {
    return;
  }
  const bool isConnected = event.state == kStateConnected;
  HfpStatus* const known = findStatus(hfpConnList, event.deviceId);
  if (known != nullptr) {
    known->connected = isConnected;
  } else {
    hfpConnList.push_back({event.profile, event.deviceId, isConnected});
  }
  judgeHfpStatusNotifiable();
}

void LinkAppHfpWrapper::onPairedDevices(const std::vector<PairedDevice>& pairedDevices) {
  if (pairedListFrozen) {
    return;
  }
  pairedList.clear();
  for (const PairedDevice& device : pairedDevices) {
    const std::uint32_t kind = isAppleVendor(device.vendorId) ? kAppleDevice : kOtherDevice;
    pairedList.push_back({kind, device.deviceId, false});
  }
  judgeHfpStatusNotifiable();
}

unsigned int LinkAppHfpWrapper::oniOSClientUpdate(unsigned int id, void* data, unsigned int size) {
  if (id != kClientDeviceInfo || data == nullptr || size == 0) {
    return 0;
  }
  const auto& info = *static_cast<const iOSAppCommonClient::DeviceInfo*>(data);
  // Only this thread changes iosSppStatus, so it reads without the lock.
  if (iosSppStatus.deviceId != kNoDevice) {
    onLinkedDeviceInfo(info);
  } else if (info.btSppStatus != 0) {
    linkSppDevice(info.deviceId);
  } else {
    onOtherDeviceInfo({kAppleDevice, info.deviceId, info.hfpConnected == kClientHfpConnected});
  }
  return 0;
}

// An iPhone is linked over SPP: it alone counts, until its link goes down.
void LinkAppHfpWrapper::onLinkedDeviceInfo(const iOSAppCommonClient::DeviceInfo& info) {
  if (info.deviceId != iosSppStatus.deviceId) {
    VQDbgOutput::DbgPrint(kLogFile, "oniOSClientUpdate", 0, 1,
                          "[iOS_HFP]Multiple iOS-SPP Devices are unsupported!!!!!\n");
    return;
  }
  if (info.btSppStatus != 0) {
    return;
  }
  {
    VQSyncGuard guard(*lock);
    iosSppStatus.connected = false;
  }
  // The report that it is gone carries its number, so that is cleared afterwards.
  judgeiOSBtHfpStatusNotifiable();
  VQSyncGuard guard(*lock);
  iosSppStatus.deviceId = kNoDevice;
}

void LinkAppHfpWrapper::linkSppDevice(std::uint8_t deviceId) {
  {
    VQSyncGuard guard(*lock);
    iosSppStatus.connected = true;
    iosSppStatus.deviceId = deviceId;
  }
  judgeiOSBtHfpStatusNotifiable();
}

// The list holds the devices that are reported as connected. A callback may change it, so it is searched anew after
// one.
void LinkAppHfpWrapper::onOtherDeviceInfo(const HfpStatus& status) {
  const bool wasConnected = findStatus(iosHfpList, status.deviceId) != nullptr;
  if (status.connected == wasConnected) {
    return;
  }
  report(status);
  if (!status.connected) {
    const auto gone = std::find_if(iosHfpList.begin(), iosHfpList.end(), isDevice(status.deviceId));
    if (gone != iosHfpList.end()) {
      iosHfpList.erase(gone);
    }
  } else {
    iosHfpList.push_back(status);
  }
}

void LinkAppHfpWrapper::report(const HfpStatus& status) {
  listener->call([&status](LinkAppHfpWrapperListener& target) { target.onHfpStatus(status); });
}
