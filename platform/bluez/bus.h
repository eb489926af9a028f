// A connection to D-Bus: libsystemd's sd-bus with owners for its objects, and functions for its callbacks.
//
// Callbacks run inside process(), call() and nowhere else, on the thread that calls these; what they throw ends in one
// log line, since C code stands between. A callback must not destroy the Bus.
// Threads: one at a time.
#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/bluez/back_off.h"

namespace vqbluez {

struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

struct SlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using BusSlot = std::unique_ptr<sd_bus_slot, SlotUnref>;

// How a call ended.
struct Reply {
  Message message;        // null where it failed
  std::string errorName;  // empty where it did not
  std::string errorText;

  bool isOk() const { return errorName.empty(); }
  std::string text() const { return errorName + ": " + errorText; }
};

class Bus {
 public:
  using Handler = std::function<void(sd_bus_message* message)>;
  // Answers the call itself, through sd_bus_reply_...; false = not a method of this object.
  using ObjectHandler = std::function<bool(sd_bus_message* message)>;
  using ReplyHandler = std::function<void(const Reply& reply)>;

  // The system bus, which DBUS_SYSTEM_BUS_ADDRESS can put elsewhere. Null, with the reason in `error` (a positive
  // errno), when there is no connection to be had. Does not wait for the bus.
  static std::unique_ptr<Bus> open(int& error);
  ~Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  // A call to be filled in and sent. Never starts a service that does not run. Null when the connection is lost.
  Message newCall(const char* service, const std::string& path, const char* interface, const char* method);

  // Sends it; `done` hears how it ended, in a later process(). It is not heard when the Bus goes first.
  void send(const Message& message, std::chrono::microseconds limit, ReplyHandler done);
  // Sends it and does not ask for an answer.
  void sendOnly(const Message& message);
  // Sends it and waits for the answer. Other messages stay queued for process().
  Reply call(const Message& message, std::chrono::microseconds limit);

  // Calls `handler` for each signal that the rule matches, as long as the Bus lives.
  void follow(const std::string& rule, Handler handler);
  // Answers calls to `path` as long as the slot lives.
  BusSlot addObject(const std::string& path, ObjectHandler handler);

  // What poll is to look at.
  int fd() const;
  short events() const;
  std::chrono::milliseconds wait() const;  // how long poll may last; negative = no limit

  // One step. 1 = there may be more, 0 = nothing to do, negative = the connection is lost.
  int process();
  // Waits for work, for a start that has nothing else to do.
  void waitForWork(std::chrono::microseconds limit);

 private:
  explicit Bus(sd_bus* bus) : bus_(bus) {}

  sd_bus* const bus_;
};

}  // namespace vqbluez
