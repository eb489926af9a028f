// The phone with Bluetooth SPP: a process that has Bluetooth simulated on a private bus, and says what the phone does
// there in the demo's words.
#include <poll.h>

#include <string>
#include <thread>
#include <vector>

#include "demo/child.h"
#include "demo/demo.h"
#include "demo/line_channel.h"

namespace demo {
namespace {

const std::string kAddress = "00:AA:02:00:00:01";

bool startsWith(const std::string& line, const std::string& beginning) {
  return line.rfind(beginning, 0) == 0;
}

bool endsWith(const std::string& line, const std::string& end) {
  return line.size() >= end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0;
}

class SppPhone {
 public:
  explicit SppPhone(const std::string& program)
      : simulation_("simulated Bluetooth", {"--own-bus"}, program), listener_([this] { listen(); }) {}
  ~SppPhone() { listener_.join(); }
  SppPhone(const SppPhone&) = delete;
  SppPhone& operator=(const SppPhone&) = delete;

  void obey(const Command& command) {
    if (command.word == "come") {
      order("phone " + kAddress + " name=\"Example Android\" hands-free=yes services=" + command.argument);
    } else if (command.word == "hands-free") {
      order("hands-free " + kAddress + " " + command.argument);
    } else if (command.word == "go") {
      order("forget " + kAddress);
    } else if (command.word == "quit") {
      order("quit");
    } else {
      report("problem", "unknown command \"" + command.word + "\"");
    }
  }

 private:
  void order(const std::string& line) { simulation_.tell(line); }

  // Until the simulation ends.
  void listen() {
    pollfd output = {simulation_.outputFd(), POLLIN, 0};
    for (bool isThere = true; isThere;) {
      poll(&output, 1, -1);
      std::vector<std::string> lines;
      isThere = simulation_.readLines(lines);
      for (const std::string& line : lines) {
        translate(line);
      }
    }
  }

  static void translate(const std::string& line) {
    const std::string ready = "ready on ";
    if (startsWith(line, ready)) {
      report("bus", line.substr(ready.size()));
    } else if (startsWith(line, "link ")) {
      const bool isUp = endsWith(line, " up");
      report("link", isUp ? "SPP link up" : "SPP link down, ended by the " + line.substr(line.rfind(" by ") + 4));
    } else if (startsWith(line, "hands-free ")) {
      report("state", std::string("hands-free link ") + (endsWith(line, " up") ? "up" : "down"));
    } else if (startsWith(line, "= error: ")) {
      report("problem", line.substr(2));
    }
  }

  Child simulation_;
  std::thread listener_;  // last: it uses the simulation
};

}  // namespace

int runSppPhone(const std::vector<std::string>& arguments) {
  if (arguments.size() != 1) {
    return 2;
  }
  SppPhone phone(arguments[0]);
  Command command;
  do {
    command = nextCommand();
    phone.obey(command);
  } while (command.word != "quit");
  return 0;
}

}  // namespace demo
