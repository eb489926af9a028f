#include <cstdint>
#include <deque>
#include <memory>
#include <utility>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/fake/FakeFramework.h"
#include "platform/fake/fake_state.h"
#include "platform/inprocess/observer_list.h"

using vqframework::Mutex;
using vqframework::MutexLock;
using vqframework::ObserverList;

namespace {

constexpr std::size_t kZeroBytesBehindPayload = 512;

struct Waiting {
  std::uint64_t sequence;
  unsigned int id;
  std::vector<unsigned char> payload;
};

struct Queue {
  Mutex mutex;  // before the list's own lock; not held while observers run
  bool isUsable VQ_GUARDED_BY(mutex) = true;
  bool isDelivering VQ_GUARDED_BY(mutex) = false;
  std::uint64_t nextSequence VQ_GUARDED_BY(mutex) = 0;
  std::deque<Waiting> waiting VQ_GUARDED_BY(mutex);
  std::vector<vqfake::Message> posted VQ_GUARDED_BY(mutex);
  const std::shared_ptr<ObserverList> observers = std::make_shared<ObserverList>();
};

// Never destroyed: late destructors take their observers off.
Queue& queue() {
  static Queue* const instance = new Queue;
  return *instance;
}

std::vector<unsigned char> bytesOf(const void* data, unsigned int size) {
  const unsigned char* const from = static_cast<const unsigned char*>(data);
  return size == 0 ? std::vector<unsigned char>() : std::vector<unsigned char>(from, from + size);
}

void append(unsigned int id, const void* data, unsigned int size, std::vector<std::string> locksHeld) {
  Queue& all = queue();
  MutexLock lock(all.mutex);
  all.waiting.push_back({all.nextSequence++, id, bytesOf(data, size)});
  all.posted.push_back({id, bytesOf(data, size), std::move(locksHeld)});
}

bool takeNext(Waiting& message) {
  Queue& all = queue();
  MutexLock lock(all.mutex);
  if (all.isDelivering || all.waiting.empty()) {
    return false;
  }
  message = std::move(all.waiting.front());
  all.waiting.pop_front();
  all.isDelivering = true;
  return true;
}

}  // namespace

// Its address tells this notifier's registrations from others'.
struct VQSharedMemNotifier::State {};

VQSharedMemNotifier::VQSharedMemNotifier(bool /*ownThread*/) : state_(new State) {}

VQSharedMemNotifier::~VQSharedMemNotifier() {
  queue().observers->removeOwner(state_);
  delete state_;
}

bool VQSharedMemNotifier::AddObserver(VQObserver_* observer, const unsigned int* ids, unsigned int count) {
  Queue& all = queue();
  MutexLock lock(all.mutex);
  if (observer == nullptr || ids == nullptr || count == 0 || !all.isUsable) {
    return false;
  }
  all.observers->add(observer, state_, {ids, ids + count}, all.nextSequence);
  return true;
}

bool VQSharedMemNotifier::RemoveObserver(VQObserver_* observer) {
  return queue().observers->remove(observer, state_);
}

bool VQSharedMemNotifier::NotifyDataUpdate(unsigned int id, const void* data, unsigned int size) {
  bool isUsable = size <= kMaxPayload && (data != nullptr || size == 0);
  {
    MutexLock lock(queue().mutex);
    isUsable = isUsable && queue().isUsable;
  }
  if (!isUsable) {
    VQDbgOutput::DbgPrint("VQFramework/SharedMemory/VQSharedMemNotifier", "NotifyDataUpdate", 0, 1,
                          "message of identifier %u refused: %u bytes\n", id, size);
    return false;
  }
  append(id, data, size, vqfake::locksHeldByThisThread());
  return true;
}

namespace vqfake {

void reset() {
  resetNotifier();
  resetLocks();
  resetSettings();
  resetLog();
}

bool deliverNext() {
  Waiting message{};
  if (!takeNext(message)) {
    return false;
  }
  const unsigned int size = static_cast<unsigned int>(message.payload.size());
  // A buffer of its own from the heap: aligned for any type, and a sanitizer sees whoever reads too far.
  message.payload.resize(size + kZeroBytesBehindPayload, 0);
  queue().observers->call(message.id, message.payload.data(), size, message.sequence);
  MutexLock lock(queue().mutex);
  queue().isDelivering = false;
  return true;
}

unsigned int deliverAll() {
  unsigned int count = 0;
  while (deliverNext()) {
    ++count;
  }
  return count;
}

std::size_t pendingCount() {
  MutexLock lock(queue().mutex);
  return queue().waiting.size();
}

std::vector<Message> posted() {
  MutexLock lock(queue().mutex);
  return queue().posted;
}

void post(unsigned int id, const void* data, unsigned int size) {
  append(id, data, size, {});
}

void setNotifierUsable(bool usable) {
  MutexLock lock(queue().mutex);
  queue().isUsable = usable;
}

std::vector<std::vector<unsigned int>> registrations() {
  std::vector<std::vector<unsigned int>> result;
  for (const ObserverList::Registration& registration : queue().observers->registrations()) {
    result.push_back(registration.ids);
  }
  return result;
}

void resetNotifier() {
  Queue& all = queue();
  MutexLock lock(all.mutex);
  all.isUsable = true;
  all.waiting.clear();
  all.posted.clear();
}

}  // namespace vqfake
