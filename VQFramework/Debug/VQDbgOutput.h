// VQDbgOutput: the debug log.
//
// Threads: any; one call gives one whole line, whatever other threads log. Never throws.
// The reference framework writes to standard error. VQDBG=off|stderr|journal|file:PATH in the environment chooses
// another place, SetSink a function of the program's own.
#pragma once

#include "VQFramework/VQFrameworkExport.h"

// One call of the log, as a sink sees it. Valid during the sink's call only.
struct VQDbgRecord {
  const char* file;      // source path without extension
  const char* function;  // operation
  int line;              // line number, 0 where the operation has none
  unsigned int tag;      // tag, 0 for DbgPrintStdErr, which has none
  bool isStdErr;         // came through DbgPrintStdErr
  const char* text;      // the formatted text, line breaks included
};

// Takes the log's lines: one at a time, on the thread that logs, under the log's own lock. It must not log, and should
// be quick: whoever logs waits for it. `context` is what SetSink was given.
using VQDbgSink = void (*)(const VQDbgRecord& record, void* context);

class VQ_FRAMEWORK_API VQDbgOutput {
 public:
  // Logs `format` with its arguments (as printf). The four values before it go to the log unchanged.
  static void DbgPrint(const char* file, const char* function, int line, unsigned int tag, const char* format, ...)
      __attribute__((format(printf, 5, 6)));

  // The same for failed system calls, which have no tag.
  static void DbgPrintStdErr(const char* file, const char* function, int line, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

  // Sends every following line to `sink` instead; null restores the place that VQDBG names. Calls of the sink never
  // overlap, and when SetSink returns the former one is not called any more. A sink must not log.
  static void SetSink(VQDbgSink sink, void* context);
};
