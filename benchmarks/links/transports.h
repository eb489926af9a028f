// What one program measures: bare, the peers, and the product in its ways.
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "benchmarks/links/product.h"
#include "benchmarks/support/options.h"

namespace bench {

// `Peer` has a name and a slowness: it has so many times fewer messages to carry than others.
template <class Peer>
class Transports {
 public:
  // The product once for each number of registered apps, and again for each environment that was asked for.
  // Throws where the options ask for a transport that is not there.
  Transports(const Options& options, const std::vector<Peer>& peers, const std::vector<unsigned int>& apps) {
    checkNames(options, peers);
    for (const Peer& peer : peers) {
      if (isWanted(options, peer.name)) {
        kinds_.emplace_back(peer);
      }
    }
    if (isWanted(options, "product")) {
      for (const ProductKind& kind : productKinds(options.productWith, apps)) {
        kinds_.emplace_back(kind);
      }
    }
  }

  std::size_t size() const { return kinds_.size(); }
  std::string name(std::size_t index) const {
    return visit(index, [](const auto& kind) { return std::string(kind.name); });
  }
  unsigned int slowness(std::size_t index) const {
    const Peer* const peer = std::get_if<Peer>(&kinds_[index]);
    return peer != nullptr ? peer->slowness : 1;
  }
  template <class Visitor>
  auto visit(std::size_t index, Visitor visitor) const {
    return std::visit(visitor, kinds_[index]);
  }

 private:
  static void checkNames(const Options& options, const std::vector<Peer>& peers) {
    for (const std::string& name : options.only) {
      const bool isPeer =
          std::any_of(peers.begin(), peers.end(), [&name](const Peer& peer) { return peer.name == name; });
      if (!isPeer && name != "product") {
        throw std::runtime_error("no transport '" + name + "' here");
      }
    }
  }

  std::vector<std::variant<Peer, ProductKind>> kinds_;
};

}  // namespace bench
