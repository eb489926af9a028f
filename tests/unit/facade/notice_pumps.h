// The sources of all notices, each saying everything it has to say again and again on a thread of its own.
#pragma once

#include "any_listener.h"
#include "operator_fixture.h"

// The delivery thread: the device comes and goes, its app's session opens and closes, sends end, media apps change.
inline void tellEverythingOnTheChannel(std::uint32_t appId = 1) {
  iosapp_def_::ConnectStatusNotify result = statusMessage(iosapp_def_::NOTIFYID_SENDRESULT, 1);
  result.appId = appId;
  const iosapp_def_::ConnectStatusNotify messages[] = {
      connectMessage(1, 1, 1, 1),  statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1),
      sessionMessage(1, appId, 1), result,
      sessionMessage(1, appId, 0), connectMessage(1, 0, 1, 1),
  };
  for (const iosapp_def_::ConnectStatusNotify& message : messages) {
    vqfake::post(4, &message, sizeof(message));
    vqfake::deliverAll();
  }
}

inline void tellEverythingOfSpp() {
  vqfake::notifyBtApps(sppList(3, "Phone"));
  vqfake::notifyBtApps(sppState(kUuid, 1, 3));
  vqfake::notifyBtApps(sppData(kUuid, {0xAA}));
  vqfake::notifyBtApps(sppResult(kUuid, true));
  vqfake::notifyBtApps(sppState(kUuid, 0, 3));
  vqfake::notifyBtApps(VQSBtAppsNtf::SppInformation());
}

inline void tellEverythingOfTheManager() {
  VQSBtMgrDef::PairedDeviceList list;
  list.devices.push_back({"", "", 0x00E0, 40});
  list.devices.push_back({"", "", 0x05AC, 41});
  vqfake::notifyBtManager(VQSBtMgrDef::PairedListFreeze());
  vqfake::notifyBtManager(list);
  for (const std::uint32_t state : {3U, 0U}) {
    for (const std::uint8_t deviceId : {std::uint8_t{40}, std::uint8_t{41}}) {
      VQSBtMgrDef::HfpConnection event;
      event.deviceId = deviceId;
      event.profile = 1;
      event.state = state;
      vqfake::notifyBtManager(event);
    }
  }
}
