#include "benchmarks/broadcast/fanout.h"

namespace bench {

const std::vector<FanoutKind>& fanoutKinds() {
  static const std::vector<FanoutKind> kinds = {
      {"bare", &makeBareFanout, 1},         {"unix socket", &makeUnixFanout, 1}, {"posix mq", &makePosixMqFanout, 1},
#ifdef BENCH_WITH_BOOST
      {"boost queue", &makeBoostFanout, 1},
#endif
#ifdef BENCH_WITH_ICEORYX
      {"iceoryx", &makeIceoryxFanout, 1},
#endif
#ifdef BENCH_WITH_ZEROMQ
      {"zeromq", &makeZeroMqFanout, 2},
#endif
#ifdef BENCH_WITH_DBUS
      {"d-bus", &makeDBusFanout, 4},
#endif
  };
  return kinds;
}

}  // namespace bench
