// Operations of the first process of the machine: it makes what is shared.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "tests/crash/operation.h"
#include "tests/crash/shared_state.h"
#include "tests/support/shm_files.h"

namespace crash {
namespace {

std::string nameOf(ObjectState state) {
  switch (state) {
    case ObjectState::kMissing:
      return "none there";
    case ObjectState::kWithoutSize:
      return "there, without a size";
    case ObjectState::kUnfinished:
      return "of full size, not marked whole";
    case ObjectState::kWhole:
      return "whole";
  }
  return "";
}

std::string outcomeOfSegment(const Aftermath& /*aftermath*/) {
  if (stateOfLock(kFromHU) != ObjectState::kWhole) {
    return "lock unfinished, no segment";
  }
  const std::optional<std::size_t> size = test_support::shmSize(kFromHU.name);
  if (!size) {
    return "lock whole, no segment";
  }
  if (*size == 0) {
    return "segment without a size";
  }
  const std::uint32_t word = test_support::shmWord(kFromHU.name, 0).value_or(1);  // 1: neither
  const bool isFilledIn = word == kFromHU.recordBytes;
  if (*size != kFromHU.bytes || (word != 0 && !isFilledIn)) {
    throw NotAllowed("a segment of " + std::to_string(*size) + " bytes that says " + std::to_string(word));
  }
  return word == 0 ? "segment of full size, not filled in" : "segment whole";
}

// How many of the channel's nine objects are whole, in steps; each is made in the same way.
std::string outcomeOfStart(const Aftermath& /*aftermath*/) {
  unsigned int whole = stateOfLog() == ObjectState::kWhole ? 1 : 0;
  for (const SegmentName& segment : kSegments) {
    whole += stateOfLock(segment) == ObjectState::kWhole ? 1U : 0U;
    whole += test_support::shmWord(segment.name, 0) == segment.recordBytes ? 1U : 0U;
  }
  if (whole == 0 || whole == 9) {
    return whole == 0 ? "no object whole" : "all objects whole";
  }
  return "some objects whole";
}

constexpr const char* kMadeByTheNext =
    "Whatever is there and not whole is made by the next process: set-up is under a file lock, which the kernel takes "
    "back, and the mark \"whole\" is stored last. ";

}  // namespace

Operation lockCreation() {
  Operation operation;
  operation.name = "lock creation";
  operation.allowed = std::string("The lock object in each stage of its making. ") + kMadeByTheNext;
  operation.hasWitness = false;
  operation.victim = [](Victim& victim) { victim.perform([] { const VQSharedSyncObject lock(kFromHU.name); }); };
  operation.finished = "whole";
  operation.outcome = [](const Aftermath&) { return nameOf(stateOfLock(kFromHU)); };
  return operation;
}

Operation segmentCreation() {
  Operation operation;
  operation.name = "segment creation";
  operation.allowed =
      "The lock object as above; then the segment missing, without a size, of full size and empty, or whole. A segment "
      "that is too short is brought to size by the next process, under the lock, which outlives its holder; a new one "
      "is zero, and so is an empty record.";
  operation.density = Density::kLibraries;
  operation.hasWitness = false;
  operation.victim = [](Victim& victim) {
    victim.perform([] { const VQSharedMemory<iOSAppCommonDataList, 1> segment(kFromHU.name); });
  };
  operation.finished = "segment whole";
  operation.outcome = &outcomeOfSegment;
  return operation;
}

Operation logCreation() {
  Operation operation;
  operation.name = "notifier log creation";
  operation.allowed = std::string("The log in each stage of its making, without or with its first message. ") +
                      kMadeByTheNext + "Nobody is there who could wait for the message.";
  operation.hasWitness = false;
  operation.victim = [](Victim& victim) {
    VQSharedMemNotifier notifier(false);
    victim.perform([&] { notifier.NotifyDataUpdate(2, "first", 5); });
  };
  operation.finished = "whole, with a message";
  operation.outcome = [](const Aftermath& aftermath) {
    const ObjectState state = stateOfLog();
    const bool hasMessage = state == ObjectState::kWhole && !fateOfMessage(aftermath, 2).empty();
    return hasMessage ? "whole, with a message" : nameOf(state);
  };
  return operation;
}

Operation firstClient() {
  Operation operation;
  operation.name = "start of the first client";
  operation.allowed = "Every object in each stage of its making, as above; the app registered or not.";
  operation.density = Density::kSample;
  operation.hasWitness = false;
  operation.victim = [](Victim& victim) {
    victim.perform([] { new iOSAppCommonClient("", "victim", "launch-victim"); });  // lives until the process is killed
  };
  operation.finished = "all objects whole";
  operation.outcome = &outcomeOfStart;
  return operation;
}

Operation firstServer() {
  Operation operation;
  operation.name = "start of the first server";
  operation.allowed = "Every object in each stage of its making, as above.";
  operation.density = Density::kSample;
  operation.hasWitness = false;
  operation.victim = [](Victim& victim) {
    victim.perform([] { new iOSAppCommonServer(1); });  // as above
  };
  operation.finished = "all objects whole";
  operation.outcome = &outcomeOfStart;
  return operation;
}

}  // namespace crash
