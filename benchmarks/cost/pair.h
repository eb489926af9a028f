// A device side and an application that exchange an exact number of messages, on one processor.
#pragma once

#include <string>
#include <vector>

#include "benchmarks/cost/lens.h"
#include "benchmarks/links/product.h"

namespace bench {

struct PairJob {
  Way way = Way::kPlain;
  bool isStatus = false;   // the device side announces its device's connection; else bytes go there and back
  unsigned int bytes = 0;  // of data
  unsigned int warmUp = 0;
  unsigned int count = 0;  // round trips or announcements that are counted
  ProductKind kind;
};

struct PairFigure {
  std::string name;
  double value;
};

// Per message; what they are is told in main.cpp. Which there are depends on the way.
std::vector<PairFigure> figuresOf(const PairJob& job, int processor);

}  // namespace bench
