// The links there are.
#pragma once

#include "benchmarks/links/link.h"

namespace bench {

std::unique_ptr<Link> makeBareLink();
std::unique_ptr<Link> makeUnixLink();
std::unique_ptr<Link> makePosixMqLink();
std::unique_ptr<Link> makeBoostLink();
std::unique_ptr<Link> makeIceoryxLink();
std::unique_ptr<Link> makeZeroMqLink();
std::unique_ptr<Link> makeDBusLink();

}  // namespace bench
