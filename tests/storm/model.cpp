#include "tests/storm/model.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>
#include <tuple>

#include "LinkAppCommon/iOSAppRecords.h"

namespace storm {
namespace {

constexpr std::uint32_t kSlots = iOSAppCommonDataList::kSlotCount;
constexpr std::size_t kMostReports = 20;

// One message of a ring: written, and announced unless its writer died.
struct Sent {
  const Life* writer = nullptr;
  const Event* event = nullptr;
  const LogEntry* entry = nullptr;  // null = never announced
  std::size_t place = 0;            // among the ring's announcements
};

using Pid = std::uint32_t;

class Judge {
 public:
  explicit Judge(const Stretch& stretch) : stretch_(stretch) {}

  Verdict pronounce() {
    for (const Life& life : stretch_.lives) {
      lives_[static_cast<Pid>(life.pid)] = &life;
    }
    for (const std::uint32_t ring : {kFromHU, kFromDevice}) {
      matchSends(ring);
      checkPlaces(ring);
    }
    for (const LogEntry& entry : stretch_.log) {
      if (entry.id == kTable && !entry.isControl) {
        appOf_[entry.pid] = entry.app;
      }
    }
    for (const Life& life : stretch_.lives) {
      checkReceiver(life);
    }
    for (const Span& calm : stretch_.calm) {
      checkCalm(calm);
    }
    return verdict_;
  }

 private:
  void blame(const std::string& kind, const std::string& report) {
    ++verdict_.faults[kind];
    if (verdict_.reports.size() < kMostReports) {
      verdict_.reports.push_back(kind + ": " + report);
    }
  }

  static std::string numbered(const char* what, std::uint64_t number) { return what + std::to_string(number); }

  // --- sends and announcements ---

  void matchSends(std::uint32_t ring) {
    std::map<Pid, std::vector<const Event*>> sends;
    for (const Life& life : stretch_.lives) {
      for (const Event& event : life.events) {
        if (event.kind == EventKind::kSending && event.ring == ring && !event.isRefused) {
          sends[static_cast<Pid>(life.pid)].push_back(&event);
        }
      }
    }
    std::map<Pid, std::size_t> announced;
    for (const LogEntry& entry : stretch_.log) {
      if (!entry.isControl && entry.id == ring) {
        matchAnnouncement(ring, entry, sends, announced);
      }
    }
    for (const auto& [pid, events] : sends) {
      const std::size_t missing = events.size() - announced[pid];
      verdict_.counts.neverAnnounced += missing;
      if (missing > 1) {
        blame("lost", lives_[pid]->name + " sent " + std::to_string(missing) + " messages that were never announced");
      }
      if (missing == 1) {
        unannounced_[ring].push_back({lives_[pid], events.back(), nullptr, 0});
      }
    }
  }

  void matchAnnouncement(std::uint32_t ring, const LogEntry& entry, std::map<Pid, std::vector<const Event*>>& sends,
                         std::map<Pid, std::size_t>& announced) {
    const std::vector<const Event*>& events = sends[entry.pid];
    const std::size_t count = announced[entry.pid]++;
    ++verdict_.counts.announced;
    if (count >= events.size()) {
      announced[entry.pid] = count;
      blame("foreign", numbered("message ", entry.sequence) + " was announced by process " + std::to_string(entry.pid) +
                           ", which has not sent it");
      return;
    }
    sent_[entry.sequence] = {lives_[entry.pid], events[count], &entry, rings_[ring].size()};
    rings_[ring].push_back(entry.sequence);
  }

  // --- windows ---

  static Span startOf(const Life& life) {
    return {life.startTime, life.readyTime != 0 ? life.readyTime : life.deathTime};
  }

  bool hasStartIn(std::uint64_t begin, std::uint64_t end) const {
    return std::any_of(stretch_.lives.begin(), stretch_.lives.end(), [begin, end](const Life& life) {
      const Span start = startOf(life);
      return life.kind != Kind::kPoster && start.begin <= end && start.end >= begin;
    });
  }

  // Messages whose writer died between these times before it could announce them.
  std::vector<Sent> diedWriting(std::uint32_t ring, std::uint64_t begin, std::uint64_t end) const {
    std::vector<Sent> found;
    const auto all = unannounced_.find(ring);
    if (all != unannounced_.end()) {
      std::copy_if(all->second.begin(), all->second.end(), std::back_inserter(found), [begin, end](const Sent& sent) {
        return sent.writer->deathTime >= begin && sent.event->time <= end;
      });
    }
    return found;
  }

  // --- places ---

  void checkPlaces(std::uint32_t ring) {
    const std::vector<std::uint64_t>& order = rings_[ring];
    for (std::size_t i = 1; i < order.size(); ++i) {
      const Sent& before = sent_.at(order[i - 1]);
      const Sent& after = sent_.at(order[i]);
      const std::uint32_t expected = (before.entry->slot + 1) % kSlots;
      if (after.entry->slot == expected) {
        continue;
      }
      const auto skipped = static_cast<std::uint32_t>(diedWriting(ring, before.event->time, after.entry->time).size());
      if ((after.entry->slot + kSlots - expected) % kSlots <= skipped) {
        continue;
      }
      if (after.entry->slot <= skipped && hasStartIn(before.event->time, after.entry->time)) {
        ++verdict_.counts.setBack;
        continue;
      }
      blame("place", numbered("message ", after.entry->sequence) + " took slot " + std::to_string(after.entry->slot) +
                         " after slot " + std::to_string(before.entry->slot));
    }
  }

