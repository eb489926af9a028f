#include "benchmarks/support/quantiles.h"

#include <algorithm>
#include <cmath>

namespace bench {

double quantile(std::vector<double> values, double part) {
  if (values.empty()) {
    return 0;
  }
  const double place = part * static_cast<double>(values.size() - 1);
  const auto below = static_cast<std::ptrdiff_t>(std::floor(place));
  std::nth_element(values.begin(), values.begin() + below, values.end());
  const double low = values[static_cast<std::size_t>(below)];
  if (below + 1 == static_cast<std::ptrdiff_t>(values.size())) {
    return low;
  }
  const double high = *std::min_element(values.begin() + below + 1, values.end());
  return low + (high - low) * (place - static_cast<double>(below));
}

Quartiles quartilesOf(const std::vector<double>& values) {
  return {quantile(values, 0.25), quantile(values, 0.5), quantile(values, 0.75)};
}

std::vector<double> ratios(const std::vector<double>& values, const std::vector<double>& base) {
  std::vector<double> result;
  for (std::size_t i = 0; i < std::min(values.size(), base.size()); ++i) {
    result.push_back(values[i] / base[i]);
  }
  return result;
}

}  // namespace bench
