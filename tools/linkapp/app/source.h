// Where the messages come from that an application sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "loop/lines.h"
#include "loop/loop.h"

namespace app {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLongestMessage = 4096;

class Source {
 public:
  enum class Next { kMessage, kLater, kEnd };

  virtual ~Source() = default;
  virtual Next next(Bytes& message) = 0;
  // Called when there may be a message after kLater.
  std::function<void()> onMore = [] {};
};

// Messages of the pattern (text/pattern.h), numbered from 0.
class PatternSource final : public Source {
 public:
  PatternSource(std::uint32_t count, std::size_t size) : count_(count), size_(size) {}
  Next next(Bytes& message) override;

 private:
  const std::uint32_t count_;
  const std::size_t size_;
  std::uint32_t given_ = 0;
};

class ListSource final : public Source {
 public:
  explicit ListSource(const std::vector<std::string>& texts) : texts_(texts.begin(), texts.end()) {}
  Next next(Bytes& message) override;

 private:
  std::deque<std::string> texts_;
};

// The bytes of a file, cut into pieces.
class FileSource final : public Source {
 public:
  // Throws std::runtime_error with the reason where it cannot be read.
  FileSource(std::string name, std::size_t pieceBytes);
  Next next(Bytes& message) override;

 private:
  const std::string name_;
  const std::size_t pieceBytes_;
  std::ifstream file_;
};

// Each line of a descriptor; an empty one is left out, since no message is empty, and a longer one than a message can
// hold comes in pieces. Reads no more than a few ahead.
class LineSource final : public Source {
 public:
  LineSource(loop::Loop& loop, int input);
  ~LineSource() override;
  Next next(Bytes& message) override;

 private:
  void read();
  void add(const std::string& line);

  loop::Loop& loop_;
  const int input_;
  bool isAtEnd_ = false;
  loop::Lines lines_;
  std::deque<std::string> waiting_;
};

}  // namespace app
