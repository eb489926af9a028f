// bench_micro: what does each step of a message cost?
//
// The hot functions one by one through the shared libraries' public interface, on one processor, in a /dev/shm of their
// own. Nobody is woken by anything here: the delivery thread is held (held_delivery.h), and there is no other process.
// What a function bounds is said where it is named (framework.cpp, endpoints.cpp). Nanoseconds of a call.
// The arguments are those of Google Benchmark: see --help.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "benchmarks/micro/channel.h"
#include "benchmarks/micro/held_delivery.h"
#include "benchmarks/support/machine.h"
#include "benchmarks/support/placement.h"
#include "tests/support/private_shm.h"

namespace {

std::string commandOf(int argc, char** argv) {
  const std::string program = argv[0];
  std::string command = program.substr(program.rfind('/') + 1);
  for (int i = 1; i < argc; ++i) {
    command += std::string(" ") + argv[i];
  }
  return command;
}

std::size_t runAll() {
  bench::pinTo(bench::placements("same").front().sender);
  const bench::HeldDelivery held;
  const bench::Channel channel;
  return benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) {
  test_support::enterPrivateShm(argv);
  // A delivery thread that is held loses messages, and says so.
  setenv("VQDBG", "off", 0);
  benchmark::AddCustomContext("machine", bench::machine());
  benchmark::AddCustomContext("build", bench::buildOfThis());
  benchmark::AddCustomContext("command", commandOf(argc, argv));
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  try {
    if (runAll() == 0) {
      fprintf(stderr, "nothing was measured\n");
      return 1;
    }
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
