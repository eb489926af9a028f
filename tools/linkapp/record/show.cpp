#include "record/show.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "inspect/columns.h"
#include "text/message.h"

namespace record {
namespace {

using inspect::Columns;

constexpr double kNanosecondsPerSecond = 1e9;
constexpr int kNameWidth = 24;

std::string secondsText(std::uint64_t from, std::uint64_t to) {
  const double seconds = to >= from ? static_cast<double>(to - from) / kNanosecondsPerSecond
                                    : -static_cast<double>(from - to) / kNanosecondsPerSecond;
  char text[32];
  snprintf(text, sizeof text, "%+.6f", seconds);
  return text;
}

std::string countOf(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string gapText(const Gap& gap) {
  switch (gap.kind) {
    case Gap::Kind::kOverwritten:
      return countOf(gap.count, "message was", "messages were") + " gone before the recorder saw them, from #" +
             std::to_string(gap.from) + " on";
    case Gap::Kind::kDamaged:
      return countOf(gap.count, "place", "places") + " of the log held something else, from #" +
             std::to_string(gap.from) + " on";
    case Gap::Kind::kNewLog:
      return "another log than before: numbers begin anew";
    case Gap::Kind::kStoodStill:
      return "the recorder stood still for " + inspect::ageText(gap.count);
    case Gap::Kind::kNoLog:
      return "no log to be read: " + text::quoted(gap.reason);
  }
  return "";
}

// What --info counts.
struct Summary {
  std::uint64_t messages = 0;
  std::uint64_t missed = 0;
  std::map<inspect::RingContent::State, std::uint64_t> contents;
  std::map<std::string, std::uint64_t> names;
  std::map<std::uint32_t, std::uint64_t> senders;
  std::vector<Gap> gaps;
  std::vector<ProcessSeen> processes;  // each once, as told last
  Present present;
  Clock clock;
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::string end;
};

void addProcess(Summary& summary, const ProcessSeen& process) {
  const auto same = std::find_if(summary.processes.begin(), summary.processes.end(), [&process](const ProcessSeen& p) {
    return p.pid == process.pid && p.startTime == process.startTime;
  });
  if (same == summary.processes.end()) {
    summary.processes.push_back(process);
  } else {
    *same = process;
  }
}

void addMessage(Summary& summary, const MessageSeen& seen) {
  if (seen.message.isForNobody) {
    return;
  }
  ++summary.messages;
  ++summary.names[nameOf(seen.message)];
  ++summary.senders[seen.message.pid];
  if (seen.content.state != inspect::RingContent::State::kNone) {
    ++summary.contents[seen.content.state];
  }
}

void addEntry(Summary& summary, const Entry& entry) {
  summary.present.add(entry);
  if (const auto* const process = std::get_if<ProcessSeen>(&entry)) {
    addProcess(summary, *process);
  } else if (const auto* const clock = std::get_if<Clock>(&entry)) {
    summary.clock = *clock;
    summary.first = summary.first == 0 ? clock->monotonic : summary.first;
  } else if (const auto* const gap = std::get_if<Gap>(&entry)) {
    summary.gaps.push_back(*gap);
    const bool isLoss = gap->kind == Gap::Kind::kOverwritten || gap->kind == Gap::Kind::kDamaged;
    summary.missed += isLoss ? gap->count : 0;
  } else if (const auto* const seen = std::get_if<MessageSeen>(&entry)) {
    if (!seen->isBefore) {
      addMessage(summary, *seen);
    }
  } else if (const auto* const end = std::get_if<End>(&entry)) {
    summary.end = end->reason;
  }
  const auto* const seen = std::get_if<MessageSeen>(&entry);
  summary.last = std::max(summary.last, seen != nullptr && seen->isBefore ? 0 : timeOf(entry));
}

Summary summaryOf(Reader& recording) {
  Summary summary;
  recording.read([&summary](const Entry& entry, const Reader::Where&) { addEntry(summary, entry); });
  return summary;
}

std::uint64_t wallAt(const Clock& clock, std::uint64_t monotonic) {
  return clock.wall + (monotonic - clock.monotonic);
}

std::string appsOf(const Summary& summary, std::uint32_t pid) {
  std::string text;
  for (const auto& entry : summary.present.apps()) {
    if (entry.second.owner == pid) {
      text +=
          (text.empty() ? "" : " ") + std::to_string(entry.second.appId()) + ":" + text::quoted(entry.second.appName);
    }
  }
  return text;
}

std::string endText(const Reader& recording, const Summary& summary) {
  if (!summary.end.empty()) {
    return summary.end;
  }
  const bool isTorn = std::any_of(recording.damages().begin(), recording.damages().end(),
                                  [](const Damage& damage) { return damage.isTornEnd; });
  return std::string("cut short: the recorder was killed, or goes on") + (isTorn ? "; its last entry is torn" : "");
}

std::string processTable(const Summary& summary) {
  Columns columns({{"pid", Columns::Align::kRight},
                   {"name"},
                   {"started", Columns::Align::kRight},
                   {"sent", Columns::Align::kRight},
                   {"app"},
                   {"command"}});
  for (const ProcessSeen& process : summary.processes) {
    const auto sent = summary.senders.find(process.pid);
    columns.add({std::to_string(process.pid), text::quoted(process.name), std::to_string(process.startTime),
                 std::to_string(sent == summary.senders.end() ? 0 : sent->second), appsOf(summary, process.pid),
                 (process.isGone() ? "(ended) " : "") + text::printable(process.command)});
  }
  return columns.isEmpty() ? "" : "\nProcesses\n" + columns.text("  ");
}

}  // namespace

std::string hexOf(const std::uint8_t* bytes, std::size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4U];
    text += kDigits[bytes[i] & 0xFU];
  }
  return text;
}

