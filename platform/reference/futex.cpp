#include "platform/reference/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>

namespace vqframework {

static_assert(sizeof(std::atomic<std::uint32_t>) == 4, "the kernel looks at four bytes");

void futexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected, std::uint32_t bits) {
  syscall(SYS_futex, &word, FUTEX_WAIT_BITSET, expected, nullptr, nullptr, bits);
}

bool futexWake(std::atomic<std::uint32_t>& word, std::uint32_t bits) {
  return syscall(SYS_futex, &word, FUTEX_WAKE_BITSET, INT_MAX, nullptr, nullptr, bits) != -1;
}

}  // namespace vqframework
