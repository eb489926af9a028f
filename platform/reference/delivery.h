// Hands messages of the log to the observers of this process, on one thread of its own.
//
// The thread exists while something is registered. It holds no lock while an observer runs, and none of the shared
// ones ever, except to find its place again after it was overtaken.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/inprocess/observer_list.h"
#include "platform/reference/attach_table.h"
#include "platform/reference/loss_counter.h"
#include "platform/reference/message_log.h"
#include "platform/reference/polling.h"

namespace vqframework {

class Delivery : public ObserverList {
 public:
  static Delivery& instance();

  // Registers `observer`, and starts the thread where there is none. False when there can be none.
  bool start(MessageLog& log, VQObserver_* observer, const void* owner, const std::vector<std::uint32_t>& ids);

 private:
  // What the thread keeps to itself.
  struct Reader {
    MessageLog& log;
    std::uint64_t position;
    std::uint64_t version;
    std::uint32_t groups;
    LossCounter losses;
    AttachedProcess place;
    Message message;
    Polling polling;
  };

  void afterRemoval() override;
  void followNew(MessageLog& log, const std::vector<std::uint32_t>& ids, std::uint64_t& head) VQ_REQUIRES(mutex_);
  bool startThread(MessageLog& log, std::uint64_t position) VQ_REQUIRES(mutex_);
  void run(MessageLog& log, std::uint64_t position);
  bool refresh(Reader& reader);
  [[gnu::cold]] bool takeOver(Reader& reader);
  void readNext(Reader& reader);
  void rest(Reader& reader, std::uint32_t posted);
  [[gnu::cold]] void findPlaceAgain(Reader& reader);
  [[gnu::cold]] static void report(Reader& reader, std::uint64_t lost);

  Mutex mutex_;  // before the log's posting lock and the list's own lock; not held while observers run
  Condition threadEnded_;
  ThreadNode* thread_ VQ_GUARDED_BY(mutex_) = nullptr;  // the delivery thread, null = none; set by itself
  bool isRunning_ VQ_GUARDED_BY(mutex_) = false;
  std::vector<LossCounter::Followed> followed_ VQ_GUARDED_BY(mutex_);
  std::atomic<std::uint64_t> version_{1};  // changes with the registrations; the thread looks at it before each message
};

}  // namespace vqframework
