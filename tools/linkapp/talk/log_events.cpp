#include "talk/log_events.h"

#include <unistd.h>

#include <cstdlib>

#include "VQFramework/Debug/VQDbgOutput.h"

namespace talk {
namespace {

std::string withoutLineBreaks(std::string text) {
  text.erase(text.find_last_not_of("\r\n") + 1);
  return text;
}

}  // namespace

LogEvents::LogEvents(loop::Errands& errands, Hub& hub) : errands_(errands), hub_(hub) {
  if (getenv("VQDBG") != nullptr) {
    return;
  }
  VQDbgOutput::SetSink(
      [](const VQDbgRecord& record, void* context) {
        auto& self = *static_cast<LogEvents*>(context);
        self.errands_.post([&hub = self.hub_, text = withoutLineBreaks(record.text)] {
          hub.tell({"log", {{"text", text}}});
        });
      },
      this);
}

LogEvents::~LogEvents() {
  if (getenv("VQDBG") == nullptr) {
    VQDbgOutput::SetSink(nullptr, nullptr);
  }
}

bool isAtTerminal() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
}

}  // namespace talk
