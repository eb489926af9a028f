// A receiver that dies on its delivery thread.
#include <memory>

#include "tests/crash/operation.h"
#include "tests/crash/sending.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"

namespace crash {
namespace {

constexpr unsigned int kFromHUId = 2;
constexpr unsigned int kClientCommData = 2;

// What the client's observer does with the message.
using OnMessage = std::function<void(iOSAppCommonClient& client)>;

// The delivery thread is there, and sleeps; the witness sends to it.
void receive(Victim& victim, const OnMessage& onMessage) {
  const std::unique_ptr<iOSAppCommonClient> client = clientInSession("victim");
  Listener listener([&](unsigned int id, void* /*data*/, unsigned int /*size*/) {
    if (id == kClientCommData) {
      victim.noteCall();
      onMessage(*client);
    }
  });
  client->AddObserver(listener.observer());
  victim.perform([] {});
}

}  // namespace

Operation reception() {
  Operation operation;
  operation.name = "receive";
  operation.allowed =
      "The victim's observer was called or not, which dies with it. Nothing is left of a receiver but the lock that it "
      "held while it read the slot, which passes on, and its place in the table of attached processes, which the next "
      "one takes.";
  operation.stepped = Stepped::kDeliveryThread;
  operation.doesWitnessSend = true;
  operation.victim = [](Victim& victim) { receive(victim, [](iOSAppCommonClient&) {}); };
  operation.finished = "observer called";
  operation.outcome = [](const Aftermath& aftermath) -> std::string {
    return aftermath.board.victimCalls == 0 ? "observer not called yet" : "observer called";
  };
  return operation;
}

Operation answer() {
  Operation operation;
  operation.name = "receive and answer";
  operation.allowed = "As \"receive\" and, for the answer that the observer sends, as \"ring write\".";
  operation.stepped = Stepped::kDeliveryThread;
  operation.doesWitnessSend = true;
  operation.victim = [](Victim& victim) {
    const std::vector<std::uint8_t> bytes = patternBytes(100, 5);
    receive(victim, [&bytes](iOSAppCommonClient& client) { client.sendDataFromHU(bytes.data(), 100); });
  };
  operation.finished = "answer sent and delivered";
  operation.outcome = [](const Aftermath& aftermath) -> std::string {
    const std::string fate = fateOfMessage(aftermath, kFromHUId);
    if (!fate.empty()) {
      return "answer " + fate;
    }
    return aftermath.board.victimCalls == 0 ? "observer not called yet" : "observer called, no answer";
  };
  return operation;
}

}  // namespace crash