  // --- receivers ---

  bool concerns(const Life& life, const LogEntry& entry) const {
    if (entry.isControl) {
      return false;
    }
    const auto app = appOf_.find(static_cast<Pid>(life.pid));
    switch (life.kind) {
      case Kind::kPhone:
        return entry.id == kFromHU;
      case Kind::kApp:
        return app != appOf_.end() && entry.app == app->second &&
               (entry.id == kFromDevice || (entry.id == kStatus && entry.kind == iosapp_def_::NOTIFYID_SENDRESULT));
      case Kind::kWatcher:
        return entry.id == kBareId || (entry.id == kStatus && entry.kind == iosapp_def_::NOTIFYID_PLAYBACKAPPINFO);
      default:
        return false;
    }
  }

  void checkReceiver(const Life& life) {
    if (life.readyTime == 0) {
      return;
    }
    std::map<std::uint64_t, const Event*> received;
    std::uint64_t end = life.mustHave;
    for (const Event& event : life.events) {
      if (event.kind == EventKind::kSending || event.sequence < life.readyHead) {
        continue;
      }
      end = std::max(end, event.sequence);
      if (!received.emplace(event.sequence, &event).second) {
        blame("repeated", life.name + " received message " + std::to_string(event.sequence) + " twice");
      }
    }
    for (const LogEntry& entry : stretch_.log) {
      if (entry.sequence < life.readyHead || !concerns(life, entry)) {
        continue;
      }
      const auto found = received.find(entry.sequence);
      if (found != received.end()) {
        checkReceived(life, entry, *found->second);
        received.erase(found);
      } else if (entry.sequence < end) {
        ++verdict_.counts.mustArrive;
        blame("lost", life.name + " has not received message " + std::to_string(entry.sequence) + " of identifier " +
                          std::to_string(entry.id));
      }
    }
    for (const auto& [sequence, event] : received) {
      blame("foreign", life.name + " received message " + std::to_string(sequence) + ", which was none for it");
    }
  }

  void checkReceived(const Life& life, const LogEntry& entry, const Event& event) {
    ++verdict_.counts.mustArrive;
    if (entry.id == kFromHU || entry.id == kFromDevice) {
      checkRingMessage(life, entry, event);
    } else if (event.kind == EventKind::kResult || (event.isWhole && event.sum == entry.sum)) {
      ++verdict_.counts.received;
    } else {
      blame("corrupted", life.name + " received message " + std::to_string(entry.sequence) + " of identifier " +
                             std::to_string(entry.id) + " with other bytes");
    }
  }

  bool isCalmAt(std::uint64_t time) const {
    return std::any_of(stretch_.calm.begin(), stretch_.calm.end(),
                       [time](const Span& calm) { return calm.begin <= time && time <= calm.end; });
  }

  void checkRingMessage(const Life& life, const LogEntry& entry, const Event& event) {
    const auto found = sent_.find(entry.sequence);
    if (found == sent_.end()) {
      return;  // told already
    }
    const Sent& sent = found->second;
    if (event.isWhole && event.stamp == sent.event->stamp) {
      ++verdict_.counts.received;
      return;
    }
    const std::string what = life.name + " received " + (event.isWhole ? toText(event.stamp) : "no whole message") +
                             " for message " + std::to_string(entry.sequence) + ", " + toText(sent.event->stamp);
    const std::vector<Sent> others = writtenSince(sent, event);
    if (!isExplained(life, sent, others, event)) {
      blame("corrupted", what);
    } else if (isCalmAt(event.time)) {
      blame("calm", what + ", in a calm phase");
    }
  }

  // What has been written into the slot since, as far as a start of somebody explains it, in the order of writing.
  std::vector<Sent> writtenSince(const Sent& sent, const Event& event) {
    const std::uint32_t ring = sent.entry->id;
    const std::vector<std::uint64_t>& order = rings_.at(ring);
    std::vector<Sent> others;
    for (std::size_t i = sent.place + 1; i < order.size() && order[i] < event.head; ++i) {
      const Sent& other = sent_.at(order[i]);
      if (other.entry->slot != sent.entry->slot) {
        continue;
      }
      if (i - sent.place >= kSlots) {
        blame("pacing", "more than 40 messages were under way at message " + std::to_string(sent.entry->sequence));
      } else if (hasStartIn(sent.event->time, other.entry->time)) {
        others.push_back(other);
      }
    }
    for (const Sent& other : diedWriting(ring, sent.event->time, event.time)) {
      if (hasStartIn(sent.event->time, other.writer->deathTime)) {
        others.push_back(other);
      }
    }
    return others;
  }

