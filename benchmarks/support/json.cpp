#include "benchmarks/support/json.h"

#include <stdio.h>

namespace bench {
namespace {

template <class Value, class Format>
std::string listOf(const std::vector<Value>& values, Format format) {
  std::string text = "[";
  for (const Value& value : values) {
    text += (text.size() == 1 ? "" : ", ") + format(value);
  }
  return text + "]";
}

}  // namespace

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      result += '\\';
    }
    result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return result + "\"";
}

std::string list(const std::vector<double>& values) {
  return listOf(values, [](double value) {
    char text[32];
    snprintf(text, sizeof text, "%.6g", value);
    return std::string(text);
  });
}

std::string list(const std::vector<std::string>& texts) {
  return listOf(texts, &quoted);
}

}  // namespace bench
