#include "benchmarks/support/rounds.h"

#include <stdio.h>
#include <unistd.h>

#include <exception>

#include "tests/support/private_shm.h"

namespace bench {

void playRounds(const Options& options, const std::vector<unsigned int>& parameters, std::size_t transports,
                const std::function<void(const Turn&)>& play) {
  const std::vector<Placement> where = placements(options.placement);
  for (unsigned int round = 0; round < options.rounds; ++round) {
    if (isatty(STDERR_FILENO) != 0) {
      fprintf(stderr, "\rround %u of %u", round + 1, options.rounds);
    }
    for (const Placement& placement : where) {
      for (const unsigned int parameter : parameters) {
        for (std::size_t i = 0; i < transports; ++i) {
          play({placement, parameter, (i + round) % transports});
        }
      }
    }
  }
  if (isatty(STDERR_FILENO) != 0) {
    fprintf(stderr, "\r                    \r");
  }
}

int runProgram(char** argv, const std::function<void()>& program) {
  // For an ordinary user: makes him root of a user namespace, which the stage needs.
  test_support::enterPrivateShm(argv);
  try {
    program();
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}

}  // namespace bench
