// The order of a run: all transports of one workload after one another, so that what the machine does otherwise meets
// all of them, and each round beginning with another one, so that none has a place of its own.
#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/support/options.h"
#include "benchmarks/support/placement.h"

namespace bench {

struct Turn {
  Placement placement;
  unsigned int parameter = 0;
  std::size_t transport = 0;  // index
};

void playRounds(const Options& options, const std::vector<unsigned int>& parameters, std::size_t transports,
                const std::function<void(const Turn&)>& play);

// Runs one turn. What it throws names the transport and the workload.
template <class Play>
auto named(const std::string& transport, const Turn& turn, Play play) {
  try {
    return play();
  } catch (const std::exception& error) {
    throw std::runtime_error(transport + ", " + turn.placement.name + ", " + std::to_string(turn.parameter) + ": " +
                             error.what());
  }
}

// The main of every program: private folders, and errors told. Returns the exit code.
int runProgram(char** argv, const std::function<void()>& program);

}  // namespace bench
