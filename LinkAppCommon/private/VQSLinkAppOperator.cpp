// Construction, listeners and subscriptions; requests and messages stand in VQSLinkAppOperatorLink.cpp.
#include "LinkAppCommon/VQSLinkAppOperator.h"

#include <utility>

#include "BtAppsAttachment.h"
#include "ListenerSet.h"
#include "LogTags.h"
#include "OperatorLog.h"

unsigned char opeLog_ = 0;

namespace {

constexpr LogTags kLogTags = {"", ""};

void switchDiagnostics(const std::string& name) {
  if (kLogTags.choose(name)) {
    opeLog_ = 1;
  }
}

void logNullListener(const char* function) {
  VQDbgOutput::DbgPrint(kOperatorLogFile, function, 0, 1, "npListener(NULL)!!!\n");
}

}  // namespace

VQSLinkAppOperator::VQSLinkAppOperator(std::string uuid)
    : deviceStatus(nullptr),
      mpBtApps(VQSingleton<VQSBtApps>::getInstance()),
      btObserver(new VQObserver<VQSLinkAppOperator>(this, &VQSLinkAppOperator::onBtAppsUpdate)),
      mpiOSWrapper(nullptr),
      listeners(new LinkAppListenerSet<VQSILinkAppSenderReceiverListener>),
      btAttached(false),
      sppUuid(std::move(uuid)),
      currentDevice(kNoDevice),
      currentIsIos(false),
      btAttachment(new LinkAppAttachment(*mpBtApps, *btObserver)) {
  deviceStatus = new VQSLinkAppDeviceStatus(sppUuid);
  switchDiagnostics(sppUuid);
}

VQSLinkAppOperator::VQSLinkAppOperator(std::string appName, std::string iAP1, std::string launch)
    : deviceStatus(nullptr),
      mpBtApps(nullptr),
      btObserver(nullptr),
      mpiOSWrapper(new LinkAppiOSWrapper(appName, iAP1, launch)),
      listeners(new LinkAppListenerSet<VQSILinkAppSenderReceiverListener>),
      btAttached(false),
      iosAppName(std::move(appName)),
      iAP1Name(std::move(iAP1)),
      launchString(std::move(launch)),
      currentDevice(kNoDevice),
      currentIsIos(true),
      btAttachment(nullptr) {
  deviceStatus = new VQSLinkAppDeviceStatus(mpiOSWrapper, iosAppName);
  switchDiagnostics(iosAppName);
}

VQSLinkAppOperator::VQSLinkAppOperator(std::string uuid, std::string appName, std::string iAP1, std::string launch)
    : deviceStatus(nullptr),
      mpBtApps(VQSingleton<VQSBtApps>::getInstance()),
      btObserver(new VQObserver<VQSLinkAppOperator>(this, &VQSLinkAppOperator::onBtAppsUpdate)),
      mpiOSWrapper(new LinkAppiOSWrapper(appName, iAP1, launch)),
      listeners(new LinkAppListenerSet<VQSILinkAppSenderReceiverListener>),
      btAttached(false),
      sppUuid(std::move(uuid)),
      iosAppName(std::move(appName)),
      iAP1Name(std::move(iAP1)),
      launchString(std::move(launch)),
      currentDevice(kNoDevice),
      currentIsIos(false),
      btAttachment(new LinkAppAttachment(*mpBtApps, *btObserver)) {
  deviceStatus = new VQSLinkAppDeviceStatus(mpiOSWrapper, sppUuid, iosAppName);
  switchDiagnostics(sppUuid);
}

// Callbacks may use the whole operator until they end. Those of the SPP service are waited for first, those of the iOS
// channel by the wrapper's end. The wrapper goes before the device status, which it may be calling.
VQSLinkAppOperator::~VQSLinkAppOperator() {
  btAttached = false;
  if (btObserver != nullptr) {
    leave(mpBtApps, btObserver);
  }
  leave(deviceStatus->btApps, deviceStatus->btObserver);
  delete mpiOSWrapper;
  delete btObserver;
  delete deviceStatus;
  mpBtApps = nullptr;
  delete listeners;
  delete btAttachment;
}

// False for a listener that is there already, unlike LinkAppiOSWrapper: callers depend on both.
bool VQSLinkAppOperator::setListener(VQSILinkAppSenderReceiverListener* listener) {
  if (listener == nullptr) {
    logNullListener("setListener");
    return false;
  }
  return listeners->insert(listener);
}

bool VQSLinkAppOperator::removeListener(VQSILinkAppSenderReceiverListener* listener) {
  if (listener == nullptr) {
    logNullListener("removeListener");
    return false;
  }
  return listeners->erase(listener);
}

bool VQSLinkAppOperator::setStatusListener(VQSLinkAppDeviceStatusListener* listener) {
  if (mpiOSWrapper != nullptr) {
    mpiOSWrapper->setListener(this);
  }
  attachToBtApps();
  deviceStatus->setListener(listener);
  return true;
}

bool VQSLinkAppOperator::removeStatusListener(VQSLinkAppDeviceStatusListener* listener) {
  detachFromBtApps();
  if (mpiOSWrapper != nullptr) {
    mpiOSWrapper->removeListener(this);
  }
  deviceStatus->removeListener(listener);
  return true;
}

void VQSLinkAppOperator::attachToBtApps() {
  if (btAttachment != nullptr) {
    btAttached = true;
    followWish(mpBtApps, *btAttachment, btAttached);
  }
}

void VQSLinkAppOperator::detachFromBtApps() {
  if (btAttachment != nullptr) {
    btAttached = false;
    followWish(mpBtApps, *btAttachment, btAttached);
  }
}
