// What this suite has to know about the framework under test. A porter writes one source file that defines it, and
// builds the suite's other sources against the own framework's headers (docs/porting-guide.md).
//
// The suite uses nothing but the contract (VQFramework/README.md) and what stands here. Names of locks and segments
// begin with "conformance.", message identifiers with 0x7C, and the settings file is "Conformance.ini": nothing else
// should use these on the machine meanwhile.
#pragma once

namespace conformance {

// Returns when every message that was posted before the call has been delivered to the observers of this process. May
// make the deliveries itself, on the calling thread. Tests call it on threads of their own where an observer blocks.
void drain();

// From now on `line` is called with each line of the debug log as it is written, any thread, until it is null. Calls
// do not overlap, and none is running when this returns. `context` is handed through.
using LogWatcher = void (*)(const char* line, void* context);
void watchLog(LogWatcher line, void* context);

// From now on there is no settings file "Conformance.ini". Called before the test makes an access to it.
void forgetSettings();

}  // namespace conformance
