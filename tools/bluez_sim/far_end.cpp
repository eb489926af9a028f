#include "bluez_sim/far_end.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "bluez_sim/pattern.h"

namespace bluez_sim {
namespace {

constexpr std::size_t kChunk = 4096;
constexpr std::size_t kMostPending = 65536;  // a phone that echoes stops reading while its own bytes are not taken

bool isTransient(int error) {
  return error == EAGAIN || error == EINTR;
}

constexpr std::pair<const char*, Mode> kModes[] = {
    {"echo", Mode::kEcho}, {"sink", Mode::kSink}, {"stall", Mode::kStall}};

}  // namespace

std::optional<Mode> parseMode(const std::string& text) {
  for (const auto& [name, mode] : kModes) {
    if (text == name) {
      return mode;
    }
  }
  return std::nullopt;
}

const char* nameOf(Mode mode) {
  for (const auto& [name, known] : kModes) {
    if (known == mode) {
      return name;
    }
  }
  return "";
}

FarEnd::FarEnd(Loop& loop, UniqueFd fd, Mode mode, std::shared_ptr<Traffic> traffic, std::function<void()> onEnd)
    : fd_(std::move(fd)), mode_(mode), traffic_(std::move(traffic)), onEnd_(std::move(onEnd)) {
  const unsigned int links = traffic_->links + 1;
  *traffic_ = Traffic();
  traffic_->links = links;
  traffic_->isUp = true;
  watch_ = loop.watch(fd_.get(), 0, [this](std::uint32_t events) { onEvents(events); });
  updateEvents();
}

FarEnd::~FarEnd() {
  traffic_->isUp = false;
}

void FarEnd::setMode(Mode mode) {
  mode_ = mode;
  updateEvents();
}

void FarEnd::source(std::uint64_t bytes) {
  sourceLeft_ += bytes;
  updateEvents();
}

void FarEnd::say(const std::string& text) {
  pending_ += text;
  writeSome();  // at once, so that a drop that is ordered next comes after it; an error shows as an event
  updateEvents();
}

void FarEnd::onEvents(std::uint32_t events) {
  const bool isReading = mode_ != Mode::kStall;
  bool isUp = (events & EPOLLIN) == 0 || !isReading || readSome();
  isUp = isUp && ((events & EPOLLOUT) == 0 || writeSome());
  // One that reads finds the end behind the last byte; one that does not would hear of it for ever.
  isUp = isUp && ((events & (EPOLLHUP | EPOLLERR)) == 0 || (isReading && (events & EPOLLIN) != 0));
  if (!isUp) {
    const std::function<void()> end = onEnd_;
    end();  // this object may be gone now
    return;
  }
  updateEvents();
}

bool FarEnd::readSome() {
  char buffer[kChunk];
  const ssize_t count = recv(fd_.get(), buffer, sizeof buffer, MSG_DONTWAIT);
  if (count <= 0) {
    return count == -1 && isTransient(errno);
  }
  for (ssize_t i = 0; i < count && !traffic_->wrongAt; ++i) {
    const std::uint64_t index = traffic_->received + static_cast<std::uint64_t>(i);
    if (static_cast<std::uint8_t>(buffer[i]) != patternByte(index)) {
      traffic_->wrongAt = index;
    }
  }
  traffic_->received += static_cast<std::uint64_t>(count);
  if (mode_ == Mode::kEcho) {
    pending_.append(buffer, static_cast<std::size_t>(count));
  }
  return true;
}

bool FarEnd::writeSome() {
  refill();
  while (!pending_.empty()) {
    const ssize_t count = send(fd_.get(), pending_.data(), pending_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count == -1) {
      return isTransient(errno);
    }
    traffic_->sent += static_cast<std::uint64_t>(count);
    pending_.erase(0, static_cast<std::size_t>(count));
    refill();
  }
  return true;
}

void FarEnd::refill() {
  while (sourceLeft_ > 0 && pending_.size() < kChunk) {
    pending_ += static_cast<char>(patternByte(sourced_++));
    --sourceLeft_;
  }
}

void FarEnd::updateEvents() {
  const bool isReading = mode_ == Mode::kSink || (mode_ == Mode::kEcho && pending_.size() < kMostPending);
  const bool isWriting = !pending_.empty() || sourceLeft_ > 0;
  watch_.setEvents((isReading ? EPOLLIN : 0U) | (isWriting ? EPOLLOUT : 0U));
}

}  // namespace bluez_sim
