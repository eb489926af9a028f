// What must hold whatever the bytes are. Where it does not, the execution is a finding.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

inline void require(bool isTrue, const char* what) {
  if (!isTrue) {
    std::fprintf(stderr, "not so: %s\n", what);
    std::abort();
  }
}

// What is printable as it is, the rest in hexadecimal.
inline std::string shown(const std::string& bytes) {
  constexpr std::size_t kMost = 400;
  std::string text;
  for (const char c : bytes.substr(0, kMost)) {
    char code[5] = {};
    std::snprintf(code, sizeof code, c >= ' ' && c <= '~' ? "%c" : "\\x%02x", static_cast<unsigned char>(c));
    text += code;
  }
  return bytes.size() > kMost ? text + "..." : text;
}

using Lines = std::vector<std::string>;

// What the product did and what the transcription says it does.
inline void requireSame(const Lines& product, const Lines& model, const char* after) {
  if (product == model) {
    return;
  }
  std::fprintf(stderr, "product and transcription differ after %s\n", after);
  for (const std::string& line : product) {
    std::fprintf(stderr, "  product        %s\n", shown(line).c_str());
  }
  for (const std::string& line : model) {
    std::fprintf(stderr, "  transcription  %s\n", shown(line).c_str());
  }
  std::abort();
}

}  // namespace fuzz
