// While it lives, the delivery thread of this process is kept inside a call: it takes no message, and it does not sleep
// for one. So nobody is woken by what is posted, and nothing runs beside the benchmark.
#pragma once

#include <atomic>

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "benchmarks/support/futex.h"

namespace bench {

class HeldDelivery {
 public:
  // Throws where nothing can be posted.
  HeldDelivery();
  ~HeldDelivery();
  HeldDelivery(const HeldDelivery&) = delete;
  HeldDelivery& operator=(const HeldDelivery&) = delete;

 private:
  unsigned int hold(unsigned int id, void* data, unsigned int size);

  Milestone held_{};
  Milestone released_{};
  VQSharedMemNotifier notifier_;
  VQObserver<HeldDelivery> observer_;
};

}  // namespace bench
