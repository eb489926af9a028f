// The one thread's event loop: sd-event with callbacks that are C++ functions.
//
// A callback may end its own watch, and destroy the object that holds it.
#pragma once

#include <systemd/sd-event.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace bluez_sim {

// A running watch; ends with its destruction. Movable.
class Watch {
 public:
  Watch();
  ~Watch();
  Watch(Watch&& other) noexcept;
  Watch& operator=(Watch&& other) noexcept;

  void setEvents(std::uint32_t events);  // of a descriptor's watch: EPOLLIN and their like
  explicit operator bool() const { return state_ != nullptr; }

  struct State;

 private:
  friend class Loop;
  explicit Watch(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

class Loop {
 public:
  using IoCallback = std::function<void(std::uint32_t events)>;
  using Callback = std::function<void()>;

  Loop();  // throws BusError
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  sd_event* event() const { return event_; }

  [[nodiscard]] Watch watch(int fd, std::uint32_t events, IoCallback callback);
  [[nodiscard]] Watch after(unsigned int milliseconds, Callback callback);
  [[nodiscard]] Watch onSignal(int number, Callback callback);

  // Returns after stop().
  void run();
  void stop();

 private:
  sd_event* event_ = nullptr;
};

}  // namespace bluez_sim
