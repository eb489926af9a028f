#include "platform/reference/wake_debt.h"

#include <sched.h>

#include "platform/reference/message_log.h"

namespace vqframework {
namespace {

struct Debt {
  unsigned int depth;  // named locks that this thread holds, repeated holds included
  std::uint32_t groups;
  bool isYieldOwed;
};
thread_local Debt debt;

bool isOwed() {
  return debt.groups != 0 || debt.isYieldOwed;
}

void pay() {
  if (const std::uint32_t groups = debt.groups) {
    debt.groups = 0;
    MessageLog::opened()->wake(groups);
  }
  if (debt.isYieldOwed) {
    debt.isYieldOwed = false;
    sched_yield();
  }
}

void payUnlessLocked() {
  if (debt.depth == 0 && isOwed()) {
    pay();
  }
}

}  // namespace

void namedLockEntered() {
  ++debt.depth;
}

void namedLockLeft() {
  --debt.depth;
  payUnlessLocked();
}

bool holdsNamedLock() {
  return debt.depth != 0;
}

void oweWakes(std::uint32_t groups) {
  debt.groups |= groups;
  payUnlessLocked();
}

void oweYield() {
  debt.isYieldOwed = true;
  payUnlessLocked();
}

}  // namespace vqframework
