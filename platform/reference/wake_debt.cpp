#include "platform/reference/wake_debt.h"

#include "platform/reference/message_log.h"

namespace vqframework {
namespace {

struct Debt {
  unsigned int depth;  // named locks that this thread holds, repeated holds included
  std::uint32_t groups;
};
thread_local Debt debt;

void pay() {
  const std::uint32_t groups = debt.groups;
  debt.groups = 0;
  MessageLog::opened()->wake(groups);
}

}  // namespace

void namedLockEntered() {
  ++debt.depth;
}

void namedLockLeft() {
  if (--debt.depth == 0 && debt.groups != 0) {
    pay();
  }
}

void oweWakes(std::uint32_t groups) {
  debt.groups |= groups;
  if (debt.depth == 0 && debt.groups != 0) {
    pay();
  }
}

}  // namespace vqframework
