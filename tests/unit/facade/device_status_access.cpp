#include "device_status_access.h"

namespace {

// An explicit instantiation may name private members: each one here hands its member's address to a function that is
// found by its tag.
template <class Tag, typename Tag::Member kMember>
struct Opened {
  friend typename Tag::Member memberOf(Tag /*tag*/) { return kMember; }
};

struct Devices {
  using Member = std::vector<VQSLinkAppDeviceStatus::DeviceInfo> VQSLinkAppDeviceStatus::*;
  friend Member memberOf(Devices tag);
};

struct LastSppInfo {
  using Member = VQSBtAppsNtf::SppInformation* VQSLinkAppDeviceStatus::*;
  friend Member memberOf(LastSppInfo tag);
};

struct LastConnectionState {
  using Member = VQSBtAppsNtf::SppConnectionState* VQSLinkAppDeviceStatus::*;
  friend Member memberOf(LastConnectionState tag);
};

template struct Opened<Devices, &VQSLinkAppDeviceStatus::devices>;
template struct Opened<LastSppInfo, &VQSLinkAppDeviceStatus::lastSppInfo>;
template struct Opened<LastConnectionState, &VQSLinkAppDeviceStatus::lastConnectionState>;

}  // namespace

namespace device_status_access {

const std::vector<VQSLinkAppDeviceStatus::DeviceInfo>& devices(const VQSLinkAppDeviceStatus& object) {
  return object.*memberOf(Devices());
}

const VQSBtAppsNtf::SppInformation& lastSppInfo(const VQSLinkAppDeviceStatus& object) {
  return *(object.*memberOf(LastSppInfo()));
}

const VQSBtAppsNtf::SppConnectionState& lastConnectionState(const VQSLinkAppDeviceStatus& object) {
  return *(object.*memberOf(LastConnectionState()));
}

}  // namespace device_status_access
