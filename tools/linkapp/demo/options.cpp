#include "demo/options.h"

#include <cstdio>
#include <cstdlib>

namespace demo {
namespace {

constexpr unsigned int kMostMessages = 1000000;

bool parseNumber(const std::string& text, unsigned int& number) {
  char* end = nullptr;
  const unsigned long value = strtoul(text.c_str(), &end, 10);
  number = static_cast<unsigned int>(value);
  return !text.empty() && text[0] != '-' && *end == '\0' && value >= 1 && value <= kMostMessages;
}

}  // namespace

std::string parseOptions(const std::vector<std::string>& arguments, Options& options) {
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

void printHelp() {
  printf(
      "usage: linkapp demo [--messages N] [--json]\n\n"
      "Starts a device side with a simulated phone and two head-unit applications, and runs: connect, launch,\n"
      "session open, messages both ways, playing app, hands-free, disconnect, reconnect. One application talks to a\n"
      "phone with Bluetooth SPP as well, which is simulated on a D-Bus of the demo's own.\n\n"
      "  --messages N   messages that each application sends and gets back (1 to %u, default 1000)\n"
      "  --json         the summary as JSON on standard output, the timeline on standard error\n\n"
      "exit code: 0 = every byte arrived, 1 = not, 2 = wrong usage, 130 = Ctrl-C\n",
      kMostMessages);
}

}  // namespace demo
