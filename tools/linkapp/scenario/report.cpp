#include "scenario/report.h"

#include <unistd.h>

#include <cstdio>

#include "text/fields.h"
#include "text/terminal.h"

namespace scenario {

Report::Report(const std::string& file, bool isJson, bool isReverse)
    : file_(file), isJson_(isJson), isReverse_(isReverse), isColoured_(!isJson && text::isColoured(STDOUT_FILENO)) {}

void Report::onStep(const Step& step) {
  ++steps_;
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  FILE* const out = isJson_ ? stderr : stdout;
  fprintf(out, "%8.3f %4zu  %s%s%s\n", seconds, step.place.line, isColoured_ ? "\033[36m" : "", step.text.c_str(),
          isColoured_ ? "\033[0m" : "");
  fflush(out);
}

void Report::finish(const std::string& failure) {
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  if (isJson_) {
    const auto milliseconds = static_cast<std::int64_t>(seconds * 1000);
    text::Fields fields = {{"scenario", file_},
                           {"reverse", isReverse_},
                           {"ok", failure.empty()},
                           {"steps", steps_},
                           {"milliseconds", milliseconds}};
    if (!failure.empty()) {
      fields.push_back({"error", failure});
    }
    puts(text::toJson(fields).c_str());
  } else if (failure.empty()) {
    printf("%spassed%s %s: %zu steps in %.3f s%s\n", isColoured_ ? "\033[32m" : "", isColoured_ ? "\033[0m" : "",
           file_.c_str(), steps_, seconds, isReverse_ ? ", processes started in reverse order" : "");
  }
  if (!failure.empty()) {
    fprintf(stderr, "%s\n", failure.c_str());
  }
}

}  // namespace scenario
