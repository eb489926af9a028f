#include "platform/reference/delivery.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <memory>
#include <new>
#include <system_error>
#include <thread>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/inprocess/fork_state.h"
#include "platform/reference/process_id.h"
#include "platform/signals_blocked.h"

namespace vqframework {
namespace {

constexpr const char* kLogFile = "VQFramework/SharedMemory/VQSharedMemNotifier";

// The delivery thread has nobody to tell that there is no memory: it tries again until there is.
template <class Step>
bool untilThereIsMemory(const Step& step) {
  for (;;) {
    try {
      return step();
    } catch (const std::bad_alloc&) {
      sched_yield();
    }
  }
}

}  // namespace

Delivery& Delivery::instance() {
  // Never destroyed: the thread may outlive main, and late destructors take their observers off.
  static const std::shared_ptr<Delivery>* const instance = new std::shared_ptr<Delivery>(std::make_shared<Delivery>());
  return **instance;
}

bool Delivery::start(MessageLog& log, VQObserver_* observer, const void* owner, const std::vector<std::uint32_t>& ids) {
  MutexLock lock(mutex_);
  std::uint64_t head = 0;
  followNew(log, ids, head);
  if (!isRunning_ && !startThread(log, head)) {
    return false;
  }
  add(observer, owner, ids, head);
  version_.fetch_add(1, std::memory_order_release);
  threadEnded_.notifyAll();  // who waits for the thread's end waits in vain now
  // A thread that sleeps for its old identifiers' groups would sleep through the new ones.
  log.nudgeOwnReceiver();
  return true;
}

// Notes where the identifiers stand that are not followed yet, at the moment from which their messages count.
void Delivery::followNew(MessageLog& log, const std::vector<std::uint32_t>& ids, std::uint64_t& head) {
  const MessageLog::Snapshot snapshot = log.snapshot(ids);
  head = snapshot.head;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const std::uint32_t id = ids[i];
    const auto isSame = [id](const LossCounter::Followed& entry) { return entry.id == id; };
    if (std::none_of(followed_.begin(), followed_.end(), isSame)) {
      followed_.push_back({id, snapshot.numbers[i]});
    }
  }
}

bool Delivery::startThread(MessageLog& log, std::uint64_t position) {
  try {
    const platform::SignalsBlocked blocked;
    std::thread([this, &log, position] { run(log, position); }).detach();
  } catch (const std::system_error& error) {
    VQDbgOutput::DbgPrint(kLogFile, "AddObserver", 0, 1, "no delivery thread: %s\n", error.what());
    followed_.clear();
    return false;
  } catch (const std::bad_alloc&) {
    followed_.clear();
    throw;
  }
  isRunning_ = true;
  return true;
}

// When the last registration goes, so does the thread. The caller waits until it has given its place back and will call
// nobody any more; to be gone it may take a moment longer. No wait where the thread is busy with a call that waits for
// the caller, or is the caller.
void Delivery::afterRemoval() {
  version_.fetch_add(1, std::memory_order_release);
  if (isForkedChild() || !isEmpty()) {
    return;
  }
  MutexLock lock(mutex_);
  if (!isRunning_ || !isEmpty()) {
    return;
  }
  if (!MessageLog::opened()->nudgeOwnReceiver()) {
    return;  // it ends with the next message of anybody; no call is running in any case
  }
  while (isRunning_ && isEmpty() && !isCallRunning() && (thread_ == nullptr || thread_ != threadNode)) {
    threadEnded_.wait(mutex_);
  }
}

void Delivery::run(MessageLog& log, std::uint64_t position) {
  pthread_setname_np(pthread_self(), "vq-delivery");
  Reader reader{log, position, 0, 0, {}, AttachedProcess(log.object()), {}, {}};
  untilThereIsMemory([this] {
    MutexLock lock(mutex_);
    thread_ = currentThread();
    return true;
  });
  while (refresh(reader)) {
    readNext(reader);
  }
}

bool Delivery::refresh(Reader& reader) {
  return reader.version == version_.load(std::memory_order_acquire) ||
         untilThereIsMemory([this, &reader] { return takeOver(reader); });
}

// Takes over what is registered now. False, and the thread must end, when that is nothing.
bool Delivery::takeOver(Reader& reader) {
  MutexLock lock(mutex_);
  reader.version = version_.load(std::memory_order_acquire);
  std::vector<std::uint32_t> ids;
  for (const Registration& registration : registrations()) {
    ids.insert(ids.end(), registration.ids.begin(), registration.ids.end());
  }
  if (ids.empty()) {
    reader.place.release();  // before another thread may start and take it
    followed_.clear();
    thread_ = nullptr;
    isRunning_ = false;
    threadEnded_.notifyAll();
    return false;
  }
  const auto isUnused = [&ids](const LossCounter::Followed& entry) {
    return std::find(ids.begin(), ids.end(), entry.id) == ids.end();
  };
  followed_.erase(std::remove_if(followed_.begin(), followed_.end(), isUnused), followed_.end());
  reader.losses.follow(followed_);
  reader.groups = 0;
  for (const LossCounter::Followed& entry : followed_) {
    reader.groups |= MessageLog::groupOf(entry.id);
  }
  reader.place.setIdentifiers(reader.losses.identifiers());
  return true;
}

void Delivery::readNext(Reader& reader) {
  Message& message = reader.message;
  const std::uint32_t posted = reader.log.posted();
  switch (reader.log.read(reader.position, message)) {
    case MessageLog::Read::kNothingNew:
      rest(reader, posted);
      return;
    case MessageLog::Read::kOverwritten:
      findPlaceAgain(reader);
      break;
    case MessageLog::Read::kTaken:
      const std::uint64_t sequence = reader.position++;
      reader.place.setPosition(reader.position);
      if (message.pid != processId()) {
        reader.log.noteForeignMessage();
      }
      reader.polling.onMessage(message);
      if (!message.isControl) {
        reader.losses.onMessage(message);
        call(message.id, message.payload, message.size, sequence);
      }
      break;
  }
  const std::uint64_t lost = reader.losses.takeFinishedBurst(reader.position);
  if (lost != 0) {
    report(reader, lost);
  }
}

void Delivery::report(Reader& reader, std::uint64_t lost) {
  reader.place.addLost(lost);
  VQDbgOutput::DbgPrint(kLogFile, "deliver", 0, 1, "too slow: %llu messages lost\n",
                        static_cast<unsigned long long>(lost));
}

// Everything is read.
void Delivery::rest(Reader& reader, std::uint32_t posted) {
  if (!reader.polling.bridges(reader.log, posted)) {
    reader.log.sleep(posted, reader.groups);
  }
}

void Delivery::findPlaceAgain(Reader& reader) {
  untilThereIsMemory([&reader] {
    MessageLog::Snapshot snapshot;
    const std::uint64_t position = reader.log.skip(reader.position, reader.losses.identifiers(), snapshot);
    reader.losses.onSkip(snapshot);
    reader.position = position;
    return true;
  });
}

}  // namespace vqframework
