// Middle and edges of a set of figures.
#pragma once

#include <cstdint>
#include <vector>

namespace bench {

struct Quartiles {
  double low = 0;
  double median = 0;
  double high = 0;
};

// Interpolates between neighbours; 0 for none.
double quantile(std::vector<double> values, double part);
Quartiles quartilesOf(const std::vector<double>& values);

// value[i] / base[i], round by round.
std::vector<double> ratios(const std::vector<double>& values, const std::vector<double>& base);

}  // namespace bench
