// One process that makes its end of the channel, beside others that have done so before.
#pragma once

#include "benchmarks/startup/footprint.h"
#include "benchmarks/support/call_watch.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/placement.h"

namespace bench {

struct StartupJob {
  bool isRegistration = false;  // only the entry into the table of apps; else a whole client
  unsigned int present = 0;     // clients that are there already, each in a process of its own
  bool isWatched = false;       // its system calls; its time means nothing then
};

// What the processes share. All zero is a fresh one.
struct StartupPage {
  StartupJob job;
  Milestone up;    // clients that are there already
  Milestone over;  // all may go
  Watch watch;
  WatchedProcess watched;
  double microseconds;
  Footprint before;
  Footprint after;
};

// Runs all processes, the measured one as `--measured DESCRIPTOR` of this program: a program of its own has memory of
// its own, a fork would share its parent's. Figures are in the page then.
void runStartup(const StartupJob& job, int processor, int watcher, StartupPage& page, int descriptor);

// The main of the measured program.
void startMeasured(StartupPage& page);

}  // namespace bench
