#include "platform/bluez/io_thread.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <new>
#include <system_error>
#include <utility>

#include "VQFramework/Observer/VQObserver.h"
#include "platform/bluez/log.h"
#include "platform/bluez/ofono_source.h"
#include "platform/bluez/until_there_is_memory.h"
#include "platform/signals_blocked.h"

namespace vqbluez {
namespace {

constexpr const char* kThreadName = "vqbluetooth";

template <class Record>
struct NoticeOf;  // which subject tells the record, and under which number

constexpr bool kApps = true;
constexpr bool kManager = false;

template <bool isOfApps, unsigned int number>
struct NoticeIs {
  static constexpr bool kIsOfApps = isOfApps;
  static constexpr unsigned int kId = number;
};

template <>
struct NoticeOf<VQSBtAppsNtf::SppConnectionState> : NoticeIs<kApps, VQSBtAppsNtf::NOTIFYID_SPPCONNECTIONSTATE> {};
template <>
struct NoticeOf<VQSBtAppsNtf::SppReceivedData> : NoticeIs<kApps, VQSBtAppsNtf::NOTIFYID_SPPRECEIVEDDATA> {};
template <>
struct NoticeOf<VQSBtAppsNtf::SppDataSendResult> : NoticeIs<kApps, VQSBtAppsNtf::NOTIFYID_SPPDATASENDRESULT> {};
template <>
struct NoticeOf<VQSBtAppsNtf::SppInformation> : NoticeIs<kApps, VQSBtAppsNtf::NOTIFYID_SPPINFORMATION> {};
template <>
struct NoticeOf<VQSBtMgrDef::PairedDeviceList> : NoticeIs<kManager, VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST> {};
template <>
struct NoticeOf<VQSBtMgrDef::HfpConnection> : NoticeIs<kManager, VQSBtMgrDef::NOTIFYID_HFPCONNECTION> {};
template <>
struct NoticeOf<VQSBtMgrDef::PairedListFreeze> : NoticeIs<kManager, VQSBtMgrDef::NOTIFYID_PAIREDLISTFREEZE> {};

bool isOfApps(const Notice& notice) {
  return std::visit([](const auto& record) { return NoticeOf<std::decay_t<decltype(record)>>::kIsOfApps; }, notice);
}

void callObservers(VQSubject& subject, Notice& notice) {
  std::visit(
      [&subject](auto& record) {
        subject.NotifyObserver(NoticeOf<std::decay_t<decltype(record)>>::kId, &record, sizeof record, 0);
      },
      notice);
}

struct Nobody {
  unsigned int hear(unsigned int /*id*/, void* /*record*/, unsigned int /*size*/) { return 0; }
};

// The framework may need memory for the first call of observers on a thread. Here nobody misses it.
void callNobody() {
  VQSubject subject;
  Nobody nobody;
  VQObserver<Nobody> observer(&nobody, &Nobody::hear);
  subject.AddObserver(&observer);
  subject.NotifyObserver(0, nullptr, 0, 0);
}

}  // namespace

IoThread& IoThread::instance() {
  static IoThread* const instance = new IoThread;  // never destroyed: destructors at exit may still come by
  return *instance;
}

bool IoThread::isForkedChild() const {
  const pid_t owner = process_.load();
  return owner != 0 && owner != getpid();
}

void IoThread::attachApps(VQSubject& apps) {
  if (!isForkedChild()) {
    const MutexLock lock(mutex_);
    attach(apps_, apps);
  }
}

void IoThread::attachManager(VQSubject& manager) {
  if (!isForkedChild()) {
    const MutexLock lock(mutex_);
    attach(manager_, manager);
  }
}

void IoThread::attach(VQSubject*& place, VQSubject& subject) {
  while (isEnding_) {
    ended_.wait(mutex_);
  }
  place = &subject;
  start();
}

void IoThread::detachApps() {
  if (isForkedChild()) {
    return;
  }
  const MutexLock lock(mutex_);
  if (bluetooth_) {
    SppService& spp = bluetooth_->spp();
    untilThereIsMemory([&spp] { spp.endAll(); });
  }
  detach(apps_);
}

void IoThread::detachManager() {
  if (!isForkedChild()) {
    const MutexLock lock(mutex_);
    detach(manager_);
  }
}

void IoThread::detach(VQSubject*& place) {
  const VQSubject* const subject = std::exchange(place, nullptr);
  while (subject != nullptr && told_ == subject && !isOwnThread()) {
    ended_.wait(mutex_);
  }
  stopIfUnused();
}

void IoThread::start() {
  if (bluetooth_) {
    return;
  }
  process_ = getpid();
  if (!waker_.isUsable()) {
    logLine("no Bluetooth: no descriptor left");
    return;
  }
  try {
    bluetooth_.emplace(std::make_unique<OfonoSource>());
    bluetooth_->start();
    bluetooth_->outbox().takeAll();  // nobody can listen yet
    startThread();
  } catch (const std::exception& e) {
    logLine("no Bluetooth: %s", e.what());
    bluetooth_.reset();
  }
}

void IoThread::startThread() {
  const platform::SignalsBlocked blocked;
  thread_ = std::thread([this] { loop(); });
  pthread_setname_np(thread_.native_handle(), kThreadName);
}

void IoThread::stopIfUnused() {
  if (apps_ != nullptr || manager_ != nullptr || !bluetooth_ || isEnding_) {
    return;
  }
  isEnding_ = true;
  waker_.wake();
  std::thread thread = std::move(thread_);
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();  // `exit` inside a notice: this thread does not come back to its loop
  } else {
    mutex_.unlock();
    thread.join();
    mutex_.lock();
  }
  bluetooth_.reset();
  isEnding_ = false;
  ended_.notifyAll();
}

