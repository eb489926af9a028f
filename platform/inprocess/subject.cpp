#include "VQFramework/Observer/VQSubject.h"

#include <memory>

#include "platform/inprocess/observer_list.h"

using vqframework::ObserverList;

struct VQSubject::State {
  std::shared_ptr<ObserverList> observers = std::make_shared<ObserverList>();
};

VQSubject::VQSubject() : state_(new State) {}

VQSubject::~VQSubject() {
  delete state_;
}

bool VQSubject::AddObserver(VQObserver_* observer) {
  if (observer == nullptr) {
    return false;
  }
  state_->observers->add(observer);
  return true;
}

bool VQSubject::RemoveObserver(VQObserver_* observer) {
  return state_->observers->remove(observer);
}

void VQSubject::NotifyObserver(unsigned int id, void* data, unsigned int size, unsigned int /*type*/) {
  // Most subjects of a process have nobody: half of all messages end here.
  if (!state_->observers->isEmpty()) {
    state_->observers->call(id, data, size);
  }
}
