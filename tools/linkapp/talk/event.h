// What happens in a process of the tool, for whoever watches: terminal, scenario, control socket.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "command/command.h"
#include "text/fields.h"

namespace talk {

struct Event {
  std::string name;
  text::Fields fields;
};

// One of the events that a process may tell, for documents and for the check of scenario files.
struct EventKind {
  std::string name;
  std::vector<std::string> fields;
  std::string purpose;
};

using EventSink = std::function<void(const Event& event)>;

// Hands each event to everybody who watches, in the order of their coming. One thread.
class Hub {
 public:
  using Id = unsigned int;
  Id add(EventSink sink) {
    sinks_.emplace(++last_, std::move(sink));
    return last_;
  }
  void remove(Id id) { sinks_.erase(id); }
  void tell(const Event& event) {
    const auto sinks = sinks_;  // a sink may remove itself
    for (const auto& entry : sinks) {
      if (sinks_.count(entry.first) != 0) {
        entry.second(event);
      }
    }
  }

 private:
  std::map<Id, EventSink> sinks_;
  Id last_ = 0;
};

// Seconds since the process began to talk.
double secondsNow();

// {"event":"connected","time":0.123456,"link":"usb"}
std::string toJsonLine(const Event& event);
// {"reply":"plug","ok":true,...} or {"reply":"plug","ok":false,"error":"...","column":6}
std::string toJsonLine(const std::string& command, const command::Reply& reply);

}  // namespace talk
