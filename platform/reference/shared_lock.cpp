#include <string.h>

#include <memory>
#include <string>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "platform/reference/named_lock.h"

using vqframework::NamedLock;

struct VQSharedSyncObject::State {
  std::shared_ptr<NamedLock> lock;
};

namespace {

// Names that no segment can have share nothing, not even within the process.
std::string usableName(const char* name) {
  if (name == nullptr || strlen(name) > VQSharedSyncObject::kMaxNameLength) {
    return "";
  }
  return name;
}

}  // namespace

VQSharedSyncObject::VQSharedSyncObject(const char* name) : state_(new State{NamedLock::forName(usableName(name))}) {}

VQSharedSyncObject::~VQSharedSyncObject() {
  delete state_;
}

void VQSharedSyncObject::lock() const {
  state_->lock->lock();
}

void VQSharedSyncObject::unlock() const {
  state_->lock->unlock();
}
