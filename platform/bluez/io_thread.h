// The one thread of this library: it serves the bus and all links, and calls all observers.
//
// One lock guards everything. Operations take it on their caller's thread and do their work at once; the thread takes
// it for each round of its loop, and holds none while observers run. So operations may be called inside notices and
// with locks that observers want, and no notice ever overlaps another one.
// Lifetime: process-wide and never destroyed. The thread runs while one of the two classes uses it, and ends at exit
// at the latest. In a forked child there is no thread: everything is refused.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <thread>

#include "VQFramework/Observer/VQSubject.h"
#include "platform/bluez/bluetooth.h"
#include "platform/bluez/outbox.h"
#include "platform/bluez/waker.h"
#include "platform/mutex.h"

namespace vqbluez {

class IoThread {
 public:
  static IoThread& instance();

  // The subjects of the two classes. The first one starts the thread, the end of the last one stops it.
  // Detaching ends what the subject began, returns when no notice of it is running, and drops those that wait. Called
  // inside a notice of the subject, as `exit` there does, it does not wait for that one.
  void attachApps(VQSubject& apps);
  void detachApps();
  void attachManager(VQSubject& manager);
  void detachManager();

  // Runs `operation` with the lock held. False where there is no Bluetooth to ask, and where memory ends.
  bool run(const std::function<bool(Bluetooth& bluetooth)>& operation);

 private:
  using Mutex = platform::Mutex<&platform::never>;  // a forked child is sent away before it comes here
  using MutexLock = platform::MutexLock<Mutex>;

  IoThread() = default;

  bool isForkedChild() const;
  void attach(VQSubject*& place, VQSubject& subject) VQ_REQUIRES(mutex_);
  void detach(VQSubject*& place) VQ_REQUIRES(mutex_);
  void start() VQ_REQUIRES(mutex_);
  void startThread() VQ_REQUIRES(mutex_);
  void stopIfUnused() VQ_REQUIRES(mutex_);
  void loop();
  bool prepare(Bluetooth::Watch& watch);
  std::list<Notice> serve(const Bluetooth::Watch& watch) VQ_REQUIRES(mutex_);
  void tell(Notice& notice);
  bool isOwnThread() const VQ_REQUIRES(mutex_) { return thread_.get_id() == std::this_thread::get_id(); }

  std::atomic<pid_t> process_{0};  // that started the thread
  Mutex mutex_;
  platform::Condition ended_;  // a notice, or the thread
  Waker waker_;
  std::optional<Bluetooth> bluetooth_ VQ_GUARDED_BY(mutex_);  // exists while the thread does
  std::thread thread_ VQ_GUARDED_BY(mutex_);
  bool isEnding_ VQ_GUARDED_BY(mutex_) = false;  // somebody waits for the thread's end
  VQSubject* apps_ VQ_GUARDED_BY(mutex_) = nullptr;
  VQSubject* manager_ VQ_GUARDED_BY(mutex_) = nullptr;
  const VQSubject* told_ VQ_GUARDED_BY(mutex_) = nullptr;  // whose observers are being called
};

}  // namespace vqbluez
