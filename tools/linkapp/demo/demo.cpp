#include "demo/demo.h"

#include <cstdio>
#include <system_error>

#include "demo/director.h"
#include "demo/interrupt.h"
#include "demo/options.h"
#include "demo/private_settings.h"
#include "demo/private_shm.h"
#include "demo/report.h"
#include "demo/simulation.h"

namespace demo {
namespace {

// Where the channel's objects are while the demo runs.
class ShmPlace {
 public:
  explicit ShmPlace(const Timeline& timeline) {
    std::string reason;
    isPrivate_ = enterPrivateShm(reason);
    if (isPrivate_) {
      return;
    }
    timeline.say("demo", "a private /dev/shm is not allowed here (" + reason + "); trying the machine's");
    isTaken_ = takeMachineShm(reason);
    if (isTaken_) {
      timeline.say("demo", "using the machine's /dev/shm: start nothing else on the channel until the demo has ended");
    } else {
      fprintf(stderr, "linkapp demo: the machine's /dev/shm cannot be used: %s\n", reason.c_str());
    }
  }
  ~ShmPlace() {
    if (isTaken_) {
      clearMachineShm();
    }
  }
  ShmPlace(const ShmPlace&) = delete;
  ShmPlace& operator=(const ShmPlace&) = delete;

  bool isUsable() const { return isPrivate_ || isTaken_; }

 private:
  bool isPrivate_ = false;
  bool isTaken_ = false;
};

int runIn(const Options& options, const Simulation& simulation, const Timeline& timeline) {
  try {
    const PrivateSettings settings;
    const Summary summary = Director(options.messages, simulation, timeline).run();
    if (options.isJson) {
      printJson(summary);
    } else {
      printTable(summary);
    }
    return summary.isComplete() ? 0 : 1;
  } catch (const Interrupted&) {
    timeline.say("demo", "interrupted");
    return 128 + interruptSeen();
  } catch (const std::system_error& error) {
    fprintf(stderr, "linkapp demo: %s\n", error.what());
    return 1;
  }
}

}  // namespace

int run(const std::vector<std::string>& arguments) {
  Options options;
  int code = 0;
  if (!parseOptions(arguments, options, code)) {
    return code;
  }
  const Timeline timeline(options.isJson ? stderr : stdout);
  const Simulation simulation = findSimulation();
  const ShmPlace place(timeline);
  if (!place.isUsable()) {
    return 1;
  }
  watchForInterrupts();
  return runIn(options, simulation, timeline);
}

}  // namespace demo
