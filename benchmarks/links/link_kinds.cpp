#include "benchmarks/links/links.h"

namespace bench {

const std::vector<LinkKind>& linkKinds() {
  static const std::vector<LinkKind> kinds = {
      {"bare", &makeBareLink, 1},         {"unix socket", &makeUnixLink, 1}, {"posix mq", &makePosixMqLink, 1},
#ifdef BENCH_WITH_BOOST
      {"boost queue", &makeBoostLink, 1},
#endif
#ifdef BENCH_WITH_ICEORYX
      {"iceoryx", &makeIceoryxLink, 1},
#endif
#ifdef BENCH_WITH_ZEROMQ
      {"zeromq", &makeZeroMqLink, 4},
#endif
#ifdef BENCH_WITH_DBUS
      {"d-bus", &makeDBusLink, 10},
#endif
  };
  return kinds;
}

const std::vector<std::string>& linksLeftOut() {
  static const std::vector<std::string> names = {
#ifndef BENCH_WITH_BOOST
      "boost queue",
#endif
#ifndef BENCH_WITH_ICEORYX
      "iceoryx",
#endif
#ifndef BENCH_WITH_ZEROMQ
      "zeromq",
#endif
#ifndef BENCH_WITH_DBUS
      "d-bus",
#endif
  };
  return names;
}

}  // namespace bench
