// What one program measures: bare, the product in its ways, and the peers.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "benchmarks/links/link.h"
#include "benchmarks/links/product.h"
#include "benchmarks/support/options.h"

namespace bench {

class Transports {
 public:
  using Kind = std::variant<LinkKind, ProductKind>;

  // The product once for each number of registered apps, and again for each environment that was asked for.
  // Throws where the options ask for a transport that is not there.
  Transports(const Options& options, const std::vector<unsigned int>& apps);

  std::size_t size() const { return kinds_.size(); }
  std::string name(std::size_t index) const;
  unsigned int slowness(std::size_t index) const;
  template <class Visitor>
  auto visit(std::size_t index, Visitor visitor) const {
    return std::visit(visitor, kinds_[index]);
  }

 private:
  std::vector<Kind> kinds_;
};

}  // namespace bench
