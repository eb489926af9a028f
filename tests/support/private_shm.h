// A /dev/shm of the test's own, so that tests run in parallel, leave nothing behind and never meet a running system.
#pragma once

namespace test_support {

// Call first in main. Puts the process, and the children it will have, into a mount namespace with an empty /dev/shm;
// without root into a user namespace too, in which it is root. May start this program anew with `argv` (a process that
// has threads already, as sanitizers start them, cannot enter a user namespace).
// Where namespaces are forbidden it says so on standard error, waits until no other test runs, and removes at exit
// what appeared in /dev/shm meanwhile.
void enterPrivateShm(char** argv);

}  // namespace test_support
