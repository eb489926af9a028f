#include "tests/crash/operation.h"

#include <sys/ptrace.h>
#include <unistd.h>

#include "tests/crash/marks.h"

namespace crash {

void Victim::perform(const std::function<void()>& operation) {
  tell(board_, board_.victimIsPrepared);
  hear(board_, board_.victimMayGo);
  if (stepped_ == Stepped::kDeliveryThread) {
    operation();
  } else {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    beginMark();
    operation();
    endMark();
  }
  for (;;) {
    pause();
  }
}

std::vector<Operation> allOperations() {
  return {lockCreation(),
          segmentCreation(),
          logCreation(),
          firstClient(),
          firstServer(),
          registration(0),
          registration(3),
          writeFromClient(),
          writeFromServer(),
          statusSend(),
          reception(),
          answer(),
          attachment(Stepped::kCaller),
          attachment(Stepped::kNewThread),
          detachment(Stepped::kCaller),
          detachment(Stepped::kDeliveryThread),
          endpointDestruction(),
          settingsFlush()};
}

std::string fateOfMessage(const Aftermath& aftermath, std::uint32_t id) {
  for (std::uint64_t sequence = aftermath.logBefore; sequence < aftermath.log.head(); ++sequence) {
    const vqframework::MessageSlot& slot = aftermath.log.slot(sequence);
    if (slot.pid == static_cast<std::uint32_t>(aftermath.victim) && slot.id == id && LogView::isOfTheChannel(slot)) {
      return aftermath.isWitnessBehind ? "sent, waits for the next message" : "sent and delivered";
    }
  }
  return "";
}

}  // namespace crash
