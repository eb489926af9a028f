// Everything that a device-side process with a simulated phone is made of, in the order in which it is made.
#pragma once

#include <functional>

#include "loop/loop.h"
#include "loop/signals.h"
#include "phone/console.h"
#include "phone/device_side.h"
#include "phone/program_app.h"
#include "phone/simulated_phone.h"
#include "talk/event.h"

namespace phone {

class PhoneProcess {
 public:
  // The hub's events begin with what construction finds: applications that are registered already.
  PhoneProcess(loop::Loop& loop, loop::Signals& signals, talk::Hub& hub, std::function<void()> quit)
      : programs_(loop, signals, ProgramLimits()),
        phone_(loop, sinkOf(hub)),
        side_(loop, phone_, sinkOf(hub)),
        console_(loop, phone_, side_, programs_, std::move(quit)) {}
  // Whoever is connected hears that the phone is gone.
  ~PhoneProcess() { phone_.unplug(); }
  PhoneProcess(const PhoneProcess&) = delete;
  PhoneProcess& operator=(const PhoneProcess&) = delete;

  Console& console() { return console_; }

 private:
  static EventSink sinkOf(talk::Hub& hub) {
    return [&hub](const Event& event) { hub.tell(event); };
  }

  ProgramHost programs_;
  SimulatedPhone phone_;
  DeviceSide side_;
  Console console_;
};

}  // namespace phone