bool IoThread::run(const std::function<bool(Bluetooth& bluetooth)>& operation) {
  if (process_.load() != getpid()) {
    return false;
  }
  bool result = false;
  try {
    const MutexLock lock(mutex_);
    result = bluetooth_ && operation(*bluetooth_);
  } catch (const std::bad_alloc&) {
    logLine("out of memory");
  }
  waker_.wake();
  return result;
}

void IoThread::loop() {
  untilThereIsMemory(callNobody);
  Bluetooth::Watch watch;
  while (untilThereIsMemory([&] { return prepare(watch); })) {
    poll(watch.sockets.data(), watch.sockets.size(), watch.milliseconds);
    waker_.clear();
    std::list<Notice> notices;
    {
      const MutexLock lock(mutex_);
      if (isEnding_) {
        return;
      }
      notices = serve(watch);
    }
    for (Notice& notice : notices) {
      tell(notice);
    }
  }
}

// False where the thread has to end.
bool IoThread::prepare(Bluetooth::Watch& watch) {
  watch.sockets.assign(1, {waker_.fd(), POLLIN, 0});
  watch.links.assign(1, 0);
  const MutexLock lock(mutex_);
  if (!isEnding_) {
    bluetooth_->addTo(watch);
  }
  return !isEnding_;
}

std::list<Notice> IoThread::serve(const Bluetooth::Watch& watch) {
  try {
    bluetooth_->serve(watch);
  } catch (const std::bad_alloc&) {
    logLine("out of memory");
  }
  return bluetooth_->outbox().takeAll();
}

void IoThread::tell(Notice& notice) {
  VQSubject* subject = nullptr;
  {
    const MutexLock lock(mutex_);
    subject = isOfApps(notice) ? apps_ : manager_;
    told_ = subject;
  }
  if (subject == nullptr) {
    return;
  }
  callObservers(*subject, notice);
  const MutexLock lock(mutex_);
  told_ = nullptr;
  ended_.notifyAll();
}

}  // namespace vqbluez
