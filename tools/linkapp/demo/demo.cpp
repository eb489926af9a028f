#include "demo/demo.h"

#include <poll.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "demo/child.h"
#include "demo/line_channel.h"
#include "demo/private_shm.h"
#include "demo/report.h"

namespace demo {
namespace {

constexpr std::chrono::seconds kStepPatience{60};
constexpr unsigned int kMostMessages = 1000000;

struct Options {
  unsigned int messages = 1000;
  bool isJson = false;
  bool isHelp = false;
};

volatile sig_atomic_t isInterrupted = 0;
void noteInterrupt(int /*signal*/) {
  isInterrupted = 1;
}

// Runs the story: starts the processes, tells them what to do and waits for what they report.
class Director {
 public:
  Director(const Options& options, const Timeline& timeline) : options_(options), timeline_(timeline) {
    summary_.wanted = options.messages;
  }

  Summary run() {
    startEverybody();
    connectAndLaunch();
    exchange();
    showTheRest();
    reconnect();
    endEverybody();
    summary_.seconds = timeline_.seconds();
    return summary_;
  }

 private:
  struct Process {
    std::unique_ptr<Child> child;
    std::deque<Line> unseen;  // reports that no step has waited for yet
  };

  // Every endpoint must exist before traffic starts: one that is constructed later sets the rings back.
  void startEverybody() {
    timeline_.say("demo", "starting a device side and two head-unit applications");
    add("device side", {kDeviceSideRole});
    add("navi", {kApplicationRole, "", "navi"});
    add("music", {kApplicationRole, "music1", "music"});
    for (Process& process : processes_) {
      await(process, "ready");
    }
  }

  void connectAndLaunch() {
    device().child->tell("plug");
    for (Process* app : apps()) {
      await(*app, "connected");
      app->child->tell("launch");
    }
    for (Process* app : apps()) {
      await(*app, "session-open");
    }
  }

  void exchange() {
    timeline_.say("demo", "each application sends " + std::to_string(options_.messages) +
                              " messages of 1 to 4096 bytes; the phone checks them and sends them back");
    for (Process* app : apps()) {
      app->child->tell("exchange " + std::to_string(options_.messages));
    }
    for (Process* app : apps()) {
      summary_.exchanges.push_back(parseExchange(app->child->name(), await(*app, "exchanged")));
    }
  }

  void showTheRest() {
    device().child->tell("play Example Player");
    for (Process* app : apps()) {
      await(*app, "now-playing");
    }
    for (const char* const state : {"up", "down"}) {
      device().child->tell(std::string("hands-free ") + state);
      for (Process* app : apps()) {
        await(*app, "session-open");  // the hands-free state comes with the device's own
      }
    }
  }

  void reconnect() {
    device().child->tell("unplug");
    for (Process* app : apps()) {
      await(*app, "disconnected");
    }
    connectAndLaunch();
    for (Process* app : apps()) {
      app->child->tell("exchange 1");
      const Exchange again = parseExchange(app->child->name(), await(*app, "exchanged"));
      if (again.echoed != 1 || again.corrupted != 0) {
        problem(app->child->name() + ": the message after the reconnection did not come back");
      }
    }
  }

  void endEverybody() {
    for (Process& process : processes_) {
      const int code = process.child->end();
      if (code != 0) {
        problem(process.child->name() + " ended with code " + std::to_string(code));
      }
    }
    timeline_.say("demo", "all processes have ended");
  }

  void add(const std::string& name, const std::vector<std::string>& arguments) {
    processes_.push_back({std::make_unique<Child>(name, arguments), {}});
  }

  Process& device() { return processes_.front(); }
  std::vector<Process*> apps() { return {&processes_[1], &processes_[2]}; }

  void problem(const std::string& text) {
    timeline_.say("demo", "PROBLEM: " + text);
    summary_.problems.push_back(text);
  }

  // The text of the next report with this word. Others before it are passed over; they stand in the timeline.
  std::string await(Process& process, const std::string& word) {
    const auto deadline = std::chrono::steady_clock::now() + kStepPatience;
    for (;;) {
      while (!process.unseen.empty()) {
        const Line line = process.unseen.front();
        process.unseen.pop_front();
        if (line.word == word) {
          return line.rest;
        }
      }
      if (std::chrono::steady_clock::now() > deadline) {
        throw std::runtime_error(process.child->name() + " did not report \"" + word + "\" in time");
      }
      listen();
    }
  }

