#include "platform/reference/message_log.h"

#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/inprocess/mutex.h"
#include "platform/reference/futex.h"
#include "platform/reference/monotonic_time.h"
#include "platform/reference/process_id.h"
#include "platform/reference/robust_mutex.h"
#include "platform/reference/wake_debt.h"

namespace vqframework {
namespace {

constexpr std::uint32_t kEveryGroup = (1U << kGroupCount) - 1;
constexpr std::uint32_t kOneSleeper = 1U << kGroupCount;
constexpr std::uint32_t kSizeBits = 16;
constexpr std::uint32_t kSizeMask = (1U << kSizeBits) - 1;
constexpr std::uint64_t kOneChange = 1ULL << kGroupCount;

int initializeLogObject(void* object) {
  // The rest of an empty log is zero.
  return initializeRobustMutex(static_cast<MessageLogObject*>(object)->postingLock);
}

constexpr SharedObjectKind kLogKind = {kMessageLogMagic, kMessageLogVersion, sizeof(MessageLogObject),
                                       &initializeLogObject};

std::atomic<MessageLog*> openedLog{nullptr};  // never taken back: late destructors still post

// The bit by which a process wakes its own receiver; others that share it wake for nothing.
std::uint32_t kickBit() {
  return 1U << (kGroupCount + processId() % kGroupCount);
}

// Payloads are copied word by word through atomics: a reader may copy a slot while a poster overwrites it, and finds
// out afterwards.
void storePayload(MessageSlot& slot, const void* data, std::size_t size) {
  const unsigned char* const from = static_cast<const unsigned char*>(data);
  const std::size_t whole = size / sizeof(MessageWord);
  for (std::size_t word = 0; word < whole; ++word) {
    MessageWord value;
    memcpy(&value, from + word * sizeof value, sizeof value);
    slot.payload[word].store(value, std::memory_order_relaxed);
  }
  if (const std::size_t rest = size % sizeof(MessageWord)) {
    MessageWord value = 0;
    memcpy(&value, from + whole * sizeof value, rest);
    slot.payload[whole].store(value, std::memory_order_relaxed);
  }
}

// Leaves zeros behind the payload, without writing more than the last one left there.
void loadPayload(const MessageSlot& slot, Message& message) {
  const std::size_t whole = message.size / sizeof(MessageWord);
  for (std::size_t word = 0; word < whole; ++word) {
    const MessageWord value = slot.payload[word].load(std::memory_order_relaxed);
    memcpy(message.payload + word * sizeof value, &value, sizeof value);
  }
  if (message.used > message.size) {
    memset(message.payload + message.size, 0, message.used - message.size);
  }
  if (const std::size_t rest = message.size % sizeof(MessageWord)) {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
                  "the channel's byte order; the first bytes are the low ones");
    const MessageWord value =
        slot.payload[whole].load(std::memory_order_relaxed) & ((MessageWord{1} << (rest * 8)) - 1);
    memcpy(message.payload + whole * sizeof value, &value, sizeof value);
  }
  message.used = message.size;
}

}  // namespace

class MessageLog::PostingLock {
 public:
  explicit PostingLock(MessageLog& log) : mutex_(log.object_->postingLock), taken_(lockRobustMutex(mutex_)) {
    if (taken_ == Taken::kOwnerDied) {
      log.repair();
    }
  }
  ~PostingLock() {
    if (isHeld()) {
      unlockRobustMutex(mutex_);
    }
  }
  PostingLock(const PostingLock&) = delete;
  PostingLock& operator=(const PostingLock&) = delete;

  // False where it is damaged: nobody may append then, and nobody does. Reading does no harm.
  bool isHeld() const { return taken_ != Taken::kDamaged; }

 private:
  pthread_mutex_t& mutex_;
  const Taken taken_;
};

MessageLog* MessageLog::opened() {
  return openedLog.load(std::memory_order_acquire);
}

MessageLog* MessageLog::get() {
  if (MessageLog* const existing = opened()) {
    return existing;
  }
  static Mutex* const mutex = new Mutex;
  static std::string* const lastError = new std::string;
  MutexLock lock(*mutex);
  if (MessageLog* const existing = opened()) {
    return existing;
  }
  std::unique_ptr<MessageLog> log(new MessageLog);
  std::string error;
  void* const object = mapObject(kMessageLogName, kLogKind, error);
  if (object == nullptr) {
    if (error != *lastError) {
      *lastError = error;
      VQDbgOutput::DbgPrint("VQFramework/SharedMemory/VQSharedMemNotifier", "VQSharedMemNotifier", 0, 1,
                            "notifications are off, the log cannot be shared with other processes: %s\n",
                            error.c_str());
    }
    return nullptr;
  }
  log->object_ = static_cast<MessageLogObject*>(object);
  openedLog.store(log.release(), std::memory_order_release);
  return opened();
}

bool MessageLog::post(std::uint32_t id, const void* data, std::uint32_t size) {
  std::uint32_t wakes = 0;
  {
    const PostingLock lock(*this);
    if (!lock.isHeld()) {
      return false;
    }
    append(id, data, size, false);
    wakes = takeWakes(groupOf(id));
  }
  oweWakes(wakes);
  if (isTimeToYield()) {
    oweYield();
  }
  return true;
}

