#include "tests/support/roles.h"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <map>

namespace test_support {
namespace {

std::map<std::string, Role>& roles() {
  static std::map<std::string, Role>* const instance = new std::map<std::string, Role>;
  return *instance;
}

}  // namespace

RoleRegistrar::RoleRegistrar(const char* name, Role role) {
  roles()[name] = role;
}

int runRole(const std::string& name, const Arguments& args) {
  const auto found = roles().find(name);
  if (found == roles().end()) {
    fprintf(stderr, "no role '%s' in this executable\n", name.c_str());
    return 2;
  }
  return found->second(args);
}

void say(const std::string& line) {
  const std::string whole = line + "\n";
  if (write(STDOUT_FILENO, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
    _exit(3);  // the parent is gone
  }
}

void answer(const std::string& line) {
  say(kAnswerMark + line);
}

std::optional<std::string> hear() {
  static std::string* const rest = new std::string;
  for (;;) {
    const std::size_t end = rest->find('\n');
    if (end != std::string::npos) {
      const std::string line = rest->substr(0, end);
      rest->erase(0, end + 1);
      return line;
    }
    char buffer[512];
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count == -1 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return std::nullopt;
    }
    rest->append(buffer, static_cast<std::size_t>(count));
  }
}

void waitForParent() {
  while (hear()) {
  }
}

}  // namespace test_support
