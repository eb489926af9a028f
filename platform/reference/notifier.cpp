#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/inprocess/fork_state.h"
#include "platform/reference/delivery.h"
#include "platform/reference/message_log.h"

using vqframework::Delivery;
using vqframework::isForkedChild;
using vqframework::MessageLog;

// Its address tells this notifier's registrations from others'.
struct VQSharedMemNotifier::State {};

VQSharedMemNotifier::VQSharedMemNotifier(bool /*ownThread*/) : state_(new State) {
  static const Delivery& first = Delivery::instance();  // made now, since the destructor must not need memory
  static_cast<void>(first);
}

VQSharedMemNotifier::~VQSharedMemNotifier() {
  Delivery::instance().removeOwner(state_);
  delete state_;
}

bool VQSharedMemNotifier::AddObserver(VQObserver_* observer, const unsigned int* ids, unsigned int count) {
  if (observer == nullptr || ids == nullptr || count == 0 || isForkedChild()) {
    return false;
  }
  MessageLog* const log = MessageLog::get();
  return log != nullptr && Delivery::instance().start(*log, observer, state_, {ids, ids + count});
}

bool VQSharedMemNotifier::RemoveObserver(VQObserver_* observer) {
  return Delivery::instance().remove(observer, state_);
}

bool VQSharedMemNotifier::NotifyDataUpdate(unsigned int id, const void* data, unsigned int size) {
  if (isForkedChild()) {
    return false;
  }
  if (size > kMaxPayload || (data == nullptr && size != 0)) {
    VQDbgOutput::DbgPrint("VQFramework/SharedMemory/VQSharedMemNotifier", "NotifyDataUpdate", 0, 1,
                          "message of identifier %u refused: %u bytes, %u at most\n", id, size, kMaxPayload);
    return false;
  }
  MessageLog* const log = MessageLog::get();
  if (log == nullptr) {
    return false;
  }
  if (!log->post(id, data, size)) {
    VQDbgOutput::DbgPrint("VQFramework/SharedMemory/VQSharedMemNotifier", "NotifyDataUpdate", 0, 1,
                          "message of identifier %u refused: the log is damaged; stop every process that uses it and "
                          "remove /dev/shm/%s\n",
                          id, vqframework::kMessageLogName);
    return false;
  }
  return true;
}