bool MessageLog::isTimeToYield() {
  if (object_->yieldMark.load(std::memory_order_relaxed) == 0 ||
      postsInARow_.fetch_add(1, std::memory_order_relaxed) + 1 < kPostsPerYield) {
    return false;
  }
  object_->yieldMark.store(0, std::memory_order_relaxed);
  postsInARow_.store(0, std::memory_order_relaxed);
  return true;
}

void MessageLog::markYield() const {
  object_->yieldMark.store(1, std::memory_order_relaxed);
}

bool MessageLog::nudgeOwnReceiver() {
  {
    const PostingLock lock(*this);
    if (!lock.isHeld()) {
      return false;
    }
    append(0, nullptr, 0, true);
  }
  const bool isAwake = futexWake(object_->posted, kickBit());
  if (!isAwake) {
    addOwed(kEveryGroup);  // whoever posts next pays, and wakes it too
  }
  return isAwake;
}

// The order of the stores is what readers and the repair rely on, see the layout.
void MessageLog::append(std::uint32_t id, const void* data, std::uint32_t size, bool isControl) {
  const std::uint64_t sequence = object_->head.load(std::memory_order_relaxed);
  IdentifierCount* const count = isControl ? nullptr : countOf(id, true);
  const std::uint32_t number = count == nullptr ? 0 : count->posted.load(std::memory_order_relaxed);
  MessageSlot& slot = object_->slots[sequence % kSlotCount];

  slot.sequence.store(0, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_release);
  slot.time.store(monotonicNanoseconds(), std::memory_order_relaxed);
  slot.number.store(number, std::memory_order_relaxed);
  slot.id.store(id, std::memory_order_relaxed);
  slot.size.store(isControl ? kControlMessage : size | processor_.now() << kSizeBits, std::memory_order_relaxed);
  slot.pid.store(processId(), std::memory_order_relaxed);
  storePayload(slot, data, size);
  slot.sequence.store(sequence + 1, std::memory_order_release);

  object_->head.store(sequence + 1, std::memory_order_release);
  // A full barrier, too: whoever looks at `sleepers` next must not have looked before.
  object_->posted.fetch_add(1, std::memory_order_seq_cst);
  if (count != nullptr) {
    count->posted.store(number + 1, std::memory_order_relaxed);
  }
}

// The groups that the caller must wake: its own where somebody sleeps for it, and what other posters still owe, since
// they may be dead.
std::uint32_t MessageLog::takeWakes(std::uint32_t group) {
  const std::uint32_t owed = static_cast<std::uint32_t>(object_->owed.load(std::memory_order_relaxed)) & kEveryGroup;
  if ((object_->sleepers.load(std::memory_order_seq_cst) & group) == 0) {
    return owed;
  }
  // First the sleepers, then the debt. The other way round another poster could pay the new debt at once; a receiver
  // that it woke and that is asleep again already would have its bit taken, and nobody would know of it. A poster that
  // dies in between holds the lock: the repair owes everybody a wake-up.
  object_->sleepers.fetch_and(~group, std::memory_order_seq_cst);
  // The bit may be that of a receiver which has read the message already and is about to sleep for the next one. With
  // its bit gone it must not: nobody would wake it.
  object_->posted.fetch_add(1, std::memory_order_seq_cst);
  addOwed(group);
  return owed | group;
}

void MessageLog::addOwed(std::uint32_t groups) {
  std::uint64_t owed = object_->owed.load(std::memory_order_relaxed);
  while (!object_->owed.compare_exchange_weak(owed, (owed + kOneChange) | groups, std::memory_order_seq_cst)) {
  }
}

void MessageLog::wake(std::uint32_t groups) {
  std::uint64_t owed = object_->owed.load(std::memory_order_seq_cst);
  const std::uint32_t open = static_cast<std::uint32_t>(owed) & groups;
  if (open == 0) {
    return;  // another poster has paid meanwhile, after this thread's messages were in the log
  }
  if (!futexWake(object_->posted, open)) {
    return;  // still owed: the next poster pays
  }
  // Struck off only where nothing was added since: a group that is owed anew must stay. One that stays for no reason
  // costs the next poster a system call.
  object_->owed.compare_exchange_strong(owed, owed & ~std::uint64_t{open}, std::memory_order_seq_cst);
}

