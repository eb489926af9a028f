#include <map>
#include <mutex>
#include <utility>

#include "VQBluetooth/VQSBtApps.h"
#include "VQBluetooth/VQSBtManager.h"
#include "platform/fake/FakeBluetooth.h"

template class VQSingleton<VQSBtApps>;

namespace {

constexpr unsigned int kNoDeviceId = 0xFFFF;

struct Double {
  std::mutex mutex;  // guards the rest
  std::vector<vqfake::BtCall> calls;
  std::map<std::string, bool> answers;
  std::map<std::string, std::function<void()>> hooks;
};

Double& theDouble() {
  static Double* const instance = new Double;  // destructors at exit may still call
  return *instance;
}

bool take(vqfake::BtCall call) {
  Double& bluetooth = theDouble();
  std::function<void()> hook;
  bool answer = true;
  {
    const std::lock_guard<std::mutex> guard(bluetooth.mutex);
    const auto told = bluetooth.answers.find(call.operation);
    answer = told == bluetooth.answers.end() || told->second;
    const auto hooked = bluetooth.hooks.find(call.operation);
    hook = hooked == bluetooth.hooks.end() ? std::function<void()>() : hooked->second;
    bluetooth.calls.push_back(std::move(call));
  }
  if (hook) {
    hook();
  }
  return answer;
}

// The size argument of an in-process notice is nothing but not 0.
template <class Record>
void notify(VQSubject& subject, unsigned int id, Record record) {
  subject.NotifyObserver(id, &record, 1, 0);
}

}  // namespace

struct VQSBtApps::State {};

VQSBtApps::VQSBtApps() : state_(new State) {}

VQSBtApps::~VQSBtApps() {
  delete state_;
}

bool VQSBtApps::isRegisteredUuid(const std::string& uuid) {
  return take({"isRegisteredUuid", kNoDeviceId, {uuid}, {}});
}

bool VQSBtApps::registerUuid(const std::string& uuid) {
  return take({"registerUuid", kNoDeviceId, {uuid}, {}});
}

bool VQSBtApps::unregisterUuid(const std::string& uuid) {
  return take({"unregisterUuid", kNoDeviceId, {uuid}, {}});
}

bool VQSBtApps::registerWaitUuid(const std::vector<std::string>& uuids) {
  return take({"registerWaitUuid", kNoDeviceId, uuids, {}});
}

bool VQSBtApps::connectSpp(unsigned char deviceId, const std::string& uuid) {
  return take({"connectSpp", deviceId, {uuid}, {}});
}

bool VQSBtApps::disconnectSpp(unsigned char deviceId, std::string uuid) {
  return take({"disconnectSpp", deviceId, {std::move(uuid)}, {}});
}

bool VQSBtApps::startAutoConnectSpp(unsigned char deviceId, const std::string& uuid) {
  return take({"startAutoConnectSpp", deviceId, {uuid}, {}});
}

bool VQSBtApps::stopAutoConnectSpp(unsigned char deviceId, std::string uuid) {
  return take({"stopAutoConnectSpp", deviceId, {std::move(uuid)}, {}});
}

bool VQSBtApps::sendData(unsigned char deviceId, const std::string& uuid, const unsigned char* data,
                         unsigned int size) {
  const std::vector<unsigned char> bytes =
      data != nullptr ? std::vector<unsigned char>(data, data + size) : std::vector<unsigned char>();
  return take({"sendData", deviceId, {uuid}, bytes});
}

bool VQSBtApps::getSppInfomation() {
  return take({"getSppInfomation", kNoDeviceId, {}, {}});
}

struct VQSBtManager::State {};

VQSBtManager::VQSBtManager() : state_(new State) {}

VQSBtManager::~VQSBtManager() {
  delete state_;
}

VQSBtManager* VQSBtManager::getInstance() {
  static VQSBtManager* const instance = new VQSBtManager;
  return instance;
}

bool VQSBtManager::AddObserver(VQObserver_* observer) {
  const bool isAdded = VQSubject::AddObserver(observer);
  take({"AddObserver", kNoDeviceId, {}, {}});
  return isAdded;
}

namespace vqfake {

void resetBluetooth() {
  Double& bluetooth = theDouble();
  const std::lock_guard<std::mutex> guard(bluetooth.mutex);
  bluetooth.calls.clear();
  bluetooth.answers.clear();
  bluetooth.hooks.clear();
}

std::vector<BtCall> btCalls() {
  Double& bluetooth = theDouble();
  const std::lock_guard<std::mutex> guard(bluetooth.mutex);
  return bluetooth.calls;
}

void clearBtCalls() {
  Double& bluetooth = theDouble();
  const std::lock_guard<std::mutex> guard(bluetooth.mutex);
  bluetooth.calls.clear();
}

void answerBt(const std::string& operation, bool result) {
  Double& bluetooth = theDouble();
  const std::lock_guard<std::mutex> guard(bluetooth.mutex);
  bluetooth.answers[operation] = result;
}

void onBtCall(const std::string& operation, std::function<void()> hook) {
  Double& bluetooth = theDouble();
  const std::lock_guard<std::mutex> guard(bluetooth.mutex);
  bluetooth.hooks[operation] = std::move(hook);
}

void notifyBtApps(const VQSBtAppsNtf::SppConnectionState& record) {
  notify(*VQSingleton<VQSBtApps>::getInstance(), VQSBtAppsNtf::NOTIFYID_SPPCONNECTIONSTATE, record);
}

void notifyBtApps(const VQSBtAppsNtf::SppReceivedData& record) {
  notify(*VQSingleton<VQSBtApps>::getInstance(), VQSBtAppsNtf::NOTIFYID_SPPRECEIVEDDATA, record);
}

void notifyBtApps(const VQSBtAppsNtf::SppDataSendResult& record) {
  notify(*VQSingleton<VQSBtApps>::getInstance(), VQSBtAppsNtf::NOTIFYID_SPPDATASENDRESULT, record);
}

void notifyBtApps(const VQSBtAppsNtf::SppInformation& record) {
  notify(*VQSingleton<VQSBtApps>::getInstance(), VQSBtAppsNtf::NOTIFYID_SPPINFORMATION, record);
}

void notifyBtApps(unsigned int id, void* record, unsigned int size) {
  VQSingleton<VQSBtApps>::getInstance()->NotifyObserver(id, record, size, 0);
}

void notifyBtManager(const VQSBtMgrDef::PairedDeviceList& record) {
  notify(*VQSBtManager::getInstance(), VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST, record);
}

void notifyBtManager(const VQSBtMgrDef::HfpConnection& record) {
  notify(*VQSBtManager::getInstance(), VQSBtMgrDef::NOTIFYID_HFPCONNECTION, record);
}

void notifyBtManager(const VQSBtMgrDef::PairedListFreeze& record) {
  notify(*VQSBtManager::getInstance(), VQSBtMgrDef::NOTIFYID_PAIREDLISTFREEZE, record);
}

void notifyBtManager(unsigned int id, void* record, unsigned int size) {
  VQSBtManager::getInstance()->NotifyObserver(id, record, size, 0);
}

}  // namespace vqfake
