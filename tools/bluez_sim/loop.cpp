#include "bluez_sim/loop.h"

#include <signal.h>
#include <time.h>

#include <cstdio>
#include <exception>
#include <utility>

#include "bluez_sim/bus.h"

namespace bluez_sim {

struct Watch::State {
  using Function = std::function<void(std::uint32_t)>;

  explicit State(Function callback) : function(std::make_shared<Function>(std::move(callback))) {}
  ~State() {
    if (source != nullptr) {
      sd_event_source_set_enabled(source, SD_EVENT_OFF);
      sd_event_source_unref(source);
    }
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // Exceptions end here: the frames below are C.
  int call(std::uint32_t events) const {
    const std::shared_ptr<Function> running = function;  // the call may destroy this state
    try {
      (*running)(events);
    } catch (const std::exception& error) {
      fprintf(stderr, "linkapp-bluez-sim: %s\n", error.what());
    }
    return 0;
  }

  static int onIo(sd_event_source* /*source*/, int /*fd*/, std::uint32_t events, void* state) {
    return static_cast<State*>(state)->call(events);
  }
  static int onTime(sd_event_source* /*source*/, std::uint64_t /*time*/, void* state) {
    return static_cast<State*>(state)->call(0);
  }
  static int onSignal(sd_event_source* /*source*/, const signalfd_siginfo* /*info*/, void* state) {
    return static_cast<State*>(state)->call(0);
  }

  const std::shared_ptr<Function> function;
  sd_event_source* source = nullptr;
};

Watch::Watch() = default;
Watch::~Watch() = default;
Watch::Watch(Watch&& other) noexcept = default;
Watch& Watch::operator=(Watch&& other) noexcept = default;
Watch::Watch(std::unique_ptr<State> state) : state_(std::move(state)) {}

void Watch::setEvents(std::uint32_t events) {
  check(sd_event_source_set_io_events(state_->source, events), "watching a descriptor");
}

Loop::Loop() {
  check(sd_event_new(&event_), "an event loop");
}

Loop::~Loop() {
  sd_event_unref(event_);
}

Watch Loop::watch(int fd, std::uint32_t events, IoCallback callback) {
  auto state = std::make_unique<Watch::State>(std::move(callback));
  check(sd_event_add_io(event_, &state->source, fd, events, &Watch::State::onIo, state.get()), "watching a descriptor");
  return Watch(std::move(state));
}

Watch Loop::after(unsigned int milliseconds, Callback callback) {
  auto state = std::make_unique<Watch::State>([function = std::move(callback)](std::uint32_t) { function(); });
  check(sd_event_add_time_relative(event_, &state->source, CLOCK_MONOTONIC, std::uint64_t{1000} * milliseconds, 1,
                                   &Watch::State::onTime, state.get()),
        "a timer");
  return Watch(std::move(state));
}

Watch Loop::onSignal(int number, Callback callback) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, number);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  auto state = std::make_unique<Watch::State>([function = std::move(callback)](std::uint32_t) { function(); });
  check(sd_event_add_signal(event_, &state->source, number, &Watch::State::onSignal, state.get()), "a signal");
  return Watch(std::move(state));
}

void Loop::run() {
  check(sd_event_loop(event_), "the event loop");
}

void Loop::stop() {
  check(sd_event_exit(event_, 0), "ending the event loop");
}

}  // namespace bluez_sim
