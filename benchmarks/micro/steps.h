// What the benchmarks have in common.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

namespace bench {

// As often as Google Benchmark wants it.
template <class Step>
void repeat(benchmark::State& state, Step step) {
  // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): its loop wants a name for what nobody needs
  for (auto _ : state) {
    step();
  }
}

// A figure of something that did not work is worth nothing, and no later one more.
inline void mustHold(bool condition, const char* what) {
  if (!condition) {
    fprintf(stderr, "%s\n", what);
    exit(1);
  }
}

}  // namespace bench
