// The ways of a message, to the phone and from it.
#include <algorithm>

#include "doctor/words.h"
#include "why/target.h"

namespace why {
namespace {

using inspect::RingId;

constexpr const char* kRefused = "requestMsgSend returns false";
constexpr const char* kNoReceived = "onReceivedMsg does not come";
constexpr const char* kNoResult = "onSendResult does not come";

// The last ring message of this app; null where there is none since its session opened.
const doctor::RingMessage* lastOf(const std::vector<doctor::RingMessage>& messages, const Target& target) {
  const auto found = std::find_if(messages.rbegin(), messages.rend(),
                                  [&target](const auto& message) { return message.appId == target.appId(); });
  const doctor::SessionChange* const session = target.lastSession();
  const bool isOld = found != messages.rend() && session != nullptr && found->said.sequence < session->said.sequence;
  return found == messages.rend() || isOld ? nullptr : &*found;
}

std::string foreignIds(const std::vector<doctor::RingMessage>& messages, const Target& target) {
  const auto found = std::find_if(messages.rbegin(), messages.rend(),
                                  [&target](const auto& message) { return message.appId != target.appId(); });
  return found == messages.rend() ? ""
                                  : "; the last one was for the foreign app id " + std::to_string(found->appId) + ", " +
                                        target.said(found->said);
}

Condition hasSent(const Target& target, const doctor::RingMessage* message) {
  Condition condition = {"a message of it was put into the ring", Verdict::kHolds, "", "", ""};
  if (message != nullptr) {
    condition.evidence = "slot " + std::to_string(message->slot) + ", " + target.said(message->said);
    return condition;
  }
  return {condition.what, Verdict::kFails,
          "app id " + std::to_string(target.appId()) + " has announced none since its session opened" +
              foreignIds(target.all().history.fromHU, target),
          "the phone gets nothing",
          "was requestMsgSend called, and with 1 to 4096 bytes? What it returned, and why, stands in the application's "
          "log"};
}

Condition hasResult(const Target& target, const doctor::RingMessage& sent) {
  const auto& results = target.all().history.results;
  const auto found = std::find_if(results.rbegin(), results.rend(),
                                  [&target](const auto& result) { return result.appId == target.appId(); });
  Condition condition = {
      "the device side has reported how it ended", Verdict::kFails, "", kNoResult,
      "see the device side's own output: has it passed the message on, and called notifySendResult?"};
  const auto& traffic = target.app()->traffic;
  const std::uint64_t open = traffic ? traffic->open : 0;
  if (found == results.rend() || (found->said.sequence < sent.said.sequence && open != 0)) {
    condition.isUnderWay = true;
    condition.evidence = doctor::number(std::max<std::uint64_t>(open, 1), "message is", "messages are") +
                         " without a send result" + (found == results.rend() ? "" : "; the last came before this one");
  } else if (found->result != iosapp_def_::SENDRESULT_SUCCESS) {
    condition.evidence = "it reported " + std::to_string(found->result) + ", not 1, " + target.said(found->said);
    condition.effect = "onSendResult(1): the message was not delivered";
  } else {
    condition.verdict = Verdict::kHolds;
    condition.evidence = "delivered, " + target.said(found->said);
  }
  return condition;
}

Condition wasAnnounced(const Target& target, const doctor::RingMessage* message) {
  Condition condition = {"the device side has put a message for it into the ring", Verdict::kHolds, "", "", ""};
  if (message != nullptr) {
    condition.evidence = "slot " + std::to_string(message->slot) + ", " + target.said(message->said);
    return condition;
  }
  return {condition.what, Verdict::kFails,
          "none was announced for app id " + std::to_string(target.appId()) + " since its session opened" +
              foreignIds(target.all().history.fromDevice, target),
          kNoReceived,
          "has the phone sent something? The device side must call sendDataFromDevice with the number of this session"};
}

Condition isForDevice(const doctor::RingMessage& message, const Question& question) {
  const bool isSame = message.device == question.device;
  return {"it comes from the device that was launched", isSame ? Verdict::kHolds : Verdict::kFails,
          "device " + std::to_string(message.device), "the application ignores it",
          "the device side must be for device 1"};
}

// What every use of the channel needs.
bool addBeginning(Walk& walk, const Target& target, const char* effect) {
  return walk.add(target.isRegistered(effect)) && walk.add(target.isRunning()) && walk.add(target.hasLog());
}

}  // namespace

Walk walkSend(const doctor::Examination& all, const Question& question) {
  const Target target(all, question);
  Walk walk("send", target.name());
  if (!addBeginning(walk, target, kRefused) || !walk.add(target.hasSelected()) ||
      !walk.add(target.isConnected(kRefused)) || !walk.add(target.hasSession(kRefused)) ||
      !walk.add(target.hasMapped(inspect::kFromHUSegment, kRefused)) ||
      !walk.add(target.isFree(inspect::kFromHUSegment, "requestMsgSend does not return"))) {
    return walk;
  }
  const doctor::RingMessage* const sent = lastOf(all.history.fromHU, target);
  if (!walk.add(hasSent(target, sent)) || !walk.add(target.hasDeviceSide()) ||
      !walk.add(target.deviceSideHasMapped(inspect::kFromHUSegment)) ||
      !walk.add(target.isInRing(RingId::kFromHU, sent->slot, target.deviceSideReceiver())) ||
      !walk.add(target.deviceSideHasRead(sent->said, "the device side has read it")) ||
      !walk.add(hasResult(target, *sent))) {
    return walk;
  }
  const auto& traffic = target.app()->traffic;
  if (traffic && traffic->lastResult) {
    walk.add(target.hasRead(*traffic->lastResult, "the application has read the result", kNoResult));
  }
  walk.add({"it has set a status listener and a message listener", Verdict::kUnseen, "", "", ""});
  walk.end("nothing that can be seen stands in the way");
  return walk;
}

Walk walkReceive(const doctor::Examination& all, const Question& question) {
  const Target target(all, question);
  Walk walk("receive", target.name());
  if (!addBeginning(walk, target, kNoReceived) || !walk.add(target.isConnected(kNoReceived)) ||
      !walk.add(target.hasSession("the device side knows no app for what the phone sends, and drops it")) ||
      !walk.add(target.hasDeviceSide()) || !walk.add(target.deviceSideHasMapped(inspect::kFromDeviceSegment)) ||
      !walk.add(target.isFree(inspect::kFromDeviceSegment, "the device side cannot write into the ring"))) {
    return walk;
  }
  const doctor::RingMessage* const message = lastOf(all.history.fromDevice, target);
  if (!walk.add(wasAnnounced(target, message)) || !walk.add(target.hasSelected()) ||
      !walk.add(isForDevice(*message, question)) ||
      !walk.add(target.hasMapped(inspect::kFromDeviceSegment, kNoReceived)) ||
      !walk.add(target.isInRing(RingId::kFromDevice, message->slot, target.receiver())) ||
      !walk.add(target.hasRead(message->said, "the application has read it", kNoReceived))) {
    return walk;
  }
  walk.add({"it has set a status listener and a message listener", Verdict::kUnseen, "", "", ""});
  walk.end("nothing that can be seen stands in the way");
  return walk;
}

}  // namespace why
