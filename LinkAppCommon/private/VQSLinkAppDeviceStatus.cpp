// Construction, subscription and the SPP side; the iOS side stands in VQSLinkAppDeviceStatusiOS.cpp.
#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"

#include <algorithm>
#include <cstdint>

#include "AppleVendor.h"
#include "BtAppsAttachment.h"
#include "ListenerSlot.h"
#include "LogTags.h"

using VQSBtAppsDef::SppInformationImpl;
using VQSBtAppsNtf::SppConnectionState;
using VQSBtAppsNtf::SppInformation;

unsigned char stsLog_ = 0;

namespace {

constexpr LogTags kLogTags = {"", ""};

constexpr std::int32_t kStateConnected = 1;  // SppConnectionState
constexpr std::int32_t kDeviceTypeSpp = 0;
constexpr std::int32_t kStatusGone = 0;
constexpr std::int32_t kStatusPresent = 1;
constexpr std::int32_t kStatusOpen = 2;

LinkAppCommon::ConnectionInfo::DeviceInfo makeSppDeviceInfo() {
  LinkAppCommon::ConnectionInfo::DeviceInfo info;
  info.deviceType = kDeviceTypeSpp;
  info.btSpp.status = kStatusPresent;
  return info;
}

// Counts are 8 bits wide: a list of 256 entries counts as empty, one of 257 as one entry.
std::uint8_t countOf(const std::vector<SppInformationImpl>& entries) {
  return static_cast<std::uint8_t>(entries.size());
}

const SppInformationImpl* entryAt(const std::vector<SppInformationImpl>& entries, std::size_t index) {
  return index < entries.size() ? &entries[index] : nullptr;
}

bool isPresent(const SppInformationImpl* entry) {
  return entry != nullptr && entry->available != 0;
}

// The diagnostic pass: reads the names of the first `count` entries, for a debugger that watches.
void walkNames(const std::vector<SppInformationImpl>& entries, std::size_t count) {
  volatile std::size_t length = 0;
  for (std::size_t i = 0; i < std::min(count, entries.size()); ++i) {
    length = entries[i].deviceName.size();
  }
  static_cast<void>(length);
}

}  // namespace

VQSLinkAppDeviceStatusListener::~VQSLinkAppDeviceStatusListener() = default;

void VQSLinkAppDeviceStatusListener::onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo /*info*/) {}

VQSLinkAppDeviceStatus::VQSLinkAppDeviceStatus(std::string name) : VQSLinkAppDeviceStatus(nullptr, name) {}

VQSLinkAppDeviceStatus::VQSLinkAppDeviceStatus(LinkAppiOSWrapper* iosWrapper, std::string /*uuid*/, std::string name)
    : VQSLinkAppDeviceStatus(iosWrapper, name) {}

VQSLinkAppDeviceStatus::VQSLinkAppDeviceStatus(LinkAppiOSWrapper* iosWrapper, std::string name)
    : listener(new LinkAppListenerSlot<VQSLinkAppDeviceStatusListener>),
      wrapper(iosWrapper),
      btApps(VQSingleton<VQSBtApps>::getInstance()),
      btObserverAdded(false),
      btObserver(new VQObserver<VQSLinkAppDeviceStatus>(this, &VQSLinkAppDeviceStatus::onBtAppsUpdate)),
      unused(new Unused),
      lastSppInfo(new SppInformation),
      lastConnectionState(new SppConnectionState),
      btAttachment(new LinkAppAttachment(*btApps, *btObserver)) {
  if (kLogTags.choose(name)) {
    stsLog_ = 1;
  }
}

VQSLinkAppDeviceStatus::~VQSLinkAppDeviceStatus() {
  btObserverAdded = false;
  leave(btApps, btObserver);
  delete btObserver;
  delete lastSppInfo;
  delete lastConnectionState;
  delete unused;
  wrapper = nullptr;
  btApps = nullptr;
  delete listener;
  delete btAttachment;
}

bool VQSLinkAppDeviceStatus::setListener(VQSLinkAppDeviceStatusListener* newListener) {
  if (wrapper != nullptr) {
    wrapper->setListener(this);
  }
  btObserverAdded = true;
  followWish(btApps, *btAttachment, btObserverAdded);
  listener->set(newListener);
  getBtDeviceInfo();
  return true;
}

bool VQSLinkAppDeviceStatus::removeListener(VQSLinkAppDeviceStatusListener* oldListener) {
  btObserverAdded = false;
  followWish(btApps, *btAttachment, btObserverAdded);
  if (wrapper != nullptr) {
    wrapper->removeListener(this);
  }
  listener->clear(oldListener);
  return true;
}

bool VQSLinkAppDeviceStatus::getBtDeviceInfo() {
  return btApps->getSppInfomation();
}

