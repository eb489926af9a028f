// A method call that waits for its answer, and the errors that answer one.
#pragma once

#include <string>

#include "bluez_sim/bus.h"

namespace bluez_sim {

struct DbusError {
  std::string name;
  std::string text;
};

// Copies answer the same call; it is answered once, or never where its answer is lost.
class Call {
 public:
  explicit Call(MessagePtr message) : message_(std::move(message)) {}

  sd_bus_message& message() const { return *message_; }
  std::string destination() const;
  std::string path() const;
  std::string interface() const;  // empty where the caller names none
  std::string member() const;
  std::string signature() const;
  std::string sender() const;

  MessagePtr newReply() const;
  void send(const MessagePtr& reply) const;
  void succeed() const { send(newReply()); }
  void fail(const DbusError& error) const;
  void loseAnswer() { isLost_ = true; }  // also of later copies

 private:
  MessagePtr message_;
  bool isLost_ = false;
};

}  // namespace bluez_sim