// The last poster died under the lock, at any instruction. What it had not counted in `head` is not there; what it had
// counted may lack the rest: the futex word, the count of its identifier, the wake-ups.
void MessageLog::repair() {
  const std::uint64_t head = object_->head.load(std::memory_order_relaxed);
  object_->posted.fetch_add(1, std::memory_order_seq_cst);
  if (head != 0) {
    const MessageSlot& last = object_->slots[(head - 1) % kSlotCount];
    IdentifierCount* const count = countOf(last.id.load(std::memory_order_relaxed), false);
    const bool isControl = (last.size.load(std::memory_order_relaxed) & kControlMessage) != 0;
    const bool isWhole = last.sequence.load(std::memory_order_relaxed) == head;
    if (count != nullptr && isWhole && !isControl) {
      count->posted.store(last.number.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
  }
  addOwed(kEveryGroup);
}

// Null where the table is full: losses of such identifiers are not counted.
IdentifierCount* MessageLog::countOf(std::uint32_t id, bool mayAdd) {
  for (IdentifierCount& count : object_->counts) {
    if (count.isUsed.load(std::memory_order_relaxed) == 0) {
      if (!mayAdd) {
        return nullptr;
      }
      count.id.store(id, std::memory_order_relaxed);
      count.isUsed.store(1, std::memory_order_relaxed);
      return &count;
    }
    if (count.id.load(std::memory_order_relaxed) == id) {
      return &count;
    }
  }
  return nullptr;
}

std::uint32_t MessageLog::posted() const {
  return object_->posted.load(std::memory_order_acquire);
}

std::uint32_t MessageLog::sleeperCount() const {
  return object_->sleepers.load(std::memory_order_relaxed) / kOneSleeper;
}

std::uint32_t MessageLog::receiverCount() const {
  const auto isTaken = [](const AttachedPlace& place) { return place.pid.load(std::memory_order_relaxed) != 0; };
  return static_cast<std::uint32_t>(std::count_if(std::begin(object_->places), std::end(object_->places), isTaken));
}

MessageLog::Read MessageLog::read(std::uint64_t position, Message& message) const {
  if (position == object_->head.load(std::memory_order_acquire)) {
    return Read::kNothingNew;
  }
  const MessageSlot& slot = object_->slots[position % kSlotCount];
  if (slot.sequence.load(std::memory_order_acquire) != position + 1) {
    return Read::kOverwritten;
  }
  const std::uint32_t sizeWord = slot.size.load(std::memory_order_relaxed);
  const std::uint32_t size = sizeWord & kSizeMask;
  message.isControl = (sizeWord & kControlMessage) != 0;
  message.processor = sizeWord >> kSizeBits;
  message.size = size <= VQSharedMemNotifier::kMaxPayload ? size : 0;
  message.id = slot.id.load(std::memory_order_relaxed);
  message.number = slot.number.load(std::memory_order_relaxed);
  message.pid = slot.pid.load(std::memory_order_relaxed);
  message.time = slot.time.load(std::memory_order_relaxed);
  loadPayload(slot, message);
  std::atomic_thread_fence(std::memory_order_acquire);
  if (slot.sequence.load(std::memory_order_relaxed) != position + 1) {
    return Read::kOverwritten;
  }
  return Read::kTaken;
}

std::uint64_t MessageLog::skip(std::uint64_t position, const std::vector<std::uint32_t>& ids, Snapshot& snapshot) {
  const PostingLock lock(*this);
  snapshot = snapshotLocked(ids);
  const std::uint64_t oldest = snapshot.head > kSlotCount ? snapshot.head - kSlotCount : 0;
  // A slot that is in range and yet invalid was damaged by somebody: go past it.
  std::uint64_t next = std::max(position, oldest);
  while (next < snapshot.head &&
         object_->slots[next % kSlotCount].sequence.load(std::memory_order_relaxed) != next + 1) {
    ++next;
  }
  return std::min(next, snapshot.head);
}

MessageLog::Snapshot MessageLog::snapshot(const std::vector<std::uint32_t>& ids) {
  const PostingLock lock(*this);
  return snapshotLocked(ids);
}

MessageLog::Snapshot MessageLog::snapshotLocked(const std::vector<std::uint32_t>& ids) {
  Snapshot result = {object_->head.load(std::memory_order_relaxed), {}};
  result.numbers.reserve(ids.size());
  for (const std::uint32_t id : ids) {
    const IdentifierCount* const count = countOf(id, false);
    result.numbers.push_back(count == nullptr ? 0 : count->posted.load(std::memory_order_relaxed));
  }
  return result;
}

void MessageLog::sleep(std::uint32_t posted, std::uint32_t groups) {
  std::uint32_t before = object_->sleepers.load(std::memory_order_relaxed);
  std::uint32_t after = 0;
  do {
    // Receivers that are killed asleep stay counted. A count that has reached its end stays there: too high costs
    // needless wake-ups only.
    const bool isFull = before >= kEveryGroup * kOneSleeper;
    after = (isFull ? before : before + kOneSleeper) | groups;
  } while (!object_->sleepers.compare_exchange_weak(before, after, std::memory_order_seq_cst));

  futexWait(object_->posted, posted, groups | kickBit());

  before = object_->sleepers.load(std::memory_order_relaxed);
  do {
    const bool isFull = before >= kEveryGroup * kOneSleeper;
    after = isFull ? before : before - kOneSleeper;
    if (after < kOneSleeper) {
      after = 0;  // the last one up: nobody needs waking for any group
    }
  } while (!object_->sleepers.compare_exchange_weak(before, after, std::memory_order_seq_cst));
}

}  // namespace vqframework
