#include "benchmarks/support/options.h"

#include <stdio.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace bench {
namespace {

constexpr const char* kHelp =
    "  --rounds N             rounds in which every transport has its turn (9)\n"
    "  --quick                3 rounds with a tenth of the messages; watches for 6 seconds\n"
    "  --smoke                1 round with a hundredth of the messages; watches for 2 seconds\n"
    "  --seconds N            how long bench_idle watches (60)\n"
    "  --placement WHERE      same (all processes on one processor), cross (two processors) or both\n"
    "  --only NAME,...        these transports beside bare\n"
    "  --product-with ENV     NAME=VALUE; measures the product once more in this environment (repeatable)\n"
    "  --json FILE            writes the results there\n";

[[noreturn]] void refuse(const std::string& what) {
  fprintf(stderr, "%s; --help lists what there is\n", what.c_str());
  exit(2);
}

std::vector<std::string> split(const std::string& list) {
  std::vector<std::string> names;
  std::istringstream stream(list);
  for (std::string name; std::getline(stream, name, ',');) {
    names.push_back(name);
  }
  return names;
}

unsigned int numberOf(const std::string& text, const char* what, long most) {
  const long number = std::strtol(text.c_str(), nullptr, 10);
  if (number < 1 || number > most) {
    refuse("'" + text + "' is no number of " + what);
  }
  return static_cast<unsigned int>(number);
}

}  // namespace

Options parseOptions(int argc, char** argv, const char* purpose) {
  Options options;
  const std::vector<std::string> words(argv, argv + argc);
  for (const std::string& word : words) {
    options.command += (options.command.empty() ? "" : " ") + word.substr(&word == &words[0] ? word.rfind('/') + 1 : 0);
  }
  const auto valueAfter = [&words](std::size_t& i) {
    if (i + 1 == words.size()) {
      refuse(words[i] + " lacks a value");
    }
    return words[++i];
  };
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (words[i] == "--help" || words[i] == "-h") {
      printf("%s\n%s", purpose, kHelp);
      exit(0);
    } else if (words[i] == "--rounds") {
      options.rounds = numberOf(valueAfter(i), "rounds", 1000);
    } else if (words[i] == "--quick") {
      options.rounds = 3;
      options.effort = 0.1;
      options.seconds = 6;
    } else if (words[i] == "--smoke") {
      options.rounds = 1;
      options.effort = 0.01;
      options.seconds = 2;
    } else if (words[i] == "--seconds") {
      options.seconds = numberOf(valueAfter(i), "seconds", 86400);
    } else if (words[i] == "--placement") {
      options.placement = valueAfter(i);
    } else if (words[i] == "--only") {
      options.only = split(valueAfter(i));
    } else if (words[i] == "--product-with") {
      options.productWith.push_back(valueAfter(i));
    } else if (words[i] == "--json") {
      options.json = valueAfter(i);
    } else {
      refuse("unknown option '" + words[i] + "'");
    }
  }
  return options;
}

bool isWanted(const Options& options, const std::string& transport) {
  return transport == "bare" || options.only.empty() ||
         std::find(options.only.begin(), options.only.end(), transport) != options.only.end();
}

}  // namespace bench
