#include "VQFramework/Debug/VQDbgOutput.h"

#include <stdarg.h>

#include <string>
#include <vector>

#include "platform/fake/FakeFramework.h"
#include "platform/fake/fake_state.h"
#include "platform/inprocess/formatted.h"
#include "platform/inprocess/mutex.h"

using vqframework::formatted;
using vqframework::Mutex;
using vqframework::MutexLock;

namespace {

struct Log {
  Mutex mutex;  // held while the sink runs
  std::vector<vqfake::LogLine> lines VQ_GUARDED_BY(mutex);
  VQDbgSink sink VQ_GUARDED_BY(mutex) = nullptr;
  void* context VQ_GUARDED_BY(mutex) = nullptr;
};

// Never destroyed: late destructors log too.
Log& keptLog() {
  static Log* const instance = new Log;
  return *instance;
}

void keep(const VQDbgRecord& record) {
  Log& log = keptLog();
  MutexLock lock(log.mutex);
  if (log.sink != nullptr) {
    log.sink(record, log.context);
    return;
  }
  log.lines.push_back({record.file, record.function, record.line, record.tag, record.isStdErr, record.text});
}

}  // namespace

void VQDbgOutput::DbgPrint(const char* file, const char* function, int line, unsigned int tag, const char* format,
                           ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  keep({file, function, line, tag, false, text.c_str()});
}

void VQDbgOutput::DbgPrintStdErr(const char* file, const char* function, int line, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  keep({file, function, line, 0, true, text.c_str()});
}

void VQDbgOutput::SetSink(VQDbgSink sink, void* context) {
  Log& log = keptLog();
  MutexLock lock(log.mutex);
  log.sink = sink;
  log.context = context;
}

namespace vqfake {

std::vector<LogLine> log() {
  MutexLock lock(keptLog().mutex);
  return keptLog().lines;
}

void clearLog() {
  MutexLock lock(keptLog().mutex);
  keptLog().lines.clear();
}

void resetLog() {
  VQDbgOutput::SetSink(nullptr, nullptr);
  clearLog();
}

}  // namespace vqfake
