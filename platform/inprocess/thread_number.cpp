#include "platform/inprocess/thread_number.h"

#include <atomic>

namespace vqframework {

__thread std::uint64_t ownThreadNumber = 0;

std::uint64_t takeThreadNumber() {
  static std::atomic<std::uint64_t> last{0};
  ownThreadNumber = last.fetch_add(1, std::memory_order_relaxed) + 1;
  return ownThreadNumber;
}

}  // namespace vqframework
