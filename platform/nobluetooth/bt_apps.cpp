#include "VQBluetooth/VQSBtApps.h"

template class VQSingleton<VQSBtApps>;

struct VQSBtApps::State {};  // there is nothing to keep

VQSBtApps::VQSBtApps() : state_(nullptr) {}

VQSBtApps::~VQSBtApps() {
  delete state_;
}

bool VQSBtApps::isRegisteredUuid(const std::string& /*uuid*/) {
  return false;
}

bool VQSBtApps::registerUuid(const std::string& /*uuid*/) {
  return false;
}

bool VQSBtApps::unregisterUuid(const std::string& /*uuid*/) {
  return false;
}

bool VQSBtApps::registerWaitUuid(const std::vector<std::string>& /*uuids*/) {
  return false;
}

bool VQSBtApps::connectSpp(unsigned char /*deviceId*/, const std::string& /*uuid*/) {
  return false;
}

bool VQSBtApps::disconnectSpp(unsigned char /*deviceId*/, std::string /*uuid*/) {
  return false;
}

bool VQSBtApps::startAutoConnectSpp(unsigned char /*deviceId*/, const std::string& /*uuid*/) {
  return false;
}

bool VQSBtApps::stopAutoConnectSpp(unsigned char /*deviceId*/, std::string /*uuid*/) {
  return false;
}

bool VQSBtApps::sendData(unsigned char /*deviceId*/, const std::string& /*uuid*/, const unsigned char* /*data*/,
                         unsigned int /*size*/) {
  return false;
}

bool VQSBtApps::getSppInfomation() {
  return false;
}
