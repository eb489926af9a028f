// Roles: what a test executable does as a child process.
//
//   TEST_ROLE(echo) {                      // in a test's source file, at namespace scope
//     say("ready");                        // one line to the parent
//     while (const auto line = hear()) {   // one line from the parent; none when it has closed the pipe or is gone
//       answer(*line);
//     }
//     return 0;                            // exit code
//   }
//
// `args` holds the arguments that the parent gave (child.h).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace test_support {

using Arguments = std::vector<std::string>;
using Role = int (*)(const Arguments& args);

struct RoleRegistrar {
  RoleRegistrar(const char* name, Role role);
};

// Ends with the role's result; 2 where there is no such role.
int runRole(const std::string& name, const Arguments& args);

// Any thread; a line is never torn.
void say(const std::string& line);

// The same, as the answer to what was heard: the parent keeps answers apart from what was said meanwhile.
constexpr const char* kAnswerMark = "= ";
void answer(const std::string& line);

std::optional<std::string> hear();

// Until the parent closes the pipe or is gone.
void waitForParent();

}  // namespace test_support

#define TEST_ROLE(name)                                                                       \
  static int testRole_##name([[maybe_unused]] const test_support::Arguments& args);           \
  static const test_support::RoleRegistrar testRoleRegistrar_##name(#name, &testRole_##name); \
  static int testRole_##name([[maybe_unused]] const test_support::Arguments& args)
