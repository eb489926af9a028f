// An app that is a program of its own: started by a shell once per session, with the session's messages as frames on
// its standard input and output (frames.h). Its standard error is this process's.
//
// The program finds LINKAPP_LAUNCH_STRING, LINKAPP_SESSION and LINKAPP_APP_ID in its environment. When the session
// closes its input ends; it is to end then, too.
//
// What it does wrong is reported and ends its session alone:
//   it exits             program-ended          what it had written before is still sent
//   it takes no input    program-hangs          after `patience`; until then sends that do not fit fail
//   it floods            program-floods         more than `perSecond` messages, for a second on end
//   a wrong length       program-broke-framing
// A program that is faster than `perSecond` has to wait: its pipe is not read meanwhile.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "loop/loop.h"
#include "loop/signals.h"
#include "phone/app.h"

namespace phone {

struct ProgramLimits {
  unsigned int perSecond = 5000;                   // messages of one program to the head unit
  std::size_t pending = std::size_t{1024} * 1024;  // bytes that wait for it to take them
  std::chrono::milliseconds patience{5000};
};

class ProgramRun;

// Starts the programs and keeps those whose session has closed until they have ended. Outlives all its apps.
class ProgramHost {
 public:
  ProgramHost(loop::Loop& loop, loop::Signals& signals, const ProgramLimits& limits);
  ~ProgramHost();
  ProgramHost(const ProgramHost&) = delete;
  ProgramHost& operator=(const ProgramHost&) = delete;

  Installed app(const std::string& command);

 private:
  friend class ProgramApp;
  void retire(std::unique_ptr<ProgramRun> run);

  loop::Loop& loop_;
  loop::Signals& signals_;
  const ProgramLimits limits_;
  std::vector<std::unique_ptr<ProgramRun>> retired_;
};

}  // namespace phone
