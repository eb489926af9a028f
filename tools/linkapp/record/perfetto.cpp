#include "record/perfetto.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "record/present.h"
#include "record/show.h"
#include "text/fields.h"

namespace record {
namespace {

// No process has such a number: the kernel's greatest is 2^22.
constexpr std::uint32_t kFirstTakingTrack = 1U << 23U;
// Posting takes no time that could be seen; a slice needs some.
constexpr std::uint64_t kPostNanoseconds = 1000;

// Microseconds, as the format wants them.
std::string timeText(std::uint64_t nanoseconds) {
  char text[32];
  snprintf(text, sizeof text, "%llu.%03u", static_cast<unsigned long long>(nanoseconds / 1000),
           static_cast<unsigned int>(nanoseconds % 1000));
  return text;
}

struct Track {
  std::uint32_t pid = 0;
  std::uint32_t tid = 0;
};

Track postsOf(std::uint32_t pid) {
  return {pid, pid};
}

Track takesOf(std::uint32_t pid) {
  return {pid, kFirstTakingTrack + pid};
}

class Trace {
 public:
  // `more` are members with their comma in front.
  void add(const char* phase, const std::string& name, const char* category, const Track& track, std::uint64_t time,
           const std::string& more = "", const text::Fields& arguments = {}) {
    events_ += events_.empty() ? "\n" : ",\n";
    events_ += std::string(R"({"ph":")") + phase + R"(","name":)" + text::jsonQuoted(name) + R"(,"cat":")" + category +
               R"(","pid":)" + std::to_string(track.pid) + R"(,"tid":)" + std::to_string(track.tid) + R"(,"ts":)" +
               timeText(time) + more + R"(,"args":)" + text::toJson(arguments) + "}";
    if (named_.insert({track.pid, track.tid}).second && track.pid != 0) {
      tracks_.push_back(track);
    }
  }
  void slice(const std::string& name, const Track& track, std::uint64_t begin, std::uint64_t end,
             const text::Fields& arguments) {
    add("X", name, "message", track, begin, R"(,"dur":)" + timeText(end - begin), arguments);
  }
  // 's' begins an arrow, 't' leads on, 'f' ends it. Each belongs to the slice about it.
  void flow(const char* phase, std::uint64_t id, const Track& track, std::uint64_t time) {
    const bool isEnd = *phase != 's';
    add(phase, "message", "flow", track, time, R"(,"id":)" + std::to_string(id) + (isEnd ? R"(,"bp":"e")" : ""));
  }
  void async(const char* phase, const std::string& name, std::uint64_t id, std::uint32_t pid, std::uint64_t time,
             const text::Fields& arguments = {}) {
    add(phase, name, "hop", postsOf(pid), time, R"(,"id":)" + std::to_string(id), arguments);
  }
  const std::vector<Track>& tracks() const { return tracks_; }

  std::string text(const std::string& metadata, const text::Fields& other) const {
    return R"({"displayTimeUnit":"ns","otherData":)" + text::toJson(other) + R"(,"traceEvents":[)" + metadata +
           (metadata.empty() || events_.empty() ? "" : ",") + events_ + "\n]}\n";
  }

 private:
  std::string events_;
  std::set<std::pair<std::uint32_t, std::uint32_t>> named_;
  std::vector<Track> tracks_;
};

// What leads from one process to another: a message that this receiver has not taken yet.
struct UnderWay {
  MessageSeen seen;
  std::uint64_t flow = 0;  // 0: no arrow for this receiver
  bool isSend = false;     // to the device side
  bool isResult = false;   // to the application: ends the way of its send
};

// A message of an application on its way to its result.
struct Sent {
  std::uint64_t flow = 0;
  std::string name;
  std::uint32_t sender = 0;
  std::uint64_t posted = 0;
  std::optional<std::uint64_t> taken;
  std::optional<std::uint64_t> answered;
};

class Exporter {
 public:
  std::string write(const Recording& recording) {
    findPosts(recording);
    for (const Entry* const entry : inTheirTime(recording)) {
      take(*entry);
    }
    for (auto& entry : sent_) {
      for (const Sent& sent : entry.second) {
        endHops(sent, last_);
      }
    }
    text::Fields other = {{"recording", "linkapp"},
                          {"wallAtBegin", recording.facts.created.wall},
                          {"monotonicAtBegin", recording.facts.created.monotonic}};
    return trace_.text(metadata(), other);
  }

