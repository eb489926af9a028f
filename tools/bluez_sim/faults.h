// Answers that were ordered: the next calls of a method fail, succeed without doing anything, or stay without an
// answer, done or not.
#pragma once

#include <map>
#include <string>

#include "bluez_sim/call.h"

namespace bluez_sim {

class Faults {
 public:
  enum class Kind { kFail, kPretend, kMute, kLose };

  // The next `count` calls of `method` meet this; 0 undoes it. `error` is that of kFail.
  void order(const std::string& method, Kind kind, unsigned int count, const DbusError& error = {});

  // Whether the call met its fault: then it needs no other answer.
  bool strike(Call& call);

 private:
  struct Order {
    Kind kind;
    unsigned int count;
    DbusError error;
  };
  std::map<std::string, Order> orders_;
};

}  // namespace bluez_sim
