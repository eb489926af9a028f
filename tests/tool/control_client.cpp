#include "tests/tool/control_client.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "tests/tool/tool_process.h"

ControlClient::ControlClient(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path.c_str(), path.size() + 1);
  fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(fd_);
    fd_ = -1;
  }
}

ControlClient::~ControlClient() {
  if (fd_ != -1) {
    close(fd_);
  }
}

std::size_t ControlClient::send(const std::string& bytes) const {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) {
      break;
    }
    sent += static_cast<std::size_t>(count);
  }
  return sent;
}

void ControlClient::finish() const {
  shutdown(fd_, SHUT_WR);
}

std::optional<std::string> ControlClient::readLine() {
  for (;;) {
    const std::size_t end = unread_.find('\n');
    if (end != std::string::npos) {
      const std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      return line;
    }
    pollfd waiting = {fd_, POLLIN, 0};
    if (poll(&waiting, 1, static_cast<int>(patience().count())) <= 0) {
      ADD_FAILURE() << "nothing came, and no end";
      return std::nullopt;
    }
    char buffer[4096];
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    if (count == 0 || (count == -1 && errno == ECONNRESET)) {
      hasEnded_ = true;
      return std::nullopt;
    }
    unread_.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
  }
}

std::string ControlClient::ask(const std::string& line) {
  send(line + "\n");
  return readLine().value_or("");
}
