// The notifier's log as it lies in the shared object "/VQSharedMemNotifier.log".
//
// Glossary
//   message    one NotifyDataUpdate; its sequence number counts all messages since the log was made
//   slot       place of a message: sequence number modulo kSlotCount
//   group      identifier modulo 16: what a sleeping receiver can be woken by
//   place      one attached process in the table that lets people see who listens
//
//   who                      writes                                        under
//   poster                   slots, head, posted, identifier counts        the posting lock
//   poster                   sleepers (clears its group), owed             the posting lock; owed also after the wake
//   receiver                 sleepers (its groups, the count), yieldMark   nothing
//   attached process         its own place                                 nothing; claimed by compare-and-swap on pid
//
// A slot is valid for sequence number n when its `sequence` reads n + 1 before and after the copy. A poster first sets
// it to 0, so a message that was half written when its poster died is never taken for one: `head` does not count it,
// and the next poster writes the same slot anew.
//
// Life of a wake-up: a receiver loads `posted`, reads everything, sets its groups' bits in `sleepers` and sleeps on
// `posted`, which the kernel compares with what was loaded; a poster changes `posted` first and looks at `sleepers`
// then, so one of the two sees the other. The poster takes its group's bit out of `sleepers`, changes `posted` again,
// notes the bit in `owed`, and wakes after its outermost unlock; should it die before that, the next poster finds the
// bit in `owed` and pays. The second change is for a receiver whose bit is gone but which does not sleep yet, having
// read the message in between: it must set its bit anew.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/reference/shared_object.h"

namespace vqframework {

constexpr const char* kMessageLogName = "VQSharedMemNotifier.log";
constexpr std::uint32_t kMessageLogMagic = 0x4E4D5156U;  // "VQMN"
constexpr std::uint32_t kMessageLogVersion = 3;

// A receiver may be this many messages behind before it loses any.
constexpr std::uint32_t kSlotCount = 8192;
constexpr std::uint32_t kCountedIdentifiers = 64;
constexpr std::uint32_t kPlaceCount = 64;
constexpr std::uint32_t kGroupCount = 16;

using MessageWord = std::uintptr_t;
constexpr std::size_t kMessageWords = VQSharedMemNotifier::kMaxPayload / sizeof(MessageWord);

struct alignas(64) MessageSlot {
  std::atomic<std::uint64_t> sequence;  // sequence number + 1; 0 = being written
  std::atomic<std::uint64_t> time;      // CLOCK_MONOTONIC of the post, nanoseconds
  std::atomic<std::uint32_t> number;    // how many messages of this identifier were posted before, modulo 2^32
  std::atomic<std::uint32_t> id;
  std::atomic<std::uint32_t> size;  // low half: payload bytes; above: on which processor it was posted, as a hint;
                                    // kControlMessage = for nobody
  std::atomic<std::uint32_t> pid;   // sender
  std::atomic<MessageWord> payload[kMessageWords];
};
static_assert(sizeof(MessageSlot) == 384, "layout");
static_assert(offsetof(MessageSlot, payload) == 32, "layout");

// A message that only moves `posted` on, so that no receiver of the process falls asleep on an old position.
constexpr std::uint32_t kControlMessage = 0x80000000U;

struct IdentifierCount {
  std::atomic<std::uint32_t> id;
  std::atomic<std::uint32_t> isUsed;
  std::atomic<std::uint32_t> posted;  // messages so far, modulo 2^32
};

struct alignas(64) AttachedPlace {
  static constexpr std::uint32_t kIdentifiers = 16;
  static constexpr std::uint32_t kNameBytes = 16;

  std::atomic<std::uint32_t> pid;        // 0 = free
  std::atomic<std::uint32_t> idCount;    // identifiers registered, of which at most kIdentifiers are listed
  std::atomic<std::uint64_t> startTime;  // of the process, as in /proc/PID/stat: tells it from a later one of that pid
  std::atomic<std::uint64_t> position;   // sequence number of the next message it reads
  std::atomic<std::uint64_t> lost;       // messages of its identifiers that it was too slow for
  std::atomic<std::uint32_t> ids[kIdentifiers];
  std::atomic<char> name[kNameBytes];  // the kernel's name of the process, NUL-padded
};
static_assert(sizeof(AttachedPlace) == 128, "layout");

struct MessageLogObject {
  SharedHeader header;
  alignas(64) pthread_mutex_t postingLock;
  alignas(64) std::atomic<std::uint64_t> head;      // messages posted
  std::atomic<std::uint32_t> posted;                // the futex word: changes when receivers must look again
  alignas(64) std::atomic<std::uint32_t> sleepers;  // low half: groups somebody sleeps for; high half: how many sleep
  std::atomic<std::uint32_t> yieldMark;         // 1: a receiver has yielded to its sender since a sender last yielded
  alignas(64) std::atomic<std::uint64_t> owed;  // low 16 bits: groups still to be woken; above: changes so far
  alignas(64) IdentifierCount counts[kCountedIdentifiers];
  AttachedPlace places[kPlaceCount];
  MessageSlot slots[kSlotCount];
};

// The same for all who look, whatever their word size: mutexes take up to 48 bytes.
static_assert(offsetof(MessageLogObject, postingLock) == 64 && offsetof(MessageLogObject, head) == 128, "layout");
static_assert(offsetof(MessageLogObject, sleepers) == 192 && offsetof(MessageLogObject, owed) == 256, "layout");
static_assert(offsetof(MessageLogObject, counts) == 320 && offsetof(MessageLogObject, places) == 1088, "layout");
static_assert(offsetof(MessageLogObject, slots) == 9280 && sizeof(MessageLogObject) == 3155008, "layout");

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "shared between processes");
static_assert(std::atomic<MessageWord>::is_always_lock_free, "shared between processes");

}  // namespace vqframework
