#include "inspect/locks.h"

#include <linux/futex.h>

#include <cstddef>

#include "inspect/log_reader.h"
#include "platform/reference/named_lock.h"

namespace inspect {
namespace {

using vqframework::kLockMagic;
using vqframework::kLockVersion;
using vqframework::LockObject;

}  // namespace

std::optional<LockWord> lockWordOf([[maybe_unused]] const Bytes& bytes, [[maybe_unused]] std::size_t offset) {
#ifdef __GLIBC__
  const std::uint32_t word = bytes.at<std::uint32_t>(offset + offsetof(pthread_mutex_t, __data.__lock));
  return LockWord{word & FUTEX_TID_MASK, (word & FUTEX_WAITERS) != 0, (word & FUTEX_OWNER_DIED) != 0};
#else
  return std::nullopt;
#endif
}

Lock readLock(const std::string& folder, const std::string& segment) {
  const Object object(folder, segment + ".lock");
  Lock lock;
  lock.object = object.facts();
  lock.problem = headerProblem(object, kLockMagic, kLockVersion, sizeof(LockObject));
  if (!lock.problem.empty()) {
    return lock;
  }
  const StableCopy copy = object.copyStable(0, sizeof(LockObject));
  lock.isChanging = copy.isChanging;
  lock.holderPid = copy.bytes.at<std::uint32_t>(offsetof(LockObject, holderPid));
  lock.contended = copy.bytes.at<std::uint64_t>(offsetof(LockObject, contendedAcquisitions));
  lock.word = lockWordOf(copy.bytes, offsetof(LockObject, mutex));
  return lock;
}

}  // namespace inspect
