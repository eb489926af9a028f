// Processes that die while they begin or cease to receive.
#include <memory>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/crash/operation.h"
#include "tests/crash/shared_state.h"
#include "tests/process/listener.h"

namespace crash {
namespace {

constexpr unsigned int kIds[] = {2, 4};

std::string outcomeInTable(const Aftermath& aftermath) {
  const vqframework::AttachedPlace* const place = aftermath.log.placeOf(aftermath.victim);
  if (place == nullptr) {
    return "not listed";
  }
  return place->startTime == 0 || place->idCount == 0 ? "listed, not filled in" : "listed";
}

void ignore(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {}

std::string threadOf(Stepped stepped) {
  return stepped == Stepped::kCaller ? ": caller" : ": delivery thread";
}

}  // namespace

Operation attachment(Stepped stepped) {
  Operation operation;
  operation.name = "notifier attach (AddObserver)" + threadOf(stepped);
  operation.allowed =
      "Listed among the attached processes, listed in part, or not listed. The next process that attaches takes the "
      "place of one that is gone; nothing depends on the list.";
  operation.stepped = stepped;
  operation.density = Density::kLibraries;
  operation.victim = [](Victim& victim) {
    VQSharedMemNotifier notifier(false);
    Listener listener(&ignore);
    victim.perform([&] { notifier.AddObserver(listener.observer(), kIds, 2); });
  };
  // Where the caller returns, its new thread may not have come far.
  operation.finished = stepped == Stepped::kNewThread ? "listed" : "";
  operation.outcome = &outcomeInTable;
  return operation;
}

Operation detachment(Stepped stepped) {
  Operation operation;
  operation.name = "detach (RemoveObserver)" + threadOf(stepped);
  operation.allowed = "Still listed, or not any more. As above.";
  operation.stepped = stepped;
  operation.density = stepped == Stepped::kCaller ? Density::kEveryInstruction : Density::kLibraries;
  operation.victim = [](Victim& victim) {
    VQSharedMemNotifier notifier(false);
    Listener listener(&ignore);
    notifier.AddObserver(listener.observer(), kIds, 2);
    victim.perform([&] { notifier.RemoveObserver(listener.observer()); });
  };
  operation.finished = "not listed";
  operation.outcome = &outcomeInTable;
  return operation;
}

Operation endpointDestruction() {
  Operation operation;
  operation.name = "detach (destructor of an endpoint)";
  operation.allowed = "As above.";
  operation.density = Density::kLibraries;
  operation.victim = [](Victim& victim) {
    auto endpoint = std::make_unique<iOSAppCommonLocalMem>(kFromHU.name, 1, 2);
    victim.perform([&] { endpoint.reset(); });
  };
  operation.finished = "not listed";
  operation.outcome = &outcomeInTable;
  return operation;
}

}  // namespace crash