  // Takes what the processes report, waiting a while for it.
  void listen() {
    std::vector<pollfd> outputs;
    for (const Process& process : processes_) {
      outputs.push_back({process.child->outputFd(), POLLIN, 0});
    }
    poll(outputs.data(), outputs.size(), 1000);
    if (isInterrupted != 0) {
      throw std::runtime_error("interrupted");
    }
    for (Process& process : processes_) {
      std::vector<std::string> lines;
      const bool isAlive = process.child->readLines(lines);
      for (const std::string& line : lines) {
        hear(process, splitLine(line));
      }
      if (!isAlive) {
        throw std::runtime_error(process.child->name() + " has died");
      }
    }
  }

  void hear(Process& process, const Line& line) {
    if (line.word == "problem") {
      problem(process.child->name() + ": " + line.rest);
      return;
    }
    if (line.word == "exchanged") {
      timeline_.say(process.child->name(), "exchange is done");
    } else {
      timeline_.say(process.child->name(), line.rest);
    }
    process.unseen.push_back(line);
  }

  static Exchange parseExchange(const std::string& app, const std::string& text) {
    Exchange exchange;
    exchange.app = app;
    std::istringstream(text) >> exchange.sent >> exchange.echoed >> exchange.corrupted >> exchange.medianUs >>
        exchange.percentile99Us;
    return exchange;
  }

  const Options options_;
  const Timeline& timeline_;
  std::vector<Process> processes_;
  Summary summary_;
};

void printHelp() {
  printf(
      "usage: linkapp demo [--messages N] [--json]\n\n"
      "Starts a device side with a simulated phone and two head-unit applications, and runs: connect, launch,\n"
      "session open, messages both ways, playing app, hands-free, disconnect, reconnect.\n\n"
      "  --messages N   messages that each application sends and gets back (1 to %u, default 1000)\n"
      "  --json         the summary as JSON on standard output, the timeline on standard error\n\n"
      "exit code: 0 = every byte arrived, 1 = not, 2 = wrong usage, 130 = interrupted\n",
      kMostMessages);
}

bool parseNumber(const std::string& text, unsigned int& number) {
  char* end = nullptr;
  const unsigned long value = strtoul(text.c_str(), &end, 10);
  number = static_cast<unsigned int>(value);
  return !text.empty() && text[0] != '-' && *end == '\0' && value >= 1 && value <= kMostMessages;
}

// An empty text, or what is wrong with the arguments.
std::string parse(const std::vector<std::string>& arguments, Options& options) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] == "--json") {
      options.isJson = true;
    } else if (arguments[i] == "--help" || arguments[i] == "-h") {
      options.isHelp = true;
    } else if (arguments[i] == "--messages") {
      if (i + 1 == arguments.size() || !parseNumber(arguments[++i], options.messages)) {
        return "--messages needs a number from 1 to " + std::to_string(kMostMessages);
      }
    } else {
      return "unknown option '" + arguments[i] + "'";
    }
  }
  return "";
}

bool findShm(const Timeline& timeline) {
  std::string reason;
  if (enterPrivateShm(reason)) {
    return true;
  }
  if (isChannelInUse()) {
    fprintf(stderr, "linkapp demo: a private /dev/shm is not allowed here (%s), and the machine's is in use\n",
            reason.c_str());
    return false;
  }
  timeline.say("demo", "a private /dev/shm is not allowed here (" + reason + "); using the machine's");
  return true;
}

void handleSignals() {
  struct sigaction action = {};
  action.sa_handler = &noteInterrupt;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);  // a child that has died is reported, not followed
}

}  // namespace

int run(const std::vector<std::string>& arguments) {
  Options options;
  const std::string mistake = parse(arguments, options);
  if (!mistake.empty()) {
    fprintf(stderr, "linkapp demo: %s; see `linkapp demo --help`\n", mistake.c_str());
    return 2;
  }
  if (options.isHelp) {
    printHelp();
    return 0;
  }
  const Timeline timeline(options.isJson ? stderr : stdout);
  if (!findShm(timeline)) {
    return 1;
  }
  handleSignals();
  try {
    const Summary summary = Director(options, timeline).run();
    if (options.isJson) {
      printJson(summary);
    } else {
      printTable(summary);
    }
    return summary.isComplete() ? 0 : 1;
  } catch (const std::exception& error) {
    timeline.say("demo", std::string("ended: ") + error.what());
    return isInterrupted != 0 ? 130 : 1;
  }
}

}  // namespace demo
