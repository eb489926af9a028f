#include "app/source.h"

#include <errno.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "text/pattern.h"

namespace app {
namespace {

constexpr std::size_t kLongestLine = std::size_t{1024} * 1024;
constexpr std::size_t kLinesAhead = 100;

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string reason(const std::string& name) {
  return name + ": " + std::generic_category().message(errno);
}

}  // namespace

Source::Next PatternSource::next(Bytes& message) {
  if (given_ == count_) {
    return Next::kEnd;
  }
  message = text::patternMessage(given_++, size_);
  return Next::kMessage;
}

Source::Next ListSource::next(Bytes& message) {
  if (texts_.empty()) {
    return Next::kEnd;
  }
  message = bytesOf(texts_.front());
  texts_.pop_front();
  return Next::kMessage;
}

FileSource::FileSource(std::string name, std::size_t pieceBytes) : name_(std::move(name)), pieceBytes_(pieceBytes) {
  file_.open(name_, std::ios::binary);
  file_.peek();  // a folder opens and cannot be read
  if (file_.bad() || !file_.is_open()) {
    throw std::runtime_error(reason(name_));
  }
}

Source::Next FileSource::next(Bytes& message) {
  message.resize(pieceBytes_);
  file_.read(reinterpret_cast<char*>(message.data()), static_cast<std::streamsize>(message.size()));
  if (file_.bad()) {
    throw std::runtime_error(reason(name_));
  }
  message.resize(static_cast<std::size_t>(file_.gcount()));
  return message.empty() ? Next::kEnd : Next::kMessage;
}

LineSource::LineSource(loop::Loop& loop, int input) : loop_(loop), input_(input), lines_(kLongestLine) {
  loop_.watch(input_, POLLIN, [this](short) { read(); });
}

LineSource::~LineSource() {
  if (!isAtEnd_) {
    loop_.forget(input_);
  }
}

Source::Next LineSource::next(Bytes& message) {
  if (waiting_.empty()) {
    return isAtEnd_ ? Next::kEnd : Next::kLater;
  }
  message = bytesOf(waiting_.front());
  waiting_.pop_front();
  if (!isAtEnd_ && waiting_.size() < kLinesAhead) {
    loop_.watchFor(input_, POLLIN);
  }
  return Next::kMessage;
}

void LineSource::read() {
  char buffer[4096];
  const ssize_t count = ::read(input_, buffer, sizeof buffer);
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
    return;
  }
  const auto take = [this](const std::string& line) {
    add(line);
    return true;
  };
  if (count > 0) {
    for (bool isGood = lines_.add(buffer, static_cast<std::size_t>(count), take); !isGood; isGood = lines_.go(take)) {
      fprintf(stderr, "linkapp app: a line of more than %zu bytes was left out\n", kLongestLine);
    }
    if (waiting_.size() >= kLinesAhead) {
      loop_.watchFor(input_, 0);
    }
  } else {
    add(lines_.takePartial());
    isAtEnd_ = true;
    loop_.forget(input_);
  }
  onMore();
}

void LineSource::add(const std::string& line) {
  for (std::size_t at = 0; at < line.size(); at += kLongestMessage) {
    waiting_.push_back(line.substr(at, kLongestMessage));
  }
}

}  // namespace app
