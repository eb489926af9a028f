// For frameworks whose log takes a sink, as those of this tree do.
#include "VQFramework/Debug/VQDbgOutput.h"
#include "tests/conformance/Framework.h"

namespace {

struct {
  conformance::LogWatcher line = nullptr;
  void* context = nullptr;
} watcher;

void pass(const VQDbgRecord& record, void* /*context*/) {
  watcher.line(record.text, watcher.context);
}

}  // namespace

void conformance::watchLog(LogWatcher line, void* context) {
  VQDbgOutput::SetSink(nullptr, nullptr);  // nobody reads the two from here on
  watcher.line = line;
  watcher.context = context;
  if (line != nullptr) {
    VQDbgOutput::SetSink(&pass, nullptr);
  }
}
