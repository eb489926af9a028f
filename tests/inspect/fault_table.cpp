// Writes the table of faults into a document, or checks that it is the present one.
//   fault_table docs/observability.md
//   fault_table --check docs/observability.md
#include "tests/inspect/fault_table.h"

#include <cstdio>
#include <fstream>
#include <iterator>

namespace {

const std::string kBegin = "<!-- begin: written by fault_table -->\n";
const std::string kEnd = "<!-- end: written by fault_table -->\n";

std::string table() {
  std::string text = "| what is wrong | how the test makes it | command | words | test |\n|---|---|---|---|---|\n";
  for (const fault_table::Fault& fault : fault_table::faults()) {
    text += std::string("| ") + fault.fault + " | " + fault.injected + " | `" + fault.command + "` | " + fault.words +
            (fault.isNote ? " (a note)" : "") + " | `" + fault.test + "` |\n";
  }
  return text;
}

std::string readFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  const bool isChecking = argc == 3 && std::string(argv[1]) == "--check";
  if (argc != 2 && !isChecking) {
    fputs("usage: fault_table [--check] FILE\n", stderr);
    return 2;
  }
  const char* const path = argv[argc - 1];
  const std::string before = readFile(path);
  const std::size_t begin = before.find(kBegin);
  const std::size_t end = before.find(kEnd);
  if (begin == std::string::npos || end == std::string::npos || end < begin) {
    fprintf(stderr, "%s has no place for the table\n", path);
    return 1;
  }
  const std::string after = before.substr(0, begin + kBegin.size()) + "\n" + table() + "\n" + before.substr(end);
  if (isChecking) {
    if (before != after) {
      fprintf(stderr, "the table of faults in %s is out of date; `fault_table %s` writes it anew\n", path, path);
    }
    return before == after ? 0 : 1;
  }
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << after;
  return file.flush() ? 0 : 1;
}
