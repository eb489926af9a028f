// A client of a control socket that may misbehave.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

class ControlClient {
 public:
  explicit ControlClient(const std::string& path);
  ~ControlClient();
  ControlClient(const ControlClient&) = delete;
  ControlClient& operator=(const ControlClient&) = delete;

  bool isConnected() const { return fd_ != -1; }
  // Bytes that could be sent; fewer where the server has left.
  std::size_t send(const std::string& bytes) const;
  // Says that nothing more will come.
  void finish() const;
  // The next line; none at the end, or after the deadline, which is a failure.
  std::optional<std::string> readLine();
  // Sends one line and returns the next.
  std::string ask(const std::string& line);
  // The server has closed the connection, and has said nothing more.
  bool isAtEnd() { return !readLine().has_value() && hasEnded_; }

 private:
  int fd_ = -1;
  bool hasEnded_ = false;
  std::string unread_;
};
