#include <utility>

#include "VQBluetooth/VQSBtApps.h"
#include "platform/bluez/io_thread.h"

using vqbluez::Bluetooth;
using vqbluez::IoThread;

template class VQSingleton<VQSBtApps>;

struct VQSBtApps::State {};  // everything is with the I/O thread

VQSBtApps::VQSBtApps() : state_(nullptr) {
  IoThread::instance().attachApps(*this);
}

VQSBtApps::~VQSBtApps() {
  IoThread::instance().detachApps();
  delete state_;
}

bool VQSBtApps::isRegisteredUuid(const std::string& uuid) {
  return IoThread::instance().run([&](Bluetooth& bluetooth) { return bluetooth.spp().isRegisteredUuid(uuid); });
}

bool VQSBtApps::registerUuid(const std::string& uuid) {
  return IoThread::instance().run([&](Bluetooth& bluetooth) { return bluetooth.spp().registerUuid(uuid); });
}

bool VQSBtApps::unregisterUuid(const std::string& uuid) {
  return IoThread::instance().run([&](Bluetooth& bluetooth) { return bluetooth.spp().unregisterUuid(uuid); });
}

bool VQSBtApps::registerWaitUuid(const std::vector<std::string>& uuids) {
  return IoThread::instance().run([&](Bluetooth& bluetooth) { return bluetooth.spp().registerWaitUuid(uuids); });
}

bool VQSBtApps::connectSpp(unsigned char deviceId, const std::string& uuid) {
  return IoThread::instance().run([&](Bluetooth& bluetooth) { return bluetooth.spp().connect(deviceId, uuid); });
}

bool VQSBtApps::disconnectSpp(unsigned char deviceId, std::string uuid) {
  return IoThread::instance().run([&](Bluetooth& bluetooth) { return bluetooth.spp().disconnect(deviceId, uuid); });
}

bool VQSBtApps::startAutoConnectSpp(unsigned char deviceId, const std::string& uuid) {
  return IoThread::instance().run(
      [&](Bluetooth& bluetooth) { return bluetooth.spp().startAutoConnect(deviceId, uuid); });
}

bool VQSBtApps::stopAutoConnectSpp(unsigned char deviceId, std::string uuid) {
  return IoThread::instance().run(
      [&](Bluetooth& bluetooth) { return bluetooth.spp().stopAutoConnect(deviceId, uuid); });
}

bool VQSBtApps::sendData(unsigned char deviceId, const std::string& uuid, const unsigned char* data,
                         unsigned int size) {
  return IoThread::instance().run(
      [&](Bluetooth& bluetooth) { return bluetooth.spp().sendData(deviceId, uuid, data, size); });
}

bool VQSBtApps::getSppInfomation() {
  return IoThread::instance().run([](Bluetooth& bluetooth) {
    if (!bluetooth.isReady()) {
      return false;
    }
    bluetooth.tellSppList();
    return true;
  });
}
