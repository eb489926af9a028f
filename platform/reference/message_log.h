// The notifier's log: one per machine, one mapping per process.
//
// Any thread may post and read. Posting takes the log's own lock, which comes after every named lock and under which
// nothing else is taken.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/reference/message_log_layout.h"
#include "platform/reference/recent_processor.h"

namespace vqframework {

// One message as a reader took it: a copy of its own, aligned for any type and followed by zeros. A reader keeps one
// and reads into it again and again.
struct Message {
  // What a handler may read behind a payload that is shorter than its record.
  static constexpr std::size_t kZerosBehind = 512;

  std::uint32_t id = 0;
  std::uint32_t size = 0;
  std::uint32_t number = 0;
  std::uint32_t pid = 0;
  std::uint64_t time = 0;
  std::uint32_t processor = 0;  // on which the sender was a few messages ago
  bool isControl = false;
  std::size_t used = 0;  // behind so many bytes of `payload` there are zeros only
  alignas(64) unsigned char payload[VQSharedMemNotifier::kMaxPayload + kZerosBehind] = {};
};

class MessageLog {
 public:
  enum class Read { kTaken, kNothingNew, kOverwritten };

  // Where the log stood at one moment.
  struct Snapshot {
    std::uint64_t head;                  // messages posted
    std::vector<std::uint32_t> numbers;  // messages posted of each identifier that was asked for
  };

  // The log, opened or created at the first call. Null, with a log line, when it cannot be had; the next call tries
  // again and stays silent unless the reason has changed.
  static MessageLog* get();
  // The log of a process that has it open.
  static MessageLog* opened();

  MessageLog(const MessageLog&) = delete;
  MessageLog& operator=(const MessageLog&) = delete;

  // Less than half a data ring of the channel, whose readers must not fall further behind.
  static constexpr std::uint32_t kPostsPerYield = 16;

  // Appends a message and owes the wake-ups that it calls for (wake_debt.h). False, and nothing is appended, where
  // somebody has damaged the posting lock.
  bool post(std::uint32_t id, const void* data, std::uint32_t size);

  // Makes sure that the receiver of this process does not sleep, and does not fall asleep, on its old position. False
  // where that could not be done: it may sleep until the next message of anybody.
  bool nudgeOwnReceiver();

  // Copies message `position`. kOverwritten: it is no longer there.
  Read read(std::uint64_t position, Message& message) const;

  // The oldest message that is still there, as seen by somebody who is at `position` and was told kOverwritten.
  // Fills in where the log stands; `ids` are the identifiers to count.
  [[gnu::cold]] std::uint64_t skip(std::uint64_t position, const std::vector<std::uint32_t>& ids, Snapshot& snapshot);

  Snapshot snapshot(const std::vector<std::uint32_t>& ids);

  // The futex word. To be loaded before the read that finds nothing new, and handed to `sleep` then. (Not the reader's
  // position: where a poster died between `head` and the word the two differ, and nobody could sleep.)
  std::uint32_t posted() const;

  // How many receivers sleep, of all processes. Those that were killed asleep stay counted as long as the log is there,
  // so it may be too high.
  std::uint32_t sleeperCount() const;
  // Processes that receive, as far as the table has room for them.
  std::uint32_t receiverCount() const;

  // Before a receiver yields: who posts one message after the other shall yield now and then, too, so that nobody who
  // yields is left far behind.
  void markYield() const;
  // This process has read a message of another one: its posts are part of a conversation.
  void noteForeignMessage() { postsInARow_.store(0, std::memory_order_relaxed); }

  // Sleeps until a message of one of the groups is posted, unless the futex word has changed. May wake for no reason.
  void sleep(std::uint32_t posted, std::uint32_t groups);

  // Wakes whoever sleeps for one of the groups and strikes them off the owed ones.
  void wake(std::uint32_t groups);

  MessageLogObject& object() { return *object_; }

  static std::uint32_t groupOf(std::uint32_t id) { return 1U << (id % kGroupCount); }

 private:
  MessageLog() = default;

  // RAII for the posting lock; repairs what a dead poster left.
  class PostingLock;

  void append(std::uint32_t id, const void* data, std::uint32_t size, bool isControl);
  std::uint32_t takeWakes(std::uint32_t group);
  bool isTimeToYield();
  void addOwed(std::uint32_t groups);
  [[gnu::cold]] void repair();
  IdentifierCount* countOf(std::uint32_t id, bool mayAdd);
  Snapshot snapshotLocked(const std::vector<std::uint32_t>& ids);

  MessageLogObject* object_ = nullptr;  // constant once the log is opened
  RecentProcessor processor_;           // of this process's posts; under the posting lock
  std::atomic<std::uint32_t> postsInARow_{0};
};

}  // namespace vqframework
