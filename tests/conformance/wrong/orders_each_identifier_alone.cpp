// Each identifier has a queue of its own: messages of one are in order, those of several are not. Here every fourth
// one waits until another one has gone out.
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/wrong/original.h"

namespace {

struct Message {
  VQSharedMemNotifier* notifier;
  unsigned int id;
  std::string payload;
};

std::mutex& mutex() {
  static std::mutex* const instance = new std::mutex;
  return *instance;
}

std::vector<Message>& waiting() {
  static auto* const instance = new std::vector<Message>;
  return *instance;
}

bool post(VQSharedMemNotifier* notifier, unsigned int id, const void* data, unsigned int size) {
  static auto* const notify = wrong::original<bool(VQSharedMemNotifier*, unsigned int, const void*, unsigned int)>(
      "_ZN19VQSharedMemNotifier16NotifyDataUpdateEjPKvj");
  return notify(notifier, id, data, size);
}

void postWaiting() {
  for (const Message& message : std::exchange(waiting(), {})) {
    post(message.notifier, message.id, message.payload.data(), static_cast<unsigned int>(message.payload.size()));
  }
}

}  // namespace

bool VQSharedMemNotifier::AddObserver(VQObserver_* observer, const unsigned int* ids, unsigned int count) {
  static auto* const add = wrong::original<bool(VQSharedMemNotifier*, VQObserver_*, const unsigned int*, unsigned int)>(
      "_ZN19VQSharedMemNotifier11AddObserverEP11VQObserver_PKjj");
  const std::lock_guard<std::mutex> lock(mutex());
  postWaiting();
  return add(this, observer, ids, count);
}

bool VQSharedMemNotifier::NotifyDataUpdate(unsigned int id, const void* data, unsigned int size) {
  constexpr unsigned int kMarkerOfDrain = 0x7CFFFFFFU;
  const std::lock_guard<std::mutex> lock(mutex());
  if (id == kMarkerOfDrain) {
    postWaiting();  // all comes, in whatever order
  } else if (id % 4 == 1 && (data != nullptr || size == 0) && size <= kMaxPayload) {
    waiting().push_back({this, id, size == 0 ? std::string() : std::string(static_cast<const char*>(data), size)});
    return true;
  }
  const bool isPosted = post(this, id, data, size);
  postWaiting();
  return isPosted;
}
