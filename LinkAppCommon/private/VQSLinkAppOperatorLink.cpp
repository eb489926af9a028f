// Requests, messages, and the choice of the link that messages take.
#include <cstdio>

#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "ListenerSet.h"
#include "OperatorLog.h"
#include "VQFramework/Sync/VQSyncGuard.h"

using VQSBtAppsNtf::SppDataSendResult;
using VQSBtAppsNtf::SppReceivedData;

namespace {

void logNoBtApps(const char* function) {
  VQDbgOutput::DbgPrint(kOperatorLogFile, function, 0, 1, "mpBtApps(NULL)!!!\n");
}

// For a debugger that watches; nobody prints it.
std::string hexText(const unsigned char* data, unsigned int size) {
  std::string text;
  for (unsigned int i = 0; data != nullptr && i < size; ++i) {
    char byte[4] = "";
    snprintf(byte, sizeof(byte), "%02X ", data[i]);
    text += byte;
  }
  return text;
}

// Only an operator that has a name hears, and only what carries that name.
bool isOwn(const std::string& name, const std::string& ownName) {
  return name == ownName && !ownName.empty();
}

}  // namespace

bool VQSLinkAppOperator::requestSppConnect(unsigned char deviceId) {
  if (mpBtApps == nullptr) {
    logNoBtApps("requestSppConnect");
    return false;
  }
  const bool isRegistered = registerOwnUuid();
  const bool isAccepted = mpBtApps->connectSpp(deviceId, sppUuid);  // also where the UUID was refused
  if (!isRegistered || !isAccepted) {
    return false;
  }
  useLink({deviceId, false});
  return true;
}

bool VQSLinkAppOperator::requestSppAutoConnectStart(unsigned char deviceId) {
  if (mpBtApps == nullptr) {
    logNoBtApps("requestSppAutoConnectStart");
    return false;
  }
  const bool isRegistered = registerOwnUuid();
  const bool isAccepted = mpBtApps->startAutoConnectSpp(deviceId, sppUuid);
  if (!isRegistered || !isAccepted) {
    return false;
  }
  useLink({deviceId, false});
  return true;
}

bool VQSLinkAppOperator::requestSppDisconnect(unsigned char deviceId) {
  if (mpBtApps == nullptr) {
    logNoBtApps("requestSppDisconnect");
    return false;
  }
  const bool isUnregistered = unregisterOwnUuid();
  const bool isAccepted = mpBtApps->disconnectSpp(deviceId, sppUuid);
  if (!isUnregistered || !isAccepted) {
    return false;
  }
  forgetSppLink();
  return true;
}

bool VQSLinkAppOperator::requestSppAutoConnectStop(unsigned char deviceId) {
  if (mpBtApps == nullptr) {
    logNoBtApps("requestSppAutoConnectStop");
    return false;
  }
  const bool isUnregistered = unregisterOwnUuid();
  const bool isAccepted = mpBtApps->stopAutoConnectSpp(deviceId, sppUuid);
  if (!isUnregistered || !isAccepted) {
    return false;
  }
  forgetSppLink();
  return true;
}

bool VQSLinkAppOperator::registerStandby() {
  return mpBtApps != nullptr && mpBtApps->registerWaitUuid({sppUuid});
}

bool VQSLinkAppOperator::requestiOSLaunch(unsigned char deviceId, IOSAppLaunchMethod method) {
  if (mpiOSWrapper == nullptr) {
    VQDbgOutput::DbgPrint(kOperatorLogFile, "requestiOSLaunch", 0, 1, "mpiOSWrapper(NULL)!!!\n");
    return false;
  }
  const bool isWithoutAlert = method == IOSAPPLAUNCHMETHOD_WITHOUT_ALERT;
  if (mpiOSWrapper->requestLaunch(deviceId, isWithoutAlert ? LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT
                                                           : LinkAppiOSWrapper::APPLAUNCHMETHOD_WITH_USER_ALERT) == 0) {
    return false;
  }
  useLink({deviceId, true});
  return true;
}

bool VQSLinkAppOperator::requestMsgSend(const unsigned char* data, unsigned int size) {
  if (opeLog_ != 0) {
    hexText(data, size);
  }
  const Link link = linkInUse();
  if (link.device == kNoDevice) {
    return false;
  }
  if (link.isIos) {
    // The iOS client sends to the device of its last launch, whatever the number here.
    return mpiOSWrapper != nullptr && mpiOSWrapper->requestSendData(data, size) != 0;
  }
  return mpBtApps != nullptr && mpBtApps->sendData(link.device, sppUuid, data, size);
}

unsigned int VQSLinkAppOperator::onBtAppsUpdate(unsigned int id, void* data, unsigned int size) {
  if (data == nullptr || size == 0) {
    return 0;
  }
  if (id == VQSBtAppsNtf::NOTIFYID_SPPDATASENDRESULT) {
    const SppDataSendResult notice = *static_cast<const SppDataSendResult*>(data);
    if (isOwn(notice.uuid, sppUuid)) {
      tellSendResult(notice.result ? 0 : 1);
    }
  } else if (id == VQSBtAppsNtf::NOTIFYID_SPPRECEIVEDDATA) {
    const SppReceivedData notice = *static_cast<const SppReceivedData*>(data);
    if (isOwn(notice.uuid, sppUuid)) {
      tellReceivedMsg(notice.data.getBuffer(), notice.data.getSize());
    }
  }
  return 0;
}

void VQSLinkAppOperator::oniOSClientSendResult(void* result) {
  if (result == nullptr) {
    return;
  }
  const auto& record = *static_cast<const LinkAppiOSWrapperListener::SendResult*>(result);
  if (isOwn(record.uuid, iosAppName)) {
    tellSendResult(record.result == 0 ? 0 : 1);
  }
}

void VQSLinkAppOperator::oniOSClientReceivedMsg(void* msg) {
  if (msg == nullptr) {
    return;
  }
  const auto& record = *static_cast<const LinkAppiOSWrapperListener::ReceivedMsg*>(msg);
  if (isOwn(record.uuid, iosAppName)) {
    tellReceivedMsg(record.data, record.size);
  }
}

bool VQSLinkAppOperator::registerOwnUuid() {
  return mpBtApps->isRegisteredUuid(sppUuid) || mpBtApps->registerUuid(sppUuid);
}

bool VQSLinkAppOperator::unregisterOwnUuid() {
  return !mpBtApps->isRegisteredUuid(sppUuid) || mpBtApps->unregisterUuid(sppUuid);
}

void VQSLinkAppOperator::useLink(Link link) {
  VQSyncGuard guard(linkLock);
  currentDevice = link.device;
  currentIsIos = link.isIos;
}

VQSLinkAppOperator::Link VQSLinkAppOperator::linkInUse() {
  VQSyncGuard guard(linkLock);
  return {currentDevice, currentIsIos};
}

// An iOS link in use outlives the end of an SPP link.
void VQSLinkAppOperator::forgetSppLink() {
  VQSyncGuard guard(linkLock);
  if (!currentIsIos) {
    currentDevice = kNoDevice;
  }
}

void VQSLinkAppOperator::tellSendResult(unsigned int failed) {
  listeners->callEach([failed](VQSILinkAppSenderReceiverListener& listener) { listener.onSendResult(failed); });
}

void VQSLinkAppOperator::tellReceivedMsg(const unsigned char* data, unsigned int size) {
  listeners->callEach(
      [data, size](VQSILinkAppSenderReceiverListener& listener) { listener.onReceivedMsg(data, size); });
}
