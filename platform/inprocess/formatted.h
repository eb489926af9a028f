// What printf would print, as a string.
#pragma once

#include <stdarg.h>
#include <stdio.h>

#include <string>
#include <vector>

namespace vqframework {

// Empty where the format cannot be used.
__attribute__((format(printf, 1, 0))) inline std::string formatted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  std::vector<char> text(length < 0 ? 1 : static_cast<std::size_t>(length) + 1);
  if (length >= 0) {
    vsnprintf(text.data(), text.size(), format, again);
  }
  va_end(again);
  return text.data();
}

}  // namespace vqframework
