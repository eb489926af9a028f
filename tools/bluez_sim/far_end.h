// The phone's end of one SPP link: what its app does with the bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "bluez_sim/loop.h"
#include "bluez_sim/unique_fd.h"

namespace bluez_sim {

enum class Mode {
  kEcho,   // sends everything back
  kSink,   // reads and does nothing with it
  kStall,  // does not read
};

std::optional<Mode> parseMode(const std::string& text);
const char* nameOf(Mode mode);

// Of the newest link to one service of a phone; stays when the link is down.
struct Traffic {
  unsigned int links = 0;  // so far
  bool isUp = false;
  std::uint64_t received = 0;  // bytes
  std::uint64_t sent = 0;
  std::optional<std::uint64_t> wrongAt;  // the first received byte that is not the pattern's
};

class FarEnd {
 public:
  // `onEnd` is called once, when the other side has ended the link; it may destroy this object.
  FarEnd(Loop& loop, UniqueFd fd, Mode mode, std::shared_ptr<Traffic> traffic, std::function<void()> onEnd);
  ~FarEnd();
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;

  void setMode(Mode mode);
  void source(std::uint64_t bytes);  // sends that many more bytes of the pattern
  void say(const std::string& text);

 private:
  void onEvents(std::uint32_t events);
  bool readSome();   // false at the end of the link
  bool writeSome();  // false at the end of the link
  void refill();
  void updateEvents();

  const UniqueFd fd_;
  Mode mode_;
  const std::shared_ptr<Traffic> traffic_;
  const std::function<void()> onEnd_;
  std::string pending_;           // to be sent
  std::uint64_t sourceLeft_ = 0;  // bytes of the pattern that are not in pending_ yet
  std::uint64_t sourced_ = 0;
  Watch watch_;
};

}  // namespace bluez_sim
