#include "platform/bluez/log.h"

#include <stdarg.h>
#include <stdio.h>

#include "VQFramework/Debug/VQDbgOutput.h"

namespace vqbluez {
namespace {

constexpr const char* kFile = "VQBluetooth/bluez";
constexpr const char* kFunction = "bluez";

}  // namespace

void logLine(const char* format, ...) {
  char text[400];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  VQDbgOutput::DbgPrint(kFile, kFunction, 0, 1, "%s\n", text);
}

}  // namespace vqbluez
