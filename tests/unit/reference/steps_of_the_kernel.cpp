#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include "tests/unit/reference/steps.h"

namespace log_access {
namespace {

class StepsOfTheKernel : public Steps {
 public:
  explicit StepsOfTheKernel(pid_t process) : process_(process) {}

  std::optional<int> next() override {
    int status = 0;
    const bool hasStepped =
        ptrace(PTRACE_SINGLESTEP, process_, nullptr, nullptr) == 0 && waitpid(process_, &status, 0) == process_;
    // A signal that stops it is no step: it was taken away with the stop, and a fault would come again and again.
    const bool isFault = WIFSTOPPED(status) && WSTOPSIG(status) != SIGTRAP;
    return hasStepped && !isFault ? std::optional<int>(status) : std::nullopt;
  }
  void end() override {
    // There is nothing in its way.
  }

 private:
  const pid_t process_;
};

}  // namespace

std::unique_ptr<Steps> stepsOf(pid_t process) {
  return std::make_unique<StepsOfTheKernel>(process);
}

}  // namespace log_access
