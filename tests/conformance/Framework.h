// What this suite has to know about the framework under test. A porter writes one source file that defines it, and
// builds the suite's other sources against the own framework's headers.
//
// The suite uses nothing but the contract (VQFramework/README.md) and what stands here. Names of locks begin with
// "conformance.", message identifiers with 0x7C: nothing else should use these on the machine meanwhile.
#pragma once

namespace conformance {

// Returns when every message that was posted before the call has been delivered to the observers of this process. May
// make the deliveries itself, on the calling thread. Tests call it on threads of their own where an observer blocks.
void drain();

}  // namespace conformance
