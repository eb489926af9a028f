// A dbus-daemon of the simulation's own. It has no file anywhere, so that nothing stays behind even where the
// simulation is killed: its socket has an abstract name, its configuration and its log lie in memory.
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
  std::string configuration() const;
  void start();
  void stop();

  const std::string address_;
  pid_t pid_ = -1;
};

}  // namespace bluez_sim
