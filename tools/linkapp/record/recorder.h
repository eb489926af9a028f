// Looks at the channel and tells a Writer what there is: every notification with its ring content, who sends, who
// receives and how far they are, which apps there are, and what was missed.
//
// It follows the log as inspect::Follower does, and disturbs nobody for the same reasons: no lock, no map, no place in
// any table. Ring contents are there for 40 messages only, so it looks each millisecond or two; what was overwritten
// meanwhile is recorded as such.
// Threads: one.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "inspect/follower.h"
#include "inspect/log_view.h"
#include "inspect/object.h"
#include "inspect/processes.h"
#include "inspect/ring_contents.h"
#include "record/entry.h"
#include "record/writer.h"

namespace record {

struct Place {
  std::string folder = inspect::kSharedMemory;
  std::string proc = inspect::kProc;
};

class Recorder {
 public:
  // What this look has missed, for whoever tells people.
  struct Look {
    std::uint64_t messages = 0;
    std::uint64_t missed = 0;    // messages that were gone before they could be seen
    std::uint64_t contents = 0;  // ring messages whose bytes were gone or are not certain
  };

  // Notes what holds now; messages from here on are recorded.
  Recorder(Writer& writer, const Place& place);

  // Writes down what has come since the last call. Throws std::system_error where the file cannot be written.
  Look look();
  // Until the next look.
  std::chrono::microseconds pause() const { return follower_.pause(); }

  // The last entry.
  void end(const std::string& reason);

 private:
  void learnWhatHolds();
  void noteStandstill(std::uint64_t now);
  void noteProblem(const std::string& problem, std::uint64_t now);
  void addMessages(const inspect::Follower::Batch& batch, Look& look);
  void addGap(std::uint64_t end, const inspect::Follower::Batch& batch, Look& look);
  void noteOwner(const inspect::Message& message);
  void noteProcess(std::uint32_t pid);
  void lookAtTable();
  void lookAtReceivers(const inspect::Log& log, std::uint64_t time);
  void lookAtProcesses(std::uint64_t now);
  void lookAtClocks();

  Writer& writer_;
  const Place place_;
  inspect::Follower follower_;
  inspect::RingContents rings_;
  inspect::Object table_;
  std::uint64_t next_ = 0;  // sequence number of the next message
  std::uint64_t lastLook_ = 0;
  std::uint64_t lastGlance_ = 0;  // at processes
  std::string problem_;
  std::int64_t clockOffset_ = 0;
  std::map<std::uint32_t, std::uint32_t> owners_;     // by app id
  std::map<std::uint32_t, std::uint64_t> positions_;  // by pid
};

}  // namespace record
