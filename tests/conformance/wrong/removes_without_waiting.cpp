// An observer is taken off at once, also where another thread is in the middle of its call. Every registration goes
// through a proxy that can be cut.
#include <mutex>
#include <vector>

#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/wrong/original.h"

namespace {

std::mutex& mutex() {
  static std::mutex* const instance = new std::mutex;
  return *instance;
}

// Stays in the list of its owner for good; a cut one calls nobody.
class Proxy final : public VQObserver_ {
 public:
  Proxy(const void* owner, VQObserver_* observer) : owner_(owner), observer_(observer) {}
  ~Proxy() override { DetachFromSubjects(); }

  unsigned int Update(unsigned int id, void* data, unsigned int size) override {
    VQObserver_* observer = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex());
      observer = observer_;
    }
    return observer == nullptr ? 0 : observer->Update(id, data, size);
  }

  // With the mutex held. A null owner stands for all.
  bool cut(const void* owner, const VQObserver_* observer) {
    const bool isMeant = observer_ == observer && (owner == nullptr || owner_ == owner);
    observer_ = isMeant ? nullptr : observer_;
    return isMeant;
  }

 private:
  const void* const owner_;
  VQObserver_* observer_;
};

std::vector<Proxy*>& proxies() {
  static auto* const instance = new std::vector<Proxy*>;
  return *instance;
}

Proxy* proxyFor(const void* owner, VQObserver_* observer) {
  auto* const proxy = new Proxy(owner, observer);
  const std::lock_guard<std::mutex> lock(mutex());
  proxies().push_back(proxy);
  return proxy;
}

bool cut(const void* owner, const VQObserver_* observer) {
  const std::lock_guard<std::mutex> lock(mutex());
  bool wasThere = false;
  for (Proxy* const proxy : proxies()) {
    wasThere = (observer != nullptr && proxy->cut(owner, observer)) || wasThere;
  }
  return wasThere;
}

}  // namespace

void VQObserver_::DetachFromSubjects() {
  static auto* const detach = wrong::original<void(VQObserver_*)>("_ZN11VQObserver_18DetachFromSubjectsEv");
  cut(nullptr, this);
  detach(this);
}

bool VQSubject::AddObserver(VQObserver_* observer) {
  static auto* const add = wrong::original<bool(VQSubject*, VQObserver_*)>("_ZN9VQSubject11AddObserverEP11VQObserver_");
  return observer != nullptr && add(this, proxyFor(this, observer));
}

bool VQSubject::RemoveObserver(VQObserver_* observer) {
  return cut(this, observer);
}

bool VQSharedMemNotifier::AddObserver(VQObserver_* observer, const unsigned int* ids, unsigned int count) {
  static auto* const add = wrong::original<bool(VQSharedMemNotifier*, VQObserver_*, const unsigned int*, unsigned int)>(
      "_ZN19VQSharedMemNotifier11AddObserverEP11VQObserver_PKjj");
  return observer != nullptr && ids != nullptr && count != 0 && add(this, proxyFor(this, observer), ids, count);
}

bool VQSharedMemNotifier::RemoveObserver(VQObserver_* observer) {
  return cut(this, observer);
}
