// Does what the processor refuses, and expects SIGBUS: a machine that let it pass would find no fault in anybody.
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>

namespace {

sigjmp_buf afterFault;

void onFault(int /*signal*/) {
  siglongjmp(afterFault, 1);
}

// Loads two words at once, which is only allowed at multiples of four.
unsigned long long loadPair(const unsigned char* address) {
  unsigned long long pair = 0;
  asm volatile("ldrd %Q0, %R0, [%1]" : "=r"(pair) : "r"(address) : "memory");
  return pair;
}

}  // namespace

int main() {
  struct sigaction action = {};
  action.sa_handler = &onFault;
  sigaction(SIGBUS, &action, nullptr);
  alignas(8) static const unsigned char bytes[16] = {};
  if (sigsetjmp(afterFault, 1) != 0) {
    return 0;
  }
  printf("loaded %llu from an odd address\n", loadPair(bytes + 1));
  return 1;
}
