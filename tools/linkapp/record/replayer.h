// Plays a recording: says what the device side said, when it said it, and compares what applications do with what they
// did.
//
// The recording's order is kept: nothing is said before applications have done what they did before it. Times are those
// between one step and the next.
// Threads: one, the loop's. Everything runs within run().
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "inspect/log_reader.h"
#include "loop/loop.h"
#include "loop/signals.h"
#include "record/device_player.h"
#include "record/started_app.h"
#include "record/story.h"
#include "text/duration.h"

namespace record {

struct ReplayOptions {
  double speed = 1;
  bool isAsFastAsPossible = false;
  bool isStarting = false;                            // starts the recording's applications, too
  text::Duration patience{std::chrono::seconds(10)};  // for what applications do
  std::string logs;                                   // a folder for what started ones tell; empty: none
  std::string tool = "/proc/self/exe";
};

class Replayer {
 public:
  using Progress = std::function<void(const std::string& text)>;

  Replayer(loop::Loop& loop, loop::Signals& signals, const Story& story, const ReplayOptions& options,
           Progress progress);

  // Gives what was different, in words.
  std::vector<std::string> run();
  void interrupt() { isInterrupted_ = true; }
  std::size_t steps() const { return steps_; }

 private:
  using Clock = std::chrono::steady_clock;

  void play(std::size_t index);
  bool isOfDeviceSide(const StoryStep& step) const;
  void awaitTime(const StoryStep& step);
  void playDeviceSide(const StoryStep& step);
  void begin(const StoryStep& step);
  void end(const StoryStep& step);
  void awaitRegistration(const StoryStep& step);
  void awaitDeed(std::size_t index);
  void make(const StoryStep& step, StartedApp& app, const std::function<bool()>& isDone);
  bool takeDeed(const StoryStep& step, std::uint32_t app);
  bool isSame(const StoryStep& step, const HeadUnitEvent& event) const;
  void awaitTaken(std::uint32_t pid) const;
  void awaitRoomInRing();
  void awaitQuiet(StartedApp& app) const;
  void finish();

  bool await(const std::function<bool()>& condition, text::Duration patience) const;
  void tellDifference(const StoryStep& step, const std::string& text);
  std::string nameOf(const StoryStep& step) const;
  StartedApp* started(std::size_t process);

  loop::Loop& loop_;
  loop::Signals& signals_;
  const Story& story_;
  const ReplayOptions options_;
  const Progress progress_;
  DevicePlayer device_;
  mutable inspect::LogReader log_;
  std::map<std::size_t, std::unique_ptr<StartedApp>> apps_;   // by process of the story
  std::map<std::uint32_t, std::uint32_t> ids_;                // app ids of the recording, and here
  std::map<std::uint32_t, std::string> names_;                // by app id here
  std::deque<HeadUnitEvent> registered_;                      // that nobody has asked for
  std::map<std::uint32_t, std::deque<HeadUnitEvent>> deeds_;  // by app id here
  std::set<std::uint32_t> launched_;                          // app ids here
  std::set<std::uint32_t> open_;                              // app ids of the recording with a session
  std::vector<std::string> differences_;
  std::size_t steps_ = 0;
  std::uint64_t beginTime_ = 0;  // of the recording
  std::uint64_t lastTime_ = 0;
  Clock::time_point last_ = Clock::now();
  bool isAfterRegistration_ = false;
  bool isInterrupted_ = false;
};

// A step as people read it: "navi sends 5 bytes", "phone connected over usb, iap2".
std::string describe(const Story& story, const StoryStep& step);

}  // namespace record
