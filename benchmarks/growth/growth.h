// What is measured while something grows: the number of clients, or of messages that were sent.
#pragma once

#include <string>

#include "benchmarks/links/product.h"
#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/options.h"
#include "benchmarks/support/results.h"

namespace bench {

// Bare, or the product with clients somewhere.
struct GrowthKind {
  std::string name;
  bool isBare = false;
  IdleApps idle = IdleApps::kInOneProcess;
  std::string environment;
};

// `clients` of them are registered. Bare has one, always.
RoundTripFigures roundTripOf(const GrowthKind& kind, unsigned int clients, const RoundTripJob& job);

// Round trips of one client while others are registered and have nothing to do.
void measureClients(const Options& options, Results& results);

// As many messages as an application of the field has in an hour, without a rest. Returns what has grown meanwhile, in
// words; empty = nothing.
std::string measureHour(const Options& options, Results& results);

}  // namespace bench