std::string wallText(std::uint64_t nanoseconds) {
  const auto seconds = static_cast<time_t>(nanoseconds / 1'000'000'000);
  tm parts = {};
  localtime_r(&seconds, &parts);
  char date[32];
  strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &parts);
  char text[48];
  snprintf(text, sizeof text, "%s.%06u", date, static_cast<unsigned int>(nanoseconds % 1'000'000'000 / 1000));
  return text;
}

text::Fields saidBy(const inspect::Message& message) {
  return fieldsOf(message);
}

std::string infoText(Reader& recording, const std::string& path) {
  const Summary summary = summaryOf(recording);
  const FileFacts& facts = recording.facts();
  std::string text = "linkapp record  " + path + "\n";
  text += "  from        " + wallText(wallAt(summary.clock, summary.first)) + "\n";
  text += "  to          " + wallText(wallAt(summary.clock, summary.last)) + ", " +
          inspect::ageText(summary.last - std::min(summary.first, summary.last)) + " later\n";
  text += "  end         " + text::printable(endText(recording, summary)) + "\n";
  text += "  file        " + std::to_string(facts.bytes) + " bytes, " + std::to_string(facts.chunks) + " of " +
          std::to_string(facts.chunkCount) + " chunks of " + std::to_string(facts.chunkBytes) + " bytes\n";
  text += facts.dropped == 0
              ? ""
              : "  dropped     the oldest " + countOf(facts.dropped, "entry", "entries") + ", for want of room\n";
  text += "  messages    " + std::to_string(summary.messages) + ", and " + std::to_string(summary.missed) + " missed\n";
  for (const auto& [name, count] : summary.names) {
    text += "    " + name + std::string(kNameWidth - std::min<std::size_t>(kNameWidth, name.size()), ' ') + " " +
            std::to_string(count) + "\n";
  }
  for (const auto& [state, count] : summary.contents) {
    text += std::string("  contents    ") + nameOf(state) + " " + std::to_string(count) + "\n";
  }
  text += processTable(summary);
  text += summary.gaps.empty() ? "" : "\nGaps\n";
  for (const Gap& gap : summary.gaps) {
    text += "  " + secondsText(summary.first, gap.time) + "  " + gapText(gap) + "\n";
  }
  text += recording.damages().empty() ? "" : "\nNot readable\n";
  for (const Damage& damage : recording.damages()) {
    text += "  at byte " + std::to_string(damage.offset) + ": " + damage.text +
            (damage.isTornEnd ? " (torn: the recorder died here, or writes it now)" : "") + "\n";
  }
  return text;
}

text::Fields infoFields(Reader& recording, const std::string& path) {
  const Summary summary = summaryOf(recording);
  text::Fields contents;
  for (const auto& [state, count] : summary.contents) {
    contents.push_back({nameOf(state), count});
  }
  text::List damages;
  for (const Damage& damage : recording.damages()) {
    damages.push_back({{"offset", damage.offset}, {"torn", damage.isTornEnd}, {"text", damage.text}});
  }
  text::Fields names;
  for (const auto& [name, count] : summary.names) {
    names.push_back({name, count});
  }
  return {{"file", path},
          {"version", recording.facts().version},
          {"bytes", recording.facts().bytes},
          {"chunks", recording.facts().chunks},
          {"chunkBytes", recording.facts().chunkBytes},
          {"room", recording.facts().chunkCount},
          {"dropped", recording.facts().dropped},
          {"from", wallAt(summary.clock, summary.first)},
          {"nanoseconds", summary.last - std::min(summary.first, summary.last)},
          {"ended", !summary.end.empty()},
          {"end", endText(recording, summary)},
          {"messages", summary.messages},
          {"missed", summary.missed},
          {"gaps", summary.gaps.size()},
          {"processes", summary.processes.size()},
          {"apps", summary.present.apps().size()},
          {"names", names},
          {"contents", contents},
          {"damaged", recording.isDamaged()},
          {"damages", damages}};
}

void Teller::take(const Entry& entry) {
  present_.add(entry);
  if (const auto* const clock = std::get_if<Clock>(&entry)) {
    clock_ = *clock;
    begin_ = begin_ == 0 ? clock->monotonic : begin_;
  }
}

std::string Teller::processName(std::uint32_t pid) const {
  const auto found = present_.processes().find(pid);
  return found == present_.processes().end() ? "" : found->second.name;
}

std::string Teller::appName(std::uint32_t appId) const {
  const auto found = present_.apps().find(appId - 1);
  return found == present_.apps().end() ? "" : found->second.appName;
}

std::uint64_t Teller::wallOf(std::uint64_t monotonic) const {
  return wallAt(clock_, monotonic);
}

text::Fields Teller::fieldsOf(const MessageSeen& seen) const {
  const inspect::Message& message = seen.message;
  text::Fields fields = {{"sequence", message.sequence},
                         {"pid", message.pid},
                         {"process", processName(message.pid)},
                         {"id", message.id},
                         {"name", nameOf(message)},
                         {"number", message.number},
                         {"before", seen.isBefore},
                         {"forNobody", message.isForNobody},
                         {"size", message.size},
                         {"payload", hexOf(message.payload.data(), message.size)},
                         {"fields", saidBy(message)}};
  if (seen.content.state != inspect::RingContent::State::kNone) {
    fields.push_back({"content", text::Fields{{"state", nameOf(seen.content.state)},
                                              {"size", seen.content.size},
                                              {"bytes", hexOf(seen.content.bytes.data(), seen.content.bytes.size())}}});
  }
  return fields;
}

text::Fields Teller::fields(const Entry& entry, const Reader::Where& where) {
  take(entry);
  text::Fields fields = {{"entry", ""},
                         {"ordinal", where.ordinal},
                         {"repeated", where.isRepeated},
                         {"time", timeOf(entry)},
                         {"wall", wallOf(timeOf(entry))}};
  const auto become = [&fields](const char* kind, const text::Fields& more) {
    fields.front().value = kind;
    fields.insert(fields.end(), more.begin(), more.end());
  };
  if (std::holds_alternative<Clock>(entry)) {
    become("clock", {});
  } else if (const auto* const process = std::get_if<ProcessSeen>(&entry)) {
    become("process", {{"pid", process->pid},
                       {"startTime", process->startTime},
                       {"user", process->user},
                       {"state", process->isGone()      ? "gone"
                                 : process->isStopped() ? "stopped"
                                                        : "there"},
                       {"name", process->name},
                       {"command", process->command}});
  } else if (const auto* const app = std::get_if<AppSeen>(&entry)) {
    become("app", {{"place", app->place},
                   {"app", app->appId()},
                   {"owner", app->owner},
                   {"valid", app->isValid},
                   {"name", app->appName},
                   {"launchString", app->launchString},
                   {"iAP1Name", app->iAP1Name}});
  } else if (const auto* const receiver = std::get_if<ReceiverSeen>(&entry)) {
    text::List identifiers;
    for (const std::uint32_t id : receiver->identifiers) {
      identifiers.push_back({{"id", id}, {"name", inspect::identifierName(id)}});
    }
    become("receiver", {{"pid", receiver->pid},
                        {"gone", receiver->isGone},
                        {"lost", receiver->lost},
                        {"listedName", receiver->name},
                        {"identifiers", identifiers}});
  } else if (const auto* const taken = std::get_if<Taken>(&entry)) {
    text::List positions;
    for (const auto& [pid, position] : taken->positions) {
      positions.push_back({{"pid", pid}, {"position", position}});
    }
    become("taken", {{"positions", positions}});
  } else if (const auto* const gap = std::get_if<Gap>(&entry)) {
    text::List missed;
    for (const auto& [id, count] : gap->missed) {
      missed.push_back({{"id", id}, {"count", count}});
    }
    become("gap", {{"kind", nameOf(gap->kind)},
                   {"from", gap->from},
                   {"count", gap->count},
                   {"missed", missed},
                   {"text", gapText(*gap)}});
  } else if (const auto* const seen = std::get_if<MessageSeen>(&entry)) {
    become("message", fieldsOf(*seen));
  } else if (const auto* const end = std::get_if<End>(&entry)) {
    become("end", {{"reason", end->reason}});
  }
  return fields;
}

std::string Teller::line(const Entry& entry, const Reader::Where& where) {
  take(entry);
  std::string text = secondsText(begin_, timeOf(entry)) + "  ";
  if (const auto* const seen = std::get_if<MessageSeen>(&entry)) {
    const inspect::Message& message = seen->message;
    text += "#" + std::to_string(message.sequence) + " " + std::to_string(message.pid) + " (" +
            text::quoted(processName(message.pid)) + ")  " + nameOf(message) + " " + text::toText(saidBy(message));
    if (seen->content.state == inspect::RingContent::State::kCertain) {
      text += " " + text::toText(text::messageFields(seen->content.bytes));
    } else if (seen->content.state != inspect::RingContent::State::kNone) {
      text += std::string(" content=") + nameOf(seen->content.state);
    }
    if (const auto announcement = announcementOf(message)) {
      text += "  " + text::quoted(appName(announcement->appId));
    }
    return text + (seen->isBefore ? "  (before)" : "");
  }
  if (const auto* const gap = std::get_if<Gap>(&entry)) {
    return text + "GAP  " + gapText(*gap);
  }
  text::Fields rest = fields(entry, where);
  const std::string kind = std::get<std::string>(rest.front().value.get());
  rest.erase(rest.begin(), rest.begin() + 5);
  return text + kind + "  " + text::toText(rest);
}

}  // namespace record
