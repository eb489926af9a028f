#include "tests/bluez_vm/lab.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/wait_until.h"

namespace {

constexpr const char* kSocket = "/run/lab";
constexpr double kStart = 60;  // until the lab takes commands

int connectOnce() {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, kSocket, sizeof address.sun_path - 1);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

int connection() {
  static const int fd = [] {
    int made = -1;
    EXPECT_TRUE(test_support::waitUntil([&] { return (made = connectOnce()) != -1; }, kStart))
        << "no lab at " << kSocket << ": these tests run in the machine that script/test-bluez-vm starts";
    return made;
  }();
  return fd;
}

// The lab gives up by itself when something takes too long.
std::string exchange(const std::string& command) {
  const int fd = connection();
  const std::string line = command + "\n";
  if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    return std::string("error ") + strerror(errno);
  }
  std::string answer;
  char byte = 0;
  while (read(fd, &byte, 1) == 1 && byte != '\n') {
    answer += byte;
  }
  return answer;
}

bool isOk(const std::string& answer) {
  return answer == "ok" || answer.compare(0, 3, "ok ") == 0;
}

}  // namespace

std::string lab(const std::string& command) {
  const std::string answer = exchange(command);
  EXPECT_TRUE(isOk(answer)) << "the lab was asked \"" << command << "\" and said: " << answer;
  return isOk(answer) && answer.size() > 3 ? answer.substr(3) : "";
}

bool labManages(const std::string& command) {
  return isOk(exchange(command));
}
