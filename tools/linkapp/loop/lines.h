// Cuts a stream of bytes into lines.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace loop {

class Lines {
 public:
  explicit Lines(std::size_t longest) : longest_(longest) {}

  // Calls `take` with each whole line, without its line break; stops where that gives false. False where it did, and
  // where a line is longer than the longest: that one is dropped, and go() takes the lines behind it.
  bool add(const char* data, std::size_t size, const std::function<bool(const std::string& line)>& take) {
    partial_.append(data, size);
    return go(take);
  }

  bool go(const std::function<bool(const std::string& line)>& take) {
    for (std::size_t end = partial_.find('\n'); end != std::string::npos; end = partial_.find('\n')) {
      const std::string line = partial_.substr(0, end);
      partial_.erase(0, end + 1);
      if (std::exchange(isDropping_, false)) {
        continue;
      }
      if (line.size() > longest_ || !take(line)) {
        return false;
      }
    }
    if (isDropping_) {
      partial_.clear();
    }
    if (partial_.size() <= longest_) {
      return true;
    }
    partial_.clear();
    isDropping_ = true;
    return false;
  }

  bool hasPartial() const { return !partial_.empty(); }
  std::string takePartial() { return std::exchange(partial_, ""); }

 private:
  const std::size_t longest_;
  std::string partial_;
  bool isDropping_ = false;  // the rest of a line that is too long
};

}  // namespace loop
