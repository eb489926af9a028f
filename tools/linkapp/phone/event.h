// Events of the phone and its device side; commands.h lists them.
#pragma once

#include "talk/event.h"

namespace phone {

using talk::Event;
using talk::EventSink;

}  // namespace phone
