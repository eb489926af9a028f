#include <algorithm>

#include "doctor/words.h"
#include "why/target.h"

namespace why {
namespace {

constexpr const char* kZero = "the launch returns 0";
constexpr const char* kNothingAsked = "the launch returns 1, and nothing is asked of the phone";
constexpr const char* kNotOpened = "the launch returned 1, and no session opens";

Condition hasLaunchString(const Target& target) {
  const std::string& launchString = target.app()->entry.launchString;
  const bool isThere = !launchString.empty();
  return {"it has a launch string", isThere ? Verdict::kHolds : Verdict::kFails,
          isThere ? text::quoted(launchString) + " in the table" : "it registered with an empty one", kNothingAsked,
          "give the operator a launch string, the third text of its constructor"};
}

// The last word on the link before it was asked: sessions and requests do not survive a disconnect.
Condition hasAsked(const Target& target) {
  Condition condition = {"it has asked for the launch", Verdict::kFails, "",
                         "nothing is asked of the phone; what it asked earlier has ended with the link",
                         "call requestiOSLaunch when onDeviceStatus says that the phone is connected"};
  const auto& traffic = target.app()->traffic;
  if (!traffic || !traffic->lastLaunch) {
    if (!target.knowsAllOfApp()) {
      return {condition.what, Verdict::kUnseen, "what it asked earlier is older than the log", "", ""};
    }
    condition.evidence =
        "app id " + std::to_string(target.appId()) + " has asked for no launch since it registered: not launched";
    condition.effect = "nothing is asked of the phone";
    return condition;
  }
  condition.evidence = target.said(*traffic->lastLaunch);
  for (const auto& link : target.all().history.links) {
    if (link.said.sequence > traffic->lastLaunch->sequence && !link.isConnected()) {
      condition.evidence += ", before the link went down, " + target.said(link.said);
      return condition;
    }
  }
  condition.verdict = Verdict::kHolds;
  return condition;
}

// Whom it opened sessions for instead, since the request.
std::string foreignSessions(const Target& target, std::uint64_t since) {
  std::vector<std::string> words;
  for (const doctor::SessionChange& session : target.all().history.sessions) {
    if (session.said.sequence < since || !session.isOpened || session.appId == target.appId()) {
      continue;
    }
    const auto& apps = target.all().snapshot.apps;
    const auto known = std::find_if(apps.begin(), apps.end(), [&session](const inspect::AppView& app) {
      return app.entry.place + 1 == session.appId;
    });
    words.push_back("app id " + std::to_string(session.appId) +
                    (known == apps.end() ? ", a foreign app id that no application has"
                                         : ", which is " + text::quoted(known->entry.appName)));
  }
  return words.empty() ? "" : "; it opened one for " + doctor::joined(words, 3);
}

Condition isOpened(const Target& target) {
  const inspect::Said& asked = *target.app()->traffic->lastLaunch;
  const doctor::SessionChange* const session = target.lastSession();
  Condition condition = {"the device side has opened its session", Verdict::kFails, "", kNotOpened,
                         "see the device side's own output: the phone may not have the app, or refuse it"};
  if (session != nullptr && session->isOpened) {
    condition.verdict = Verdict::kHolds;
    condition.evidence = target.said(session->said);
  } else if (session != nullptr && session->said.sequence > asked.sequence) {
    condition.evidence = "closed again, " + target.said(session->said);
  } else {
    const inspect::ChannelState::Link* const link = target.lastLink();
    condition.evidence = "no session of app id " + std::to_string(target.appId()) +
                         " has been opened since: no session" + foreignSessions(target, asked.sequence);
    if (link != nullptr && link->iapType == 0) {
      condition.evidence +=
          "; the link is iAP1, where the device side finds apps by their iAP1 name, and this one has " +
          (target.app()->entry.iAP1Name.empty() ? "none" : text::quoted(target.app()->entry.iAP1Name));
    }
  }
  return condition;
}

}  // namespace

Walk walkLaunch(const doctor::Examination& all, const Question& question) {
  const Target target(all, question);
  Walk walk("launch", target.name());
  if (!walk.add(target.isDeviceKnown(kZero)) || !walk.add(target.isRegistered(kZero)) ||
      !walk.add(target.isRunning()) || !walk.add(target.hasLog()) || !walk.add(target.isConnected(kZero))) {
    return walk;
  }
  const Condition session = target.hasSession(kNotOpened);
  if (session.verdict == Verdict::kHolds) {
    walk.add(session);
    walk.end("the session is open: a launch returns 1 and sends nothing");
    return walk;
  }
  if (!walk.add(hasLaunchString(target)) || !walk.add(hasAsked(target)) || !walk.add(target.hasDeviceSide())) {
    return walk;
  }
  const auto& traffic = target.app()->traffic;
  if (traffic && traffic->lastLaunch) {
    walk.add(target.deviceSideHasRead(*traffic->lastLaunch, "the device side has read the request"));
    if (!walk.isOver()) {
      walk.add(isOpened(target));
    }
  }
  if (!walk.isOver()) {
    walk.add(session);
  }
  walk.end("nothing that can be seen stands in the way");
  return walk;
}

}  // namespace why
