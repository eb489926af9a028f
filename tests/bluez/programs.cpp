// Programs that are not this test executable, started as its children.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/roles.h"

namespace {

int become(const std::string& program, const test_support::Arguments& args) {
  std::vector<char*> argv = {const_cast<char*>(program.c_str())};  // execvp leaves them as they are
  for (const std::string& argument : args) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  execvp(program.c_str(), argv.data());
  fprintf(stderr, "%s: %s\n", program.c_str(), strerror(errno));
  return 127;
}

}  // namespace

TEST_ROLE(dbus_daemon) {
  return become("dbus-daemon", args);
}

TEST_ROLE(spp_example) {
  return become(LINKAPP_SPP_EXAMPLE, args);
}

TEST_ROLE(simulation) {
  return become(LINKAPP_BLUEZ_SIM, args);
}

// Its input is the file that the first argument names.
TEST_ROLE(simulation_of_a_file) {
  const int file = open(args.at(0).c_str(), O_RDONLY | O_CLOEXEC);
  dup2(file, STDIN_FILENO);
  return become(LINKAPP_BLUEZ_SIM, {args.begin() + 1, args.end()});
}
