// Construction, listeners and subscriptions; requests and messages stand in VQSLinkAppOperatorLink.cpp.
#include "LinkAppCommon/VQSLinkAppOperator.h"

#include <utility>

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
      currentIsIos(false) {
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
      currentIsIos(true) {
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
      currentIsIos(false) {
  deviceStatus = new VQSLinkAppDeviceStatus(mpiOSWrapper, sppUuid, iosAppName);
  switchDiagnostics(sppUuid);
}

// The wrapper goes before the device status, which it may be calling.
VQSLinkAppOperator::~VQSLinkAppOperator() {
  detachFromBtApps();
  delete btObserver;
  delete mpiOSWrapper;
  delete deviceStatus;
  mpBtApps = nullptr;
  delete listeners;
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
  if (mpBtApps != nullptr && btObserver != nullptr && !btAttached.exchange(true)) {
    mpBtApps->AddObserver(btObserver);
  }
}

// At exit the SPP service may be gone before the operator.
void VQSLinkAppOperator::detachFromBtApps() {
  if (mpBtApps != nullptr && btObserver != nullptr && btAttached.exchange(false) &&
      VQSingleton<VQSBtApps>::peekInstance() == mpBtApps) {
    mpBtApps->RemoveObserver(btObserver);
  }
}
