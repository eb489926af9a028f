// A recording as what happened: which processes came and went, what applications did, what the phone did.
//
// From outside nobody sees callbacks or commands; all of this follows from the messages, from who sent them, and from
// how far receivers were.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "record/entry.h"
#include "record/reader.h"

namespace record {

// A process that has a part in the channel.
struct StoryProcess {
  std::uint32_t pid = 0;
  std::string name;
  std::string command;
  bool isDeviceSide = false;
  bool wasKilled = false;  // it ended without leaving the table of receivers

  // What `linkapp app` was started with, where it is one; but for how it is told commands.
  bool isTool = false;
  std::vector<std::string> arguments;
  bool sendsByItself = false;     // it has messages of its own
  bool launchesByItself = false;  // whenever a phone is connected

  std::vector<std::string> valuesOf(const std::string& option) const;
  bool hasPart(const std::string& part) const;  // of --listen
};

struct StoryApp {
  std::uint32_t appId = 0;
  std::string name;
  std::string launchString;
  std::string iAP1Name;
};

struct StoryStep {
  enum class Kind {
    // Of applications' processes.
    kBegin,
    kEnd,
    kStop,  // SIGSTOP
    kContinue,
    // What an application does.
    kRegister,
    kLaunch,
    kSend,
    // What the device side does.
    kConnection,
    kSession,
    kResult,
    kHandsFree,
    kPlaying,
    kData,
  };
  Kind kind = Kind::kBegin;
  std::uint64_t time = 0;
  std::uint64_t sequence = 0;  // of its message
  std::size_t process = 0;     // index; of who does it
  bool isBefore = false;       // it holds when the recording begins; when it was done is not known
  StoryApp app;                // kRegister; the id alone with kLaunch, kSend, kSession, kResult, kData
  iosapp_def_::ConnectStatusNotify status = {};  // kLaunch, and what the device side says in one
  std::vector<std::uint8_t> bytes;               // kSend, kData
  bool areBytesKnown = false;
};

struct Story {
  std::vector<StoryProcess> processes;
  std::vector<StoryStep> steps;  // in their order
  std::vector<StoryApp> apps;
  std::uint64_t missed = 0;  // messages that the recording does not have

  const StoryApp* app(std::uint32_t appId) const;  // null where nothing is known of it
  // Arguments of a `linkapp app` that is this process, or stands in for it, and sends nothing by itself.
  std::vector<std::string> argumentsFor(std::size_t process) const;
  // Whether the launch of this step came by itself, because a phone was connected.
  bool isLaunchByItself(std::size_t step) const;
};

Story tellStory(const Recording& recording);

}  // namespace record
