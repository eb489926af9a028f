#include "demo/report.h"

#include <algorithm>

#include "text/terminal.h"

namespace demo {
namespace {

constexpr const char* kDim = "\033[2m";
constexpr const char* kColours[] = {"\033[36m", "\033[33m", "\033[35m", "\033[32m", "\033[34m"};
constexpr const char* kPlain = "\033[0m";

unsigned int lostOf(const Exchange& exchange) {
  return exchange.sent > exchange.echoed ? exchange.sent - exchange.echoed : 0;
}

// The same for all lines of one process.
const char* colourOf(const std::string& who) {
  unsigned int sum = 0;
  for (const char c : who) {
    sum += static_cast<unsigned char>(c);
  }
  return kColours[sum % (sizeof kColours / sizeof kColours[0])];
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      result += '\\';
    }
    result += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  }
  return result + '"';
}

}  // namespace

Timeline::Timeline(FILE* out) : out_(out), isColoured_(text::isColoured(fileno(out))) {}

void Timeline::say(const std::string& who, const std::string& text, Time time) const {
  const char* const dim = isColoured_ ? kDim : "";
  const char* const colour = isColoured_ ? colourOf(who) : "";
  const char* const plain = isColoured_ ? kPlain : "";
  fprintf(out_, "%s%8.3f s%s  %s%-12s%s %s\n", dim, secondsAt(time), plain, colour, who.c_str(), plain, text.c_str());
  fflush(out_);
}

double Timeline::secondsAt(Time time) const {
  return std::chrono::duration<double>(time - start_).count();
}

bool Summary::isComplete() const {
  const auto isWhole = [this](const Exchange& exchange) {
    return exchange.sent == wanted && exchange.echoed == wanted && exchange.corrupted == 0;
  };
  return problems.empty() && !exchanges.empty() && std::all_of(exchanges.begin(), exchanges.end(), isWhole);
}

void printTable(const Summary& summary) {
  printf("\n%-12s %8s %8s %8s %10s %14s %14s\n", "application", "sent", "echoed", "lost", "corrupted", "median",
         "99th percentile");
  for (const Exchange& exchange : summary.exchanges) {
    printf("%-12s %8u %8u %8u %10u %11.1f us %12.1f us\n", exchange.app.c_str(), exchange.sent, exchange.echoed,
           lostOf(exchange), exchange.corrupted, exchange.medianUs, exchange.percentile99Us);
  }
  for (const std::string& problem : summary.problems) {
    printf("problem: %s\n", problem.c_str());
  }
  printf("%s in %.2f s (round trips with several messages under way)\n",
         summary.isComplete() ? "every byte arrived" : "FAILED", summary.seconds);
}

void printJson(const Summary& summary) {
  printf("{\"ok\": %s, \"seconds\": %.3f, \"apps\": [", summary.isComplete() ? "true" : "false", summary.seconds);
  const char* separator = "";
  for (const Exchange& exchange : summary.exchanges) {
    printf(
        "%s{\"app\": %s, \"sent\": %u, \"echoed\": %u, \"lost\": %u, \"corrupted\": %u, \"median_us\": %.1f, "
        "\"p99_us\": %.1f}",
        separator, quoted(exchange.app).c_str(), exchange.sent, exchange.echoed, lostOf(exchange), exchange.corrupted,
        exchange.medianUs, exchange.percentile99Us);
    separator = ", ";
  }
  printf("], \"problems\": [");
  separator = "";
  for (const std::string& problem : summary.problems) {
    printf("%s%s", separator, quoted(problem).c_str());
    separator = ", ";
  }
  printf("]}\n");
}

}  // namespace demo
