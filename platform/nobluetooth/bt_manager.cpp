#include "VQBluetooth/VQSBtManager.h"

struct VQSBtManager::State {};  // there is nothing to keep

VQSBtManager::VQSBtManager() : state_(nullptr) {}

VQSBtManager::~VQSBtManager() {
  delete state_;
}

VQSBtManager* VQSBtManager::getInstance() {
  static VQSBtManager* const instance = new VQSBtManager;  // never destroyed: destructors at exit may still come by
  return instance;
}

bool VQSBtManager::AddObserver(VQObserver_* observer) {
  return VQSubject::AddObserver(observer);
}
