// The two judges: what of the collected states is to be reported.
//
// Lists are walked by index and searched anew after a callback: whatever a listener sets off, nothing dangles.
#include <algorithm>
#include <cstddef>

#include "HfpValues.h"
#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "SysDataFactory.h"
#include "VQFramework/Sync/VQSyncGuard.h"

namespace {

// Compared as 8 bits: that is how wide device numbers are.
bool isLinkAppDevice(std::uint8_t deviceId) {
  return static_cast<std::uint8_t>(VQSingleton<SysDataBtSetting>::getInstance()->getLinkAppDevice()) == deviceId;
}

}  // namespace

void LinkAppHfpWrapper::judgeHfpStatusNotifiable() {
  std::vector<HfpStatus> connections;  // of the paired devices that are not Apple's
  for (std::size_t i = 0; i < pairedList.size(); ++i) {
    const HfpStatus* const event = findStatus(hfpConnList, pairedList[i].deviceId);
    if (event == nullptr) {
      continue;
    }
    if (pairedList[i].deviceKind == kAppleDevice) {
      judgeAppleDevice(HfpStatus(*event));
    } else {
      pairedList[i].connected = event->connected;
      connections.push_back(pairedList[i]);
    }
  }
  reportConnections(connections);
  reportDisconnections(connections);
}

// An Apple device is a candidate for the iPhone that is linked over SPP; what becomes of it, the other judge decides.
void LinkAppHfpWrapper::judgeAppleDevice(const HfpStatus& event) {
  {
    VQSyncGuard guard(*lock);
    HfpStatus* const known = findStatus(iosBtHfpList, event.deviceId);
    if (known != nullptr && known->connected == event.connected) {
      return;
    }
    if (known != nullptr) {
      known->connected = event.connected;
    } else {
      iosBtHfpList.push_back({0, event.deviceId, event.connected});
    }
  }
  judgeiOSBtHfpStatusNotifiable();
}

void LinkAppHfpWrapper::reportConnections(const std::vector<HfpStatus>& connections) {
  for (const HfpStatus& connection : connections) {
    const HfpStatus* const reported = findStatus(reportedList, connection.deviceId);
    const bool isReported = reported != nullptr;
    if (isReported ? reported->connected == connection.connected : !connection.connected) {
      continue;
    }
    report(connection);
    if (HfpStatus* const entry = findStatus(reportedList, connection.deviceId)) {
      entry->connected = connection.connected;
    } else {
      reportedList.push_back(connection);
    }
  }
}

// A device that was reported and is not paired any more is gone.
void LinkAppHfpWrapper::reportDisconnections(const std::vector<HfpStatus>& connections) {
  for (std::size_t i = 0; i < reportedList.size(); ++i) {
    HfpStatus& reported = reportedList[i];
    const bool isPaired = std::any_of(connections.begin(), connections.end(), isDevice(reported.deviceId));
    if (!isPaired && reported.connected) {
      reported.connected = false;
      report(HfpStatus(reported));
    }
  }
}

void LinkAppHfpWrapper::judgeiOSBtHfpStatusNotifiable() {
  VQSyncGuard guard(*lock);
  for (std::size_t i = 0; i < iosBtHfpList.size(); ++i) {
    const HfpStatus candidate = iosBtHfpList[i];
    if (isCandidate(candidate)) {
      if (isLinkAppDevice(candidate.deviceId) && !lastIosReport.connected) {
        reportSppDevice(true);
        return;
      }
    } else if (lastIosReport.connected) {
      reportSppDevice(false);
      return;
    }
  }
}

bool LinkAppHfpWrapper::isCandidate(const HfpStatus& status) {
  return iosSppStatus.connected && status.connected && iosSppStatus.deviceId < kNoDevice && status.deviceId < kNoDevice;
}

// The number that is reported is the iOS device's, not the Bluetooth manager's of the entry that decided.
void LinkAppHfpWrapper::reportSppDevice(bool connected) {
  report({kAppleDevice, iosSppStatus.deviceId, connected});
  lastIosReport = {kAppleDevice, iosSppStatus.deviceId, connected};
}
