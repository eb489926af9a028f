#include "benchmarks/links/transports.h"

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

std::vector<ProductKind> productKinds(const Options& options, const std::vector<unsigned int>& apps) {
  std::vector<std::string> environments = {""};
  environments.insert(environments.end(), options.productWith.begin(), options.productWith.end());
  std::vector<ProductKind> kinds;
  for (const std::string& environment : environments) {
    for (const unsigned int count : apps) {
      const std::string suffix = (count > 1 ? ", " + std::to_string(count) + " apps" : std::string()) +
                                 (environment.empty() ? "" : ", " + environment);
      kinds.push_back({"product" + suffix, count, environment});
    }
  }
  return kinds;
}

void checkNames(const Options& options) {
  for (const std::string& name : options.only) {
    const bool isLink = std::any_of(linkKinds().begin(), linkKinds().end(),
                                    [&name](const LinkKind& kind) { return kind.name == name; });
    if (!isLink && name != "product") {
      throw std::runtime_error("no transport '" + name + "' here");
    }
  }
}

}  // namespace

Transports::Transports(const Options& options, const std::vector<unsigned int>& apps) {
  checkNames(options);
  for (const LinkKind& kind : linkKinds()) {
    if (isWanted(options, kind.name)) {
      kinds_.emplace_back(kind);
    }
  }
  if (isWanted(options, "product")) {
    for (const ProductKind& kind : productKinds(options, apps)) {
      kinds_.emplace_back(kind);
    }
  }
}

std::string Transports::name(std::size_t index) const {
  return visit(index, [](const auto& kind) { return std::string(kind.name); });
}

unsigned int Transports::slowness(std::size_t index) const {
  const LinkKind* const link = std::get_if<LinkKind>(&kinds_[index]);
  return link != nullptr ? link->slowness : 1;
}

}  // namespace bench
