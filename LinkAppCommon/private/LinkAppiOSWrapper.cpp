#include "LinkAppCommon/LinkAppiOSWrapper.h"

#include "Attachment.h"
#include "ListenerSet.h"
#include "LogTags.h"
#include "VQFramework/Debug/VQDbgOutput.h"

unsigned char wrapLog_ = 0;

namespace {

constexpr const char* kLogFile = "LinkAppCommon/private/LinkAppiOSWrapper";
constexpr LogTags kLogTags = {"", ""};

// What the client notifies.
constexpr unsigned int kDeviceInfo = 0;
constexpr unsigned int kSendResult = 1;
constexpr unsigned int kReceivedData = 2;

// 1 and 2 pass, everything else counts as 0.
std::uint32_t oneOrTwo(std::uint32_t value) {
  return value == 1 || value == 2 ? value : 0;
}

// One place for the text: setListener and removeListener refuse null alike.
void logNullListener(const char* function) {
  VQDbgOutput::DbgPrint(kLogFile, function, 0, 1, "ListenerPointerIsNull!!!!\n");
}

}  // namespace

LinkAppiOSWrapperListener::~LinkAppiOSWrapperListener() = default;

void LinkAppiOSWrapperListener::oniOSClientDeviceInfo(void* /*info*/) {}

void LinkAppiOSWrapperListener::oniOSClientSendResult(void* /*result*/) {}

void LinkAppiOSWrapperListener::oniOSClientReceivedMsg(void* /*msg*/) {}

// The client takes the first two names in the other order.
LinkAppiOSWrapper::LinkAppiOSWrapper(std::string appName, std::string iAP1Name, std::string launchString)
    : client(new iOSAppCommonClient(iAP1Name, appName, launchString)),
      observer(new VQObserver<LinkAppiOSWrapper>(this, &LinkAppiOSWrapper::oniOSClientUpdate)),
      listeners(new LinkAppListenerSet<LinkAppiOSWrapperListener>),
      attachment(new LinkAppAttachment(*client, *observer)) {
  if (kLogTags.choose(appName)) {
    wrapLog_ = 1;
  }
}

LinkAppiOSWrapper::~LinkAppiOSWrapper() {
  delete observer;
  observer = nullptr;
  delete client;
  client = nullptr;
  delete attachment;
  delete listeners;
}

bool LinkAppiOSWrapper::setListener(LinkAppiOSWrapperListener* listener) {
  if (listener == nullptr) {
    logNullListener("setListener");
    return false;
  }
  if (listeners->insert(listener)) {
    attachment->follow([this] { return !listeners->isEmpty(); });
  }
  return true;
}

bool LinkAppiOSWrapper::removeListener(LinkAppiOSWrapperListener* listener) {
  if (listener == nullptr) {
    logNullListener("removeListener");
    return false;
  }
  if (!listeners->erase(listener)) {
    return false;
  }
  attachment->follow([this] { return !listeners->isEmpty(); });
  return true;
}

unsigned int LinkAppiOSWrapper::requestLaunch(unsigned char deviceId, AppLaunchMethod method) {
  const bool isWithoutAlert = method == APPLAUNCHMETHOD_WITHOUT_ALERT;
  return client->launch(deviceId,
                        isWithoutAlert ? iosapp_def_::APPLAUNCH_WITHOUT_ALERT : iosapp_def_::APPLAUNCH_WITH_USER_ALERT);
}

unsigned int LinkAppiOSWrapper::requestSendData(const unsigned char* data, unsigned int size) {
  return client->sendDataFromHU(data, size);
}

unsigned int LinkAppiOSWrapper::oniOSClientUpdate(unsigned int id, void* data, unsigned int size) {
  if (size == 0 || data == nullptr) {
    return 0;
  }
  switch (id) {
    case kDeviceInfo:
      onDeviceInfo(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data));
      break;
    case kSendResult:
      onSendResult(*static_cast<const iosapp_def_::SendResultInfo*>(data));
      break;
    case kReceivedData:
      onReceivedData(*static_cast<const iosapp_def_::CommData*>(data));
      break;
    default:
      break;
  }
  return 0;
}

void LinkAppiOSWrapper::onDeviceInfo(const iOSAppCommonClient::DeviceInfo& info) {
  LinkAppiOSWrapperListener::DeviceInfo record;
  record.deviceId = info.deviceId;
  record.btAddress = info.btAddress;
  record.btSppStatus = oneOrTwo(info.btSppStatus);
  record.btSppName = info.btSppName;
  record.usbStatus = oneOrTwo(info.usbStatus);
  record.usbName = info.usbName;
  record.iapVersion = oneOrTwo(info.iapVersion);
  listeners->callEach([&record](LinkAppiOSWrapperListener& listener) { listener.oniOSClientDeviceInfo(&record); });
}

// Success is 1 with the client and 0 with the listeners.
void LinkAppiOSWrapper::onSendResult(const iosapp_def_::SendResultInfo& info) {
  LinkAppiOSWrapperListener::SendResult record;
  record.uuid = info.appName;
  record.result = info.result == iosapp_def_::SENDRESULT_SUCCESS ? 0 : 1;
  listeners->callEach([&record](LinkAppiOSWrapperListener& listener) { listener.oniOSClientSendResult(&record); });
}

void LinkAppiOSWrapper::onReceivedData(const iosapp_def_::CommData& data) {
  LinkAppiOSWrapperListener::ReceivedMsg record;
  record.uuid = data.appName;
  record.data = data.data;
  record.size = data.size;
  listeners->callEach([&record](LinkAppiOSWrapperListener& listener) { listener.oniOSClientReceivedMsg(&record); });
}
