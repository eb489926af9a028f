// Files that are read whole.
#pragma once

#include <algorithm>
#include <fstream>
#include <string>

namespace doctor {

// At most `most` bytes; empty where there is nothing, or it cannot be read.
inline std::string contentOf(const std::string& path, std::size_t most = std::size_t{4} << 20) {
  std::ifstream file(path, std::ios::binary);
  std::string content;
  char buffer[16384];
  while (content.size() < most && (file.read(buffer, sizeof buffer) || file.gcount() > 0)) {
    content.append(buffer, static_cast<std::size_t>(file.gcount()));
  }
  content.resize(std::min(content.size(), most));
  return content;
}

}  // namespace doctor
