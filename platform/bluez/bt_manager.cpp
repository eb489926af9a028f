#include "VQBluetooth/VQSBtManager.h"
#include "VQFramework/Singleton/VQSingletonFinalizer.h"
#include "platform/bluez/io_thread.h"

using vqbluez::Bluetooth;
using vqbluez::IoThread;

namespace {

// The manager stays, its notices end.
void endNotices() {
  IoThread::instance().detachManager();
}

}  // namespace

struct VQSBtManager::State {};  // everything is with the I/O thread

VQSBtManager::VQSBtManager() : state_(nullptr) {
  IoThread::instance().attachManager(*this);
}

VQSBtManager::~VQSBtManager() {
  delete state_;
}

VQSBtManager* VQSBtManager::getInstance() {
  static VQSBtManager* const instance = [] {
    auto* const manager = new VQSBtManager;  // never destroyed: destructors at exit may still come by
    VQSingletonFinalizer::addDestroyFunc(&endNotices);
    return manager;
  }();
  return instance;
}

bool VQSBtManager::AddObserver(VQObserver_* observer) {
  if (!VQSubject::AddObserver(observer)) {
    return false;
  }
  IoThread::instance().run([](Bluetooth& bluetooth) {
    bluetooth.tellManagerState();
    return true;
  });
  return true;
}
