#include "bluez_sim/own_bus.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "bluez_sim/unique_fd.h"

namespace bluez_sim {
namespace {

std::string temporaryFolder() {
  const char* const told = getenv("TMPDIR");
  return told == nullptr || *told == '\0' ? "/tmp" : told;
}

std::string contentOf(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  return content.str();
}

std::system_error lastError(const std::string& what) {
  return std::system_error(errno, std::generic_category(), what);
}

}  // namespace

OwnBus::OwnBus() : folder_(temporaryFolder() + "/linkapp-bluez-sim-XXXXXX") {
  if (mkdtemp(folder_.data()) == nullptr) {
    throw lastError(folder_);
  }
  address_ = "unix:path=" + folder_ + "/bus";
  writeConfiguration();
  start();
}

OwnBus::~OwnBus() {
  removeAll();
}

void OwnBus::removeAll() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  std::error_code ignored;  // there is nobody to tell
  std::filesystem::remove_all(folder_, ignored);
}

// Everybody who can reach the socket may do everything.
void OwnBus::writeConfiguration() const {
  std::ofstream file(folder_ + "/bus.conf");
  file << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
          " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
          "<busconfig>\n<listen>"
       << address_
       << "</listen>\n<auth>EXTERNAL</auth>\n<policy context=\"default\">\n"
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
  const std::string logPath = folder_ + "/bus.log";
  const UniqueFd log(open(logPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const std::string configuration = "--config-file=" + folder_ + "/bus.conf";
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(ready[1], STDOUT_FILENO);
    dup2(log.get(), STDERR_FILENO);
    if (getppid() == parent) {
      execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--print-address=1", nullptr);
    }
    _exit(127);
  }
  close(ready[1]);
  char byte = 0;
  const bool isReady = pid_ > 0 && read(ready[0], &byte, 1) == 1;
  close(ready[0]);
  if (!isReady) {
    const std::string reason = contentOf(logPath);
    removeAll();
    throw std::runtime_error("dbus-daemon does not start; is it installed? (Debian: apt-get install dbus-daemon)" +
                             (reason.empty() ? "" : "\n" + reason));
  }
}

}  // namespace bluez_sim