 private:
  // A slice must not reach into the next one of its track.
  void findPosts(const Recording& recording) {
    std::map<std::uint32_t, std::vector<std::uint64_t>> times;
    for (const Recording::Item& item : recording.items) {
      const auto* const seen = std::get_if<MessageSeen>(&item.entry);
      if (seen != nullptr && !seen->isBefore && !seen->message.isForNobody) {
        times[seen->message.pid].push_back(seen->message.time);
      }
    }
    for (auto& [pid, all] : times) {
      std::sort(all.begin(), all.end());
      for (std::size_t i = 0; i < all.size(); ++i) {
        const std::uint64_t next = i + 1 < all.size() ? all[i + 1] : all[i] + kPostNanoseconds;
        postEnds_[{pid, all[i]}] = std::min(all[i] + kPostNanoseconds, next);
      }
    }
  }

  // How far receivers were is written behind messages that came later.
  static std::vector<const Entry*> inTheirTime(const Recording& recording) {
    std::vector<std::pair<std::uint64_t, const Entry*>> timed;
    std::uint64_t log = 0;  // times go on from log to log; what lies before a new one must not get behind it
    for (const Recording::Item& item : recording.items) {
      const auto* const seen = std::get_if<MessageSeen>(&item.entry);
      const bool isOfNow = (seen == nullptr || !seen->isBefore) && !item.where.isRepeated;
      const auto* const gap = std::get_if<Gap>(&item.entry);
      log = gap != nullptr && gap->kind == Gap::Kind::kNewLog ? std::max(log, gap->time) : log;
      timed.emplace_back(isOfNow ? std::max(log, timeOf(item.entry)) : log, &item.entry);
    }
    std::stable_sort(timed.begin(), timed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<const Entry*> entries;
    entries.reserve(timed.size());
    for (const auto& one : timed) {
      entries.push_back(one.second);
    }
    return entries;
  }

  void take(const Entry& entry) {
    present_.add(entry);
    const auto* const seen = std::get_if<MessageSeen>(&entry);
    if (seen == nullptr || !seen->isBefore) {
      last_ = std::max(last_, timeOf(entry));
    }
    if (seen != nullptr && !seen->isBefore && !seen->message.isForNobody) {
      post(*seen);
    } else if (const auto* const taken = std::get_if<Taken>(&entry)) {
      for (const auto& [pid, position] : taken->positions) {
        takeMessages(pid, position, taken->time);
      }
    } else if (const auto* const gap = std::get_if<Gap>(&entry)) {
      const text::Fields arguments = {{"from", gap->from}, {"count", gap->count}, {"reason", gap->reason}};
      trace_.add("I", std::string("gap: ") + nameOf(gap->kind), "gap", {0, 0}, gap->time, R"(,"s":"g")", arguments);
      if (gap->kind == Gap::Kind::kNewLog) {
        underWay_.clear();
      }
    } else if (const auto* const process = std::get_if<ProcessSeen>(&entry)) {
      processes_[process->pid] = *process;
      const char* const what = process->isGone() ? "ended" : process->isStopped() ? "stopped" : "there";
      trace_.add("I", what, "process", postsOf(process->pid), process->time, R"(,"s":"p")");
    }
  }

  void post(const MessageSeen& seen) {
    const inspect::Message& message = seen.message;
    text::Fields arguments = {{"sequence", message.sequence}, {"size", message.size}};
    for (const text::Field& field : saidBy(message)) {
      arguments.push_back(field);
    }
    if (seen.content.state != inspect::RingContent::State::kNone) {
      arguments.push_back({"content", nameOf(seen.content.state)});
      arguments.push_back({"contentBytes", seen.content.size});
    }
    const Track track = postsOf(message.pid);
    trace_.slice(nameOf(message), track, message.time, postEnds_.at({message.pid, message.time}), arguments);
    const auto status = connectStatusOf(message);
    const auto announcement = announcementOf(message);
    if (announcement && message.id == inspect::kIdFromHU) {
      postSend(seen, announcement->appId);
    } else if (announcement) {
      deliver(seen, ownerOf(announcement->appId), false);
    } else if (status && status->notifyType == iosapp_def_::NOTIFYID_SENDRESULT) {
      deviceSide_ = message.pid;
      postResult(seen, status->appId);
    } else {
      deviceSide_ = status && status->notifyType != iosapp_def_::NOTIFYID_APPLAUNCH ? message.pid : deviceSide_;
      deliver(seen, std::nullopt, false);
    }
  }

  void postSend(const MessageSeen& seen, std::uint32_t appId) {
    const inspect::Message& message = seen.message;
    Sent sent;
    sent.flow = ++flows_;
    sent.name = "message " + std::to_string(message.number);
    sent.sender = message.pid;
    sent.posted = message.time;
    sent_[appId].push_back(sent);
    trace_.flow("s", sent.flow, postsOf(message.pid), message.time);
    trace_.async("b", sent.name, sent.flow, message.pid, message.time, {{"app", appId}, {"bytes", seen.content.size}});
    trace_.async("b", "in the ring", sent.flow, message.pid, message.time);
    if (deviceSide_ != 0) {
      underWay_[deviceSide_].push_back({seen, sent.flow, true, false});
    }
  }

  // Results come in the order of an app's messages.
  void postResult(const MessageSeen& seen, std::uint32_t appId) {
    const inspect::Message& message = seen.message;
    std::deque<Sent>& open = sent_[appId];
    const auto first =
        std::find_if(open.begin(), open.end(), [](const Sent& sent) { return !sent.answered.has_value(); });
    if (first == open.end()) {
      deliver(seen, ownerOf(appId), false);
      return;
    }
    first->answered = message.time;
    // Where the recorder had not looked meanwhile the result tells that the message was taken.
    if (!first->taken) {
      noteTaken(*first, message.time);
    }
    trace_.flow("t", first->flow, postsOf(message.pid), message.time);
    trace_.async("e", "on the device side", first->flow, first->sender, message.time,
                 {{"microseconds", (message.time - std::min(message.time, *first->taken)) / 1000}});
    trace_.async("b", "result under way", first->flow, first->sender, message.time);
    underWay_[first->sender].push_back({seen, first->flow, false, true});
  }

  void noteTaken(Sent& sent, std::uint64_t time) {
    sent.taken = time;
    trace_.async("e", "in the ring", sent.flow, sent.sender, time, {{"microseconds", (time - sent.posted) / 1000}});
    trace_.async("b", "on the device side", sent.flow, sent.sender, time);
  }

  // To everybody who has registered for it, or to the one whose it is.
  void deliver(const MessageSeen& seen, std::optional<std::uint32_t> only, bool isResult) {
    const inspect::Message& message = seen.message;
    for (const auto& [pid, receiver] : present_.receivers()) {
      const auto& ids = receiver.identifiers;
      const bool isFor = std::find(ids.begin(), ids.end(), message.id) != ids.end() && pid != message.pid;
      if (isFor && (!only || *only == pid)) {
        underWay_[pid].push_back({seen, 0, false, isResult});
      }
    }
  }

  std::optional<std::uint32_t> ownerOf(std::uint32_t appId) const {
    const auto found = present_.apps().find(appId - 1);
    return found == present_.apps().end() ? std::nullopt : std::optional(found->second.owner);
  }

  // One slice for all that was taken since the last look.
  void takeMessages(std::uint32_t pid, std::uint64_t position, std::uint64_t time) {
    std::vector<UnderWay>& waiting = underWay_[pid];
    std::vector<UnderWay> taken;
    for (auto one = waiting.begin(); one != waiting.end();) {
      const bool isTaken = one->seen.message.sequence < position;
      if (isTaken) {
        taken.push_back(*one);
      }
      one = isTaken ? waiting.erase(one) : std::next(one);
    }
    if (taken.empty()) {
      return;
    }
    std::uint64_t& last = takeEnds_[pid];
    const std::uint64_t begin = std::max(last, taken.front().seen.message.time);
    const std::uint64_t end = std::max(begin, time);
    const std::string name =
        taken.size() == 1 ? nameOf(taken.front().seen.message) : std::to_string(taken.size()) + " messages";
    text::List messages;
    for (const UnderWay& one : taken) {
      messages.push_back({{"sequence", one.seen.message.sequence}, {"name", nameOf(one.seen.message)}});
    }
    trace_.slice("takes " + name, takesOf(pid), begin, end, {{"messages", messages}});
    last = end;
    for (const UnderWay& one : taken) {
      leadTo(one, pid, end);
    }
  }

  void leadTo(const UnderWay& one, std::uint32_t pid, std::uint64_t time) {
    if (one.flow == 0) {
      const std::uint64_t flow = ++flows_;
      trace_.flow("s", flow, postsOf(one.seen.message.pid), one.seen.message.time);
      trace_.flow("f", flow, takesOf(pid), time);
      return;
    }
    for (auto& entry : sent_) {
      for (auto sent = entry.second.begin(); sent != entry.second.end(); ++sent) {
        if (sent->flow != one.flow) {
          continue;
        }
        if (one.isResult) {
          trace_.flow("f", one.flow, takesOf(pid), time);
          endHops(*sent, time);
          entry.second.erase(sent);
        } else if (!sent->taken) {
          trace_.flow("t", one.flow, takesOf(pid), time);
          noteTaken(*sent, time);
        }
        return;
      }
    }
  }

  // Where the recording ends first, or no result came, the way ends there.
  void endHops(const Sent& sent, std::uint64_t time) {
    const std::uint64_t since = sent.answered ? *sent.answered : sent.taken ? *sent.taken : sent.posted;
    const char* const hop = sent.answered ? "result under way" : sent.taken ? "on the device side" : "in the ring";
    trace_.async("e", hop, sent.flow, sent.sender, time, {{"microseconds", (time - std::min(time, since)) / 1000}});
    trace_.async(
        "e", sent.name, sent.flow, sent.sender, time,
        {{"microseconds", (time - std::min(time, sent.posted)) / 1000}, {"answered", sent.answered.has_value()}});
  }

  std::string metadata() const {
    std::string text;
    std::set<std::uint32_t> named;
    const auto add = [&text](const char* what, const Track& track, const std::string& name) {
      text += text.empty() ? "\n" : ",\n";
      text += std::string(R"({"ph":"M","name":")") + what + R"(","pid":)" + std::to_string(track.pid) + R"(,"tid":)" +
              std::to_string(track.tid) + R"(,"args":)" + text::toJson({{"name", name}}) + "}";
    };
    for (const Track& track : trace_.tracks()) {
      const auto process = processes_.find(track.pid);
      std::string apps;
      for (const auto& app : present_.apps()) {
        apps += app.second.owner == track.pid ? " " + app.second.appName : "";
      }
      const std::string name = process == processes_.end() ? "?" : process->second.name;
      if (named.insert(track.pid).second) {
        add("process_name", {track.pid, track.pid}, name + (track.pid == deviceSide_ ? " (device side)" : apps));
      }
      add("thread_name", track, track.tid == track.pid ? "posts" : "takes");
    }
    return text;
  }

  Trace trace_;
  Present present_;
  std::map<std::uint32_t, ProcessSeen> processes_;
  std::map<std::pair<std::uint32_t, std::uint64_t>, std::uint64_t> postEnds_;
  std::map<std::uint32_t, std::vector<UnderWay>> underWay_;  // by receiver
  std::map<std::uint32_t, std::uint64_t> takeEnds_;
  std::map<std::uint32_t, std::deque<Sent>> sent_;  // by app id
  std::uint32_t deviceSide_ = 0;
  std::uint64_t flows_ = 0;
  std::uint64_t last_ = 0;
};

}  // namespace

std::string toPerfetto(const Recording& recording) {
  return Exporter().write(recording);
}

}  // namespace record
