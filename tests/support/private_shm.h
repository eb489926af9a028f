// A /dev/shm of the test's own, so that tests run in parallel, leave nothing behind and never meet a running system.
#pragma once

#include <string>

namespace test_support {

// Call first in main. Puts the process, and the children it will have, into a mount namespace with an empty /dev/shm;
// without root into a user namespace too, in which it is root. There it can become the users 61001 to 61005 and 65534,
// where /etc/subuid and /etc/subgid give this user at least 6 numbers and newuidmap and newgidmap are installed.
// May start this program anew with `argv` (a process that has threads already, as sanitizers start them, cannot enter a
// user namespace).
// Where namespaces are forbidden it says so on standard error, waits until no other test runs, and removes at exit
// what appeared in /dev/shm meanwhile.
void enterPrivateShm(char** argv);

// To start it anew by. (Not /proc/self/exe itself: under Valgrind that starts Valgrind.)
std::string pathOfThisProgram();

}  // namespace test_support
