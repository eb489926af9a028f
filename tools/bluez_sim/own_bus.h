// A dbus-daemon of the simulation's own, on a socket in a folder of its own. Both end with it.
#pragma once

#include <sys/types.h>

#include <string>

namespace bluez_sim {

class OwnBus {
 public:
  OwnBus();  // throws std::runtime_error
  ~OwnBus();
  OwnBus(const OwnBus&) = delete;
  OwnBus& operator=(const OwnBus&) = delete;

  const std::string& address() const { return address_; }

 private:
  void writeConfiguration() const;
  void start();
  void removeAll();

  std::string folder_;
  std::string address_;
  pid_t pid_ = -1;
};

}  // namespace bluez_sim