  bool isExplained(const Life& life, const Sent& sent, const std::vector<Sent>& others, const Event& event) {
    if (event.isWhole) {
      const bool isOther = std::any_of(others.begin(), others.end(),
                                       [&event](const Sent& other) { return other.event->stamp == event.stamp; });
      verdict_.counts.overtaken += isOther ? 1U : 0U;
      return isOther;
    }
    if (event.exhibit < 0 || others.empty()) {
      return false;
    }
    std::vector<Sent> all = {sent};
    all.insert(all.end(), others.begin(), others.end());
    const bool isSizeKnown =
        std::any_of(all.begin(), all.end(), [&event](const Sent& one) { return one.event->stamp.size == event.size; });
    return isSizeKnown && isMixture(life.exhibits.at(static_cast<std::size_t>(event.exhibit)), event.size, all);
  }

  // As a slot holds it, zeros behind.
  static std::vector<std::uint8_t> slotOf(const Sent& sent) {
    std::vector<std::uint8_t> bytes = messageOf(sent.event->stamp);
    bytes.resize(kLargestMessage);
    return bytes;
  }

  bool isMixture(const std::vector<std::uint8_t>& bytes, std::size_t size, const std::vector<Sent>& all) {
    for (const Sent& one : all) {
      const std::vector<std::uint8_t> slot = slotOf(one);
      if (memcmp(bytes.data(), slot.data(), size) == 0) {
        ++verdict_.counts.mixed;
        return true;
      }
    }
    for (const Sent& dead : all) {
      if (dead.entry == nullptr && isTorn(bytes, size, slotOf(dead), all)) {
        ++verdict_.counts.torn;
        return true;
      }
    }
    return false;
  }

  static bool isTorn(const std::vector<std::uint8_t>& bytes, std::size_t size, const std::vector<std::uint8_t>& dead,
                     const std::vector<Sent>& all) {
    return std::any_of(all.begin(), all.end(), [&](const Sent& below) {
      const std::vector<std::uint8_t> slot = slotOf(below);
      for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] != dead[i] && bytes[i] != slot[i]) {
          return false;
        }
      }
      return true;
    });
  }

  // --- calm phases, from end to end and without the log ---

  void checkCalm(const Span& calm) {
    for (const Life& life : stretch_.lives) {
      if (life.kind == Kind::kApp && life.readyTime != 0 && life.readyTime < calm.begin && life.killTime > calm.end) {
        checkCalmOf(life, calm);
      }
    }
  }

  void checkCalmOf(const Life& app, const Span& calm) {
    std::vector<std::uint32_t> sent;
    std::vector<std::uint32_t> answered;
    for (const Event& event : app.events) {
      if (event.time < calm.begin || event.time > calm.end) {
        continue;
      }
      if (event.kind == EventKind::kSending) {
        sent.push_back(event.stamp.sequence);
        if (event.isRefused) {
          blame("calm", app.name + " was refused a send in a calm phase");
        }
      } else if (event.kind == EventKind::kReceived) {
        answered.push_back(event.stamp.answeredSequence);
      }
    }
    verdict_.counts.calm += sent.size() + answered.size();
    if (sent.size() != kCalmMessages) {
      blame("calm", app.name + " sent " + std::to_string(sent.size()) + " messages in a calm phase");
    }
    if (answered != sent) {
      blame("calm", app.name + " sent " + std::to_string(sent.size()) + " messages in a calm phase and got " +
                        std::to_string(answered.size()) + " answers, or in another order");
    }
    if (arrivedFrom(app, calm) != sent) {
      blame("calm", "messages of " + app.name + " in a calm phase did not arrive once each and in order");
    }
  }

  std::vector<std::uint32_t> arrivedFrom(const Life& app, const Span& calm) const {
    std::vector<std::uint32_t> arrived;
    for (const Life& life : stretch_.lives) {
      if (life.kind != Kind::kPhone) {
        continue;
      }
      for (const Event& event : life.events) {
        if (event.kind == EventKind::kReceived && event.time >= calm.begin && event.time <= calm.end &&
            event.stamp.sender == app.number) {
          arrived.push_back(event.stamp.sequence);
        }
      }
    }
    return arrived;
  }

  const Stretch& stretch_;
  Verdict verdict_;
  std::map<Pid, const Life*> lives_;
  std::map<Pid, std::uint32_t> appOf_;
  std::map<std::uint64_t, Sent> sent_;  // announced ones, by their number in the log
  std::map<std::uint32_t, std::vector<std::uint64_t>> rings_;
  std::map<std::uint32_t, std::vector<Sent>> unannounced_;
};

}  // namespace

Counts& Counts::operator+=(const Counts& other) {
  announced += other.announced;
  mustArrive += other.mustArrive;
  received += other.received;
  calm += other.calm;
  neverAnnounced += other.neverAnnounced;
  setBack += other.setBack;
  overtaken += other.overtaken;
  mixed += other.mixed;
  torn += other.torn;
  return *this;
}

Verdict judge(const Stretch& stretch) {
  return Judge(stretch).pronounce();
}

}  // namespace storm
