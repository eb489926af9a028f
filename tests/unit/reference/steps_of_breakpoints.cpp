#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <string>

#include "tests/support/arm/breakpoints.h"
#include "tests/support/arm/code_map.h"
#include "tests/unit/reference/steps.h"

namespace log_access {
namespace {

// By the names that the linker knows: of functions, of constant ones, and of what is local to either.
bool isOfNotifier(const std::string& name) {
  for (const char* const begin : {"_ZN11vqframework", "_ZNK11vqframework", "_ZZN11vqframework", "_ZZNK11vqframework"}) {
    if (name.rfind(begin, 0) == 0) {
      return true;
    }
  }
  return false;
}

const test_support::WatchedCode& codeOfNotifier() {
  static const test_support::WatchedCode code(test_support::codeOfProgram(&isOfNotifier));
  return code;
}

class StepsOfBreakpoints : public Steps {
 public:
  explicit StepsOfBreakpoints(pid_t process) : process_(process), breakpoints_(process, codeOfNotifier()) {}

  // Whatever else it stops for is no step.
  std::optional<int> next() override {
    int status = 0;
    if (ptrace(PTRACE_CONT, process_, nullptr, nullptr) != 0 || waitpid(process_, &status, 0) != process_) {
      return std::nullopt;
    }
    const bool isBreakpoint = WIFSTOPPED(status) && status >> 16 == 0 && WSTOPSIG(status) == SIGTRAP &&
                              breakpoints_.clear(test_support::addressOf(process_));
    return isBreakpoint || !WIFSTOPPED(status) ? std::optional<int>(status) : std::nullopt;
  }
  void end() override { breakpoints_.clearAll(); }

 private:
  const pid_t process_;
  test_support::Breakpoints breakpoints_;
};

}  // namespace

std::unique_ptr<Steps> stepsOf(pid_t process) {
  return std::make_unique<StepsOfBreakpoints>(process);
}

}  // namespace log_access
