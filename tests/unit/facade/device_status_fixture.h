// What the tests of VQSLinkAppDeviceStatus share: a clean start, notices and records, reports as lines of text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "device_status_access.h"
#include "operator_events.h"
#include "platform/fake/FakeBluetooth.h"
#include "wrapper_fixture.h"

using DeviceInfo = LinkAppCommon::ConnectionInfo::DeviceInfo;
using IosRecord = LinkAppiOSWrapperListener::DeviceInfo;
using SppEntry = VQSBtAppsDef::SppInformationImpl;
using VQSBtAppsNtf::SppConnectionState;
using VQSBtAppsNtf::SppInformation;

constexpr std::uint16_t kSomeVendor = 0x00E0;
constexpr std::uint16_t kAppleVendors[] = {0x05AC, 0x004C};
constexpr const char* kService = "0000abcd-0000-1000-8000-00805f9b34fb";
constexpr const char* kOtherService = "00001234-0000-1000-8000-00805f9b34fb";

inline SppEntry entry(std::uint8_t deviceId, const std::string& deviceName, std::uint16_t vendorId = kSomeVendor,
                      std::uint8_t available = 1) {
  SppEntry made;
  made.deviceId = deviceId;
  made.btAddress = "00:11:22:33:44:55";
  made.deviceName = deviceName;
  made.vendorId = vendorId;
  made.available = available;
  return made;
}

inline SppEntry unavailable(std::uint8_t deviceId, const std::string& deviceName) {
  return entry(deviceId, deviceName, kSomeVendor, 0);
}

inline SppInformation listOf(std::vector<SppEntry> devices) {
  SppInformation list;
  list.devices = std::move(devices);
  return list;
}

inline SppConnectionState connection(std::uint8_t deviceId, std::int32_t state, const std::string& uuid = kService) {
  SppConnectionState notice;
  notice.deviceId = deviceId;
  notice.uuid = uuid;
  notice.state = state;
  return notice;
}

// A device of the iOS side, with a name for each link.
inline IosRecord iosRecord(std::uint8_t deviceId, std::uint32_t btSppStatus, std::uint32_t usbStatus,
                           std::uint32_t iapVersion = 1) {
  IosRecord record;
  record.deviceId = deviceId;
  record.btAddress = "66:77:88:99:aa:bb";
  record.btSppStatus = btSppStatus;
  record.btSppName = "SppApp";
  record.usbStatus = usbStatus;
  record.usbName = "UsbApp";
  record.iapVersion = iapVersion;
  return record;
}

// The reports that they lead to, as StatusEvents keeps them.
inline std::string sppReport(unsigned int deviceId, const std::string& deviceName, int status,
                             const std::string& uuid = "") {
  return "type 0 id " + std::to_string(deviceId) + " [" + deviceName + "] spp " + std::to_string(status) + " [" + uuid +
         "] [] usb 0 [] [] iap 0";
}

inline std::string iosReport(unsigned int deviceId, int sppStatus, int usbStatus, int iapVersion = 1,
                             const std::string& sppName = "", const std::string& usbName = "") {
  return "type 1 id " + std::to_string(deviceId) + " [] spp " + std::to_string(sppStatus) + " [] [" + sppName +
         "] usb " + std::to_string(usbStatus) + " [] [" + usbName + "] iap " + std::to_string(iapVersion);
}

// The fields of the SPP service's entries that are carried or read.
inline std::string describe(const SppEntry& item) {
  return std::to_string(item.deviceId) + " " + item.btAddress + " [" + item.deviceName + "] vendor " +
         std::to_string(item.vendorId) + " available " + std::to_string(item.available);
}

inline std::string describe(const SppConnectionState& notice) {
  return std::to_string(notice.deviceId) + " [" + notice.uuid + "] " + std::to_string(notice.state);
}

template <class Record>
Lines describeAll(const std::vector<Record>& records) {
  Lines lines;
  for (const Record& record : records) {
    lines.push_back(describe(record));
  }
  return lines;
}

// No wrapper and a listener that is set; what setListener asked for is forgotten.
class DeviceStatusTest : public ChannelTest {
 public:
  void SetUp() override {
    ChannelTest::SetUp();
    vqfake::resetBluetooth();
    sut.emplace("Radio");
    sut->setListener(&events);
    vqfake::clearBtCalls();
  }

  // The SPP service lives until the process exits; here every test starts without one. This class never logs.
  void TearDown() override {
    sut.reset();
    EXPECT_THAT(vqfake::log(), testing::IsEmpty());
    stsLog_ = 0;
    vqfake::resetBluetooth();
    VQSingleton<VQSBtApps>::destroy();
    ChannelTest::TearDown();
  }

  // What the listener is told of a notice or record.
  Lines after(const SppInformation& list) {
    vqfake::notifyBtApps(list);
    return events.take();
  }
  Lines after(const SppConnectionState& notice) {
    vqfake::notifyBtApps(notice);
    return events.take();
  }
  Lines after(IosRecord record) {
    sut->oniOSClientDeviceInfo(&record);
    return events.take();
  }

  // Brings the object into a state, whatever the listener is told on the way.
  template <class Notice>
  void given(const Notice& notice) {
    after(notice);
  }

  Lines storedList() const { return describeAll(device_status_access::lastSppInfo(*sut).devices); }
  std::string storedNotice() const { return describe(device_status_access::lastConnectionState(*sut)); }
  Lines storedDevices() const { return describeAll(device_status_access::devices(*sut)); }

  StatusEvents events;
  std::optional<VQSLinkAppDeviceStatus> sut;  // so that its address can be named when it is gone
};