bool VQSLinkAppDeviceStatus::onBtAppsUpdate(unsigned int id, void* record, unsigned int size) {
  if (record == nullptr || size == 0) {
    return false;
  }
  switch (id) {
    case VQSBtAppsNtf::NOTIFYID_SPPCONNECTIONSTATE:
      analyzeBtAppsConnectionState(record);
      break;
    case VQSBtAppsNtf::NOTIFYID_SPPINFORMATION:
      analyzeBtAppsSppInfo(record, size);
      break;
    default:
      break;
  }
  return false;
}

void VQSLinkAppDeviceStatus::analyzeBtAppsConnectionState(void* record) {
  if (record == nullptr) {
    return;
  }
  const SppConnectionState& notice = *static_cast<const SppConnectionState*>(record);
  DeviceInfo info = makeSppDeviceInfo();
  info.btSpp.uuid = notice.uuid;

  // List and last notice are read anew in every round: a callback may bring the next ones.
  const std::uint8_t count = countOf(lastSppInfo->devices);
  for (std::uint8_t i = 0; i < count; ++i) {
    const SppInformationImpl* const entry = entryAt(lastSppInfo->devices, i);
    if (entry == nullptr) {
      break;
    }
    if (entry->deviceId != notice.deviceId) {
      continue;
    }
    if (isAppleVendor(entry->vendorId)) {
      break;
    }
    // Compared with the last notice of any device: a notice that repeats it is no news.
    const bool isRepeated = notice.state == lastConnectionState->state && notice.uuid == lastConnectionState->uuid;
    if (entry->available == 0 || isRepeated) {
      continue;
    }
    if (notice.state == kStateConnected) {
      info.btSpp.status = kStatusOpen;
    }
    reportPresent(info, *entry);
  }

  lastConnectionState->deviceId = notice.deviceId;
  lastConnectionState->uuid = notice.uuid;
  lastConnectionState->state = notice.state;
}

void VQSLinkAppDeviceStatus::analyzeBtAppsSppInfo(void* record, unsigned int /*size*/) {
  if (record == nullptr || static_cast<const SppInformation*>(record)->errorCode != 0) {
    return;
  }
  const SppInformation& list = *static_cast<const SppInformation*>(record);
  const std::size_t newCount = countOf(list.devices);
  const std::size_t oldCount = countOf(lastSppInfo->devices);
  if (stsLog_ != 0 && newCount > 0) {
    walkNames(list.devices, newCount);
  }

  // One record for all reports of this list: once an entry is gone, entries that follow carry its status 0, too. Users
  // know it so.
  DeviceInfo info = makeSppDeviceInfo();
  for (std::size_t i = 0; i < std::max(oldCount, newCount); ++i) {
    const SppInformationImpl* const entry = entryAt(list.devices, i);
    if (entry != nullptr && isAppleVendor(entry->vendorId)) {
      break;  // what stands behind an Apple device is not compared
    }
    compareSppEntry(info, list, i, std::min(oldCount, newCount));
  }

  lastSppInfo->header = list.header;
  lastSppInfo->devices = list.devices;
  if (stsLog_ != 0 && newCount > 0) {
    walkNames(lastSppInfo->devices, newCount);
  }
}

// Compares by position, whatever the device numbers are.
void VQSLinkAppDeviceStatus::compareSppEntry(DeviceInfo& info, const SppInformation& list, std::size_t index,
                                             std::size_t smallerCount) {
  const SppInformationImpl* const now = entryAt(list.devices, index);
  const SppInformationImpl* const before = entryAt(lastSppInfo->devices, index);
  if (now == nullptr) {
    reportGone(info, before);
    return;
  }
  if (index >= smallerCount) {
    if (now->available != 0) {
      reportPresent(info, *now);
    }
    return;
  }
  if (now->available == 0) {
    reportGone(info, before);
    return;
  }
  const bool isSame = isPresent(before) && before->deviceId == now->deviceId && before->deviceName == now->deviceName &&
                      before->vendorId == now->vendorId;
  if (!isSame) {
    reportPresent(info, *now);
  }
}

// Leaves the status as it is.
void VQSLinkAppDeviceStatus::reportPresent(DeviceInfo& info, const SppInformationImpl& entry) {
  info.deviceId = entry.deviceId;
  info.deviceName = entry.deviceName;
  report(info);
}

void VQSLinkAppDeviceStatus::reportGone(DeviceInfo& info, const SppInformationImpl* entry) {
  if (!isPresent(entry)) {
    return;
  }
  info.btSpp.status = kStatusGone;
  reportPresent(info, *entry);
}

void VQSLinkAppDeviceStatus::report(const DeviceInfo& info) {
  listener->call([&info](VQSLinkAppDeviceStatusListener& target) { target.onDeviceStatus(info); });
}
