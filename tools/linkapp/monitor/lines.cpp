#include "monitor/lines.h"

#include <time.h>

#include <algorithm>
#include <cstdio>

#include "text/message.h"

namespace monitor {
namespace {

using inspect::Loss;
using inspect::LossKind;
using inspect::Message;
using inspect::RingContent;
using text::Fields;

constexpr const char* kCyan = "\033[36m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kDim = "\033[2m";
constexpr const char* kPlain = "\033[0m";

constexpr std::size_t kShownBytes = 48;
constexpr std::size_t kKindWidth = 24;
constexpr std::uint64_t kNanosecondsPerMillisecond = 1'000'000;

std::int64_t signedNumber(std::uint64_t value) {
  return static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX));
}

std::string padded(const std::string& text, std::size_t width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

// Size and first bytes, as far as they are known.
Fields contentFields(const RingContent& content) {
  Fields fields;
  if (content.state != RingContent::State::kCertain) {
    fields.push_back({"content", nameOf(content.state)});
  }
  const bool hasBytes = content.state == RingContent::State::kCertain || content.state == RingContent::State::kUnsure;
  if (hasBytes) {
    const auto end = content.bytes.begin() + static_cast<std::ptrdiff_t>(std::min(kShownBytes, content.bytes.size()));
    for (const text::Field& field : text::messageFields({content.bytes.begin(), end})) {
      fields.push_back(field.name == "size" ? text::Field{"size", content.size} : field);
    }
  }
  return fields;
}

// The app's name behind its number.
Fields namedFields(const Message& message, const Watch& watch) {
  Fields fields = fieldsOf(message);
  const std::string name = watch.appName(inspect::appOf(message));
  const auto app =
      std::find_if(fields.begin(), fields.end(), [](const text::Field& field) { return field.name == "app"; });
  if (!name.empty() && app != fields.end()) {
    fields.insert(app + 1, {"appName", name});
  } else if (!name.empty()) {
    fields.push_back({"appName", name});
  }
  return fields;
}

const char* ringName(inspect::RingId ring) {
  return inspect::identifierName(ring == inspect::RingId::kFromHU ? inspect::kIdFromHU : inspect::kIdFromDevice);
}

std::string countText(std::uint64_t count, const char* noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

std::string timeText(std::int64_t wallNanoseconds) {
  const std::int64_t nanoseconds = std::max<std::int64_t>(wallNanoseconds, 0);
  const time_t seconds = static_cast<time_t>(nanoseconds / 1'000'000'000);
  tm parts = {};
  localtime_r(&seconds, &parts);
  char text[32];
  snprintf(text, sizeof text, "%02d:%02d:%02d.%06d", parts.tm_hour % 100, parts.tm_min % 100, parts.tm_sec % 100,
           static_cast<int>(nanoseconds / 1000 % 1'000'000));
  return text;
}

std::string appText(std::uint32_t app, const Watch& watch) {
  const std::string name = watch.appName(app);
  return std::to_string(app) + (name.empty() ? "" : " (" + text::quoted(name) + ")");
}

std::string whoText(const Who& who, const Watch& watch) {
  std::string text = std::to_string(who.pid) + (who.name.empty() ? "" : " " + text::quoted(who.name));
  std::string more = who.isDeviceSide ? "device side" : "";
  for (const std::uint32_t app : who.apps) {
    const std::string name = watch.appName(app);
    more += (more.empty() ? "" : ", ") + (name.empty() ? "app " + std::to_string(app) : text::quoted(name));
  }
  if (who.isGone || who.isStopped) {
    more += (more.empty() ? "" : ", ") + std::string(who.isGone ? "ended" : "stopped");
  }
  return text + (more.empty() ? "" : " (" + more + ")");
}

Fields whoFields(const Who& who, const Watch& watch) {
  Fields fields = {{"pid", who.pid}};
  if (!who.name.empty()) {
    fields.push_back({"name", who.name});
  }
  fields.push_back({"gone", who.isGone});
  fields.push_back({"stopped", who.isStopped});
  fields.push_back({"deviceSide", who.isDeviceSide});
  text::List apps;
  for (const std::uint32_t app : who.apps) {
    apps.push_back({{"app", app}, {"appName", watch.appName(app)}});
  }
  fields.push_back({"apps", apps});
  return fields;
}

std::string Lines::ofMessage(const Message& message, const RingContent& content) {
  return (form_ == Form::kJson ? text::toJson(messageFields(message, content)) : messageText(message, content)) + "\n";
}

std::string Lines::ofBurst(const Burst& burst) {
  return (form_ == Form::kJson ? text::toJson(burstFields(burst)) : burstText(burst)) + "\n";
}

std::string Lines::ofBegin() const {
  if (form_ != Form::kJson) {
    return "";
  }
  Fields fields = begun("begin", watch_.now());
  fields.push_back({"sequence", signedNumber(watch_.begin())});
  return text::toJson(fields) + "\n";
}

std::string Lines::ofNewLog() const {
  return note("another log: sequence numbers begin anew", {{"new", true}});
}

std::string Lines::ofProblem(const std::string& problem) const {
  if (problem.empty()) {
    return note("the notifier's log can be read", {{"readable", true}});
  }
  return note("the notifier's log " + problem + "; waiting for it", {{"readable", false}, {"problem", problem}});
}

std::string Lines::coloured(const char* colour, const std::string& words) const {
  return form_ == Form::kColoured ? colour + words + kPlain : words;
}

Fields Lines::begun(const char* event, std::uint64_t time) const {
  return {{"event", event},
          {"time", watch_.wallTimeOf(time) / static_cast<std::int64_t>(kNanosecondsPerMillisecond)},
          {"monotonicTime", signedNumber(time)}};
}

std::string Lines::note(const std::string& words, const Fields& fields) const {
  if (form_ != Form::kJson) {
    return coloured(kDim, timeText(watch_.wallTimeOf(watch_.now())) + "  " + words) + "\n";
  }
  Fields all = begun("log", watch_.now());
  all.insert(all.end(), fields.begin(), fields.end());
  return text::toJson(all) + "\n";
}

std::string Lines::messageText(const Message& message, const RingContent& content) {
  char sequence[24];
  snprintf(sequence, sizeof sequence, "%8llu", static_cast<unsigned long long>(message.sequence));
  std::string line = timeText(watch_.wallTimeOf(message.time)) + " " + sequence + "  " +
                     coloured(kCyan, padded(nameOf(message), kKindWidth));
  Fields fields = namedFields(message, watch_);
  const Fields more = contentFields(content);
  if (content.state != RingContent::State::kNone) {
    fields.insert(fields.end(), more.begin(), more.end());
  }
  const std::string said = message.isForNobody ? registrationText(message.pid) : text::toText(fields);
  line += "  " + said + (said.empty() ? "" : "  ") + coloured(kDim, "from ") + whoText(watch_.who(message.pid), watch_);
  return line + (message.isForNobody ? "" : coloured(kDim, " to ") + receiversOf(message).text);
}

// A message for nobody says that its sender's registrations have changed; the table says what they are now.
std::string Lines::registrationText(std::uint32_t pid) const {
  std::string names;
  for (const inspect::Receiver& receiver : watch_.log().receivers) {
    if (receiver.pid == pid) {
      for (const std::uint32_t id : receiver.identifiers) {
        const std::string name = inspect::identifierName(id);
        names += (names.empty() ? "" : " ") + (name.empty() ? std::to_string(id) : name);
      }
    }
  }
  return names.empty() ? "is in no place of the table of receivers" : "listens to " + names;
}

text::List Lines::registrationList(std::uint32_t pid) const {
  text::List list;
  for (const inspect::Receiver& receiver : watch_.log().receivers) {
    if (receiver.pid == pid) {
      for (const std::uint32_t id : receiver.identifiers) {
        list.push_back({{"id", id}, {"name", inspect::identifierName(id)}});
      }
    }
  }
  return list;
}

Fields Lines::messageFields(const Message& message, const RingContent& content) {
  Fields fields = begun("message", message.time);
  const auto add = [&fields](const char* name, const text::Value& value) { fields.push_back({name, value}); };
  add("sequence", signedNumber(message.sequence));
  add("kind", nameOf(message));
  if (!message.isForNobody) {
    add("id", message.id);
    add("number", message.number);
    add("size", message.size);
  }
  add("sender", whoFields(watch_.who(message.pid), watch_));
  if (message.isForNobody) {
    add("registered", registrationList(message.pid));
    return fields;
  }
  add("fields", namedFields(message, watch_));
  if (content.state != RingContent::State::kNone) {
    Fields inner = {{"state", nameOf(content.state)}};
    for (const text::Field& field : contentFields(content)) {
      if (field.name != "content") {
        inner.push_back(field);
      }
    }
    add("content", inner);
  }
  add("receivers", receiversOf(message).list);
  return fields;
}

const Lines::ReceiverForms& Lines::receiversOf(const Message& message) {
  const auto [entry, isNew] = receivers_.try_emplace(message.id);
  ReceiverForms& forms = entry->second;
  if (isNew) {
    for (const std::uint32_t pid : watch_.listenersTo(message.id)) {
      const Who who = watch_.who(pid);
      forms.text += (forms.text.empty() ? "" : ", ") + whoText(who, watch_);
      forms.list.push_back(whoFields(who, watch_));
    }
    forms.text = forms.text.empty() ? "nobody" : forms.text;
  }
  return forms;
}

std::string Lines::burstText(const Burst& burst) {
  const Loss& loss = burst.first;
  const std::string app = loss.app == 0 ? "no known app" : "app " + appText(loss.app, watch_);
  const std::string process = loss.pid == 0 ? "" : whoText(watch_.who(loss.pid), watch_);
  const char* const ring = loss.ring ? ringName(*loss.ring) : "";
  std::string words;
  switch (loss.kind) {
    case LossKind::kOverwritten:
      words = "lost: " + countText(loss.count, "message") + " of " + app + " overwritten in ring " + ring + " before " +
              process + " took " + (loss.count == 1 ? "it" : "them");
      break;
    case LossKind::kSkipped:
      words = "lost: " + countText(loss.count, "slot") + " of ring " + ring + " skipped before a message of " + app;
      break;
    case LossKind::kNotifications:
      words = "lost: " + process + " was too slow for " + countText(loss.count, "notification");
      break;
    case LossKind::kWithoutResult:
      words =
          "lost: " + countText(loss.count, "message") + " of " + app + ", sent by " + process + ", got no send result";
      break;
    case LossKind::kMissedByOnlooker:
      words = "the monitor itself missed " + countText(loss.count, "message") + "; no process did";
      break;
  }
  return timeText(watch_.wallTimeOf(burst.first.time)) + " " + padded("", 8) + "  " + coloured(kRed, words);
}

Fields Lines::burstFields(const Burst& burst) {
  const Loss& loss = burst.first;
  const bool isOwn = loss.kind == LossKind::kMissedByOnlooker;
  Fields fields = begun(isOwn ? "missed" : "loss", loss.time);
  const auto add = [&fields](const char* name, const text::Value& value) { fields.push_back({name, value}); };
  if (!isOwn) {
    add("kind", nameOf(loss.kind));
  }
  add("count", signedNumber(loss.count));
  if (loss.app != 0) {
    add("app", loss.app);
    add("appName", watch_.appName(loss.app));
  }
  if (loss.ring) {
    add("ring", ringName(*loss.ring));
  }
  if (loss.pid != 0) {
    add("process", whoFields(watch_.who(loss.pid), watch_));
  }
  add("firstSequence", signedNumber(loss.sequence));
  add("lastSequence", signedNumber(burst.lastSequence));
  return fields;
}

}  // namespace monitor
