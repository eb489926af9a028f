// The log of this library: VQDbgOutput under one name.
#pragma once

namespace vqbluez {

// One line; the line break is added here.
void logLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vqbluez
