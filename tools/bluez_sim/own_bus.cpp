#include "bluez_sim/own_bus.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <stdexcept>
#include <system_error>

#include "bluez_sim/unique_fd.h"

namespace bluez_sim {
namespace {

std::system_error lastError(const std::string& what) {
  return std::system_error(errno, std::generic_category(), what);
}

std::string randomName() {
  std::random_device random;
  return "linkapp-bluez-sim-" + std::to_string(getpid()) + "-" + std::to_string(random());
}

// A file in memory, which goes with the last process that has it open.
UniqueFd fileOf(const char* name, const std::string& content) {
  UniqueFd file(memfd_create(name, MFD_CLOEXEC));
  if (!file || write(file.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
    throw lastError(name);
  }
  return file;
}

std::string contentOf(const UniqueFd& file) {
  std::string content;
  char buffer[4096];
  for (ssize_t count = 0; (count = pread(file.get(), buffer, sizeof buffer, static_cast<off_t>(content.size()))) > 0;) {
    content.append(buffer, static_cast<std::size_t>(count));
  }
  return content;
}

}  // namespace

OwnBus::OwnBus() : address_("unix:abstract=" + randomName()) {
  start();
}

OwnBus::~OwnBus() {
  stop();
}

void OwnBus::stop() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
}

// Whoever dbus-daemon lets in, which are the processes of its own user, may do everything.
std::string OwnBus::configuration() const {
  return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
         " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
         "<busconfig>\n<listen>" +
         address_ +
         "</listen>\n<auth>EXTERNAL</auth>\n<policy context=\"default\">\n"
         "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>\n"
         "</policy>\n</busconfig>\n";
}

// Returns when the bus can be reached: it tells its address then. What it logs is of interest only where it fails: in a
// container it complains about limits.
void OwnBus::start() {
  int ready[2];
  if (pipe2(ready, O_CLOEXEC) != 0) {
    throw lastError("a pipe");
  }
  const UniqueFd readEnd(ready[0]);
  UniqueFd writeEnd(ready[1]);
  const UniqueFd log = fileOf("bus.log", "");
  const UniqueFd configurationFile = fileOf("bus.conf", configuration());
  const std::string option = "--config-file=/proc/self/fd/" + std::to_string(configurationFile.get());
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(writeEnd.get(), STDOUT_FILENO);
    dup2(log.get(), STDERR_FILENO);
    fcntl(configurationFile.get(), F_SETFD, 0);
    if (getppid() == parent) {
      execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--print-address=1", nullptr);
    }
    _exit(127);
  }
  writeEnd.reset();
  char byte = 0;
  if (pid_ > 0 && read(readEnd.get(), &byte, 1) == 1) {
    return;
  }
  stop();
  const std::string reason = contentOf(log);
  throw std::runtime_error("dbus-daemon does not start; is it installed? (Debian: apt-get install dbus-daemon)" +
                           (reason.empty() ? "" : "\n" + reason));
}

}  // namespace bluez_sim
