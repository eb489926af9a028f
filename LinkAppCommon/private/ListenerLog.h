// What a class with one listener logs when it refuses one. Readers of the log know the odd end of the first text.
#pragma once

#include "VQFramework/Debug/VQDbgOutput.h"

inline void logNullListener(const char* file, int line) {
  VQDbgOutput::DbgPrint(file, "setListener", line, 1, "Listener Pointer is NULL...n");
}

inline void logForeignListener(const char* file, int line) {
  VQDbgOutput::DbgPrint(file, "removeListener", line, 1, "Listener Pointer is NULL or NOT match...\n");
}
