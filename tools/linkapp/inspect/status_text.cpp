#include "inspect/status_text.h"

#include <grp.h>
#include <pwd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "inspect/columns.h"
#include "text/fields.h"

namespace inspect {
namespace {

using Align = Columns::Align;

constexpr const char* kBold = "\033[1m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kPlain = "\033[0m";

std::string number(std::uint64_t value) {
  return std::to_string(value);
}

std::string octal(mode_t mode) {
  char text[8];
  snprintf(text, sizeof text, "%04o", mode & 07777U);
  return text;
}

std::string ownerText(const ObjectFacts& object) {
  const passwd* const user = getpwuid(object.owner);
  const std::string owner = user != nullptr ? user->pw_name : std::to_string(object.owner);
  const ::group* const members = getgrgid(object.group);
  return owner + ":" + (members != nullptr ? members->gr_name : std::to_string(object.group));
}

std::string wallTimeText(std::int64_t milliseconds) {
  const time_t seconds = static_cast<time_t>(milliseconds / 1000);
  tm parts = {};
  localtime_r(&seconds, &parts);
  char text[40];
  const std::size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  return {text, length};
}

// From shared memory, so anything may stand there.
std::string nameText(const std::string& name) {
  return name.empty() ? "-" : text::quoted(name);
}

// Words with blanks between them as they are; anything else quoted.
std::string commandText(const Process& process) {
  const std::string command = process.command.empty() ? process.name : process.command;
  std::string words = command;
  words.erase(std::remove(words.begin(), words.end(), ' '), words.end());
  return text::quoted(words) == words ? command : text::quoted(command);
}

std::string processText(const Process& process, bool isGone) {
  if (process.pid == 0) {
    return "-";
  }
  const std::string what = isGone                ? "ended"
                           : process.isStopped() ? text::quoted(process.name) + ", stopped"
                                                 : text::quoted(process.name);
  return number(process.pid) + " (" + what + ")";
}

class Writer {
 public:
  Writer(const Snapshot& snapshot, bool isColoured) : snapshot_(snapshot), isColoured_(isColoured) {}

  std::string write() {
    all_ = coloured(kBold, "linkapp status") + "  " + wallTimeText(snapshot_.wallTime) + "  " + summaryOf(snapshot_) +
           "\n";
    if (snapshot_.hasChannel()) {
      writeObjects();
      writeChannel();
      writeApps();
      writeRings();
      writeReceivers();
      writeLosses();
      writeProcesses();
    }
    writeFindings();
    return all_;
  }

 private:
  std::string coloured(const char* colour, const std::string& words) const {
    return isColoured_ ? colour + words + kPlain : words;
  }

  void title(const std::string& name, const std::string& more = "") {
    all_ += "\n" + coloured(kBold, name) + (more.empty() ? "" : "  " + more) + "\n";
  }

  std::string agoText(const Said& said) const {
    return ageText(snapshot_.monotonicTime - std::min(said.time, snapshot_.monotonicTime)) + " ago";
  }

  void addObject(Columns& columns, const ObjectFacts& object, const std::string& state) const {
    if (!object.exists) {
      columns.add({object.name, "", "", "", object.problem.empty() ? "not there" : object.problem});
      return;
    }
    columns.add({object.name, number(object.size), octal(object.mode), ownerText(object),
                 object.problem.empty() ? state : object.problem});
  }

  void writeObjects() {
    title("Objects", kSharedMemory);
    Columns columns({{"name", Align::kLeft}, {"bytes", Align::kRight}, {"mode"}, {"owner"}, {"state"}});
    for (const Segment* const segment : snapshot_.segments()) {
      addObject(columns, segment->object, !segment->isWhole ? "not whole" : segment->isChanging ? "changing" : "whole");
    }
    for (std::size_t i = 0; i < snapshot_.locks.size(); ++i) {
      addObject(columns, snapshot_.locks[i].object, lockText(snapshot_.locks[i], snapshot_.holders[i]));
    }
    addObject(columns, snapshot_.log.object, logText());
    all_ += columns.text("  ");
  }

  std::string lockText(const Lock& lock, const Process& holder) const {
    if (!lock.problem.empty()) {
      return lock.problem;
    }
    std::string state = "free";
    if (lock.word && lock.word->hasOwnerDied) {
      state = "its holder has died";
    } else if (lock.holderPid != 0) {
      state = "held by " + (holder.pid != 0 ? processText(holder, holder.isDead()) : number(lock.holderPid));
    } else if (lock.word && lock.word->thread != 0) {
      state = "held by thread " + number(lock.word->thread);
    }
    return state + (lock.word && lock.word->hasWaiters ? ", others wait" : "") + ", contended " +
           number(lock.contended) + (lock.contended == 1 ? " time" : " times");
  }

  std::string logText() const {
    const Log& log = snapshot_.log;
    return log.problem.empty() ? number(log.head) + " messages posted, " + number(log.sleepers) +
                                     (log.sleepers == 1 ? " receiver asleep" : " receivers asleep")
                               : log.problem;
  }

  void writeChannel() {
    const ChannelState& state = snapshot_.state;
    title("Channel", "as the last " + number(state.messages) + " messages tell");
    Columns columns({{""}, {""}, {""}});
    columns.add({"device side", processText(snapshot_.deviceSide, snapshot_.isDeviceSideGone),
                 state.deviceSide ? "last message " + agoText(*state.deviceSide) : ""});
    columns.add({"link", linkText(), state.link ? agoText(state.link->said) : ""});
    columns.add({"hands-free",
                 !state.handsFree                    ? "-"
                 : state.handsFree->btConnected == 1 ? state.handsFree->btAddress
                                                     : "down",
                 state.handsFree ? agoText(state.handsFree->said) : ""});
    columns.add({"playing", state.playback ? nameText(state.playback->appName) : "-",
                 state.playback ? agoText(state.playback->said) : ""});
    all_ += columns.text("  ");
  }

  std::string linkText() const {
    const auto& link = snapshot_.state.link;
    if (!link) {
      return "-";
    }
    const std::string device = "device " + number(link->device);
    if (!link->isConnected()) {
      return device + " not connected";
    }
    return device + " connected over " + (link->isBluetooth() ? "Bluetooth" : "USB") + ", " +
           (link->iapType != 0 ? "iAP2" : "iAP1");
  }

  void writeApps() {
    title("Apps", number(snapshot_.table.count) + " of " + number(iOSAppInfoList::kEntryCount) + " places");
    Columns columns({{"id", Align::kRight},
                     {"name"},
                     {"launch string"},
                     {"iAP1"},
                     {"process"},
                     {"session"},
                     {"launches", Align::kRight},
                     {"sent", Align::kRight},
                     {"results", Align::kRight},
                     {"failed", Align::kRight},
                     {"open", Align::kRight},
                     {"received", Align::kRight}});
    for (const AppView& app : snapshot_.apps) {
      const AppTraffic traffic = app.traffic.value_or(AppTraffic());
      columns.add({number(app.entry.appId), nameText(app.entry.appName), nameText(app.entry.launchString),
                   nameText(app.entry.iAP1Name), processText(app.owner.value_or(Process()), app.isOwnerGone),
                   traffic.isSessionOpen ? "open"
                   : traffic.session     ? "closed"
                                         : "-",
                   number(traffic.launches), number(traffic.sent), number(traffic.results), number(traffic.failures),
                   number(traffic.open), number(traffic.received)});
    }
    all_ += columns.isEmpty() ? "" : columns.text("  ");
  }

  void writeRings() {
    title("Rings");
    Columns columns({{"ring"},
                     {"next slot", Align::kRight},
                     {"written", Align::kRight},
                     {"announced", Align::kRight},
                     {"last slot", Align::kRight},
                     {"size", Align::kRight}});
    for (const Ring& ring : snapshot_.rings) {
      const std::size_t index = static_cast<std::size_t>(ring.id);
      const auto last = snapshot_.state.lastSlot[index];
      const bool isKnown = last && *last < ring.slots.size();
      columns.add({ring.segment.object.name, ring.slots.empty() ? "-" : number(ring.nextSlot),
                   number(ring.written) + "/" + number(iOSAppCommonDataList::kSlotCount),
                   number(snapshot_.state.ringMessages[index]), last ? number(*last) : "-",
                   isKnown ? number(ring.slots[*last].size) : "-"});
    }
    all_ += columns.text("  ");
  }

  void writeReceivers() {
    title("Receivers", number(snapshot_.receivers.size()) + " listed");
    Columns columns({{"process"},
                     {"position", Align::kRight},
                     {"behind", Align::kRight},
                     {"of its own", Align::kRight},
                     {"lost", Align::kRight},
                     {"listens to"}});
    for (const ReceiverView& receiver : snapshot_.receivers) {
      Process process = receiver.process;
      process.name = process.exists ? process.name : receiver.listed.name;
      columns.add({processText(process, receiver.isGone), receiver.behind ? number(receiver.listed.position) : "-",
                   receiver.behind ? number(*receiver.behind) : "-", receiver.waiting ? number(*receiver.waiting) : "-",
                   number(receiver.listed.lost), identifiersText(receiver.listed)});
    }
    all_ += columns.isEmpty() ? "" : columns.text("  ");
  }

  static std::string identifiersText(const Receiver& receiver) {
    std::string all;
    for (const std::uint32_t id : receiver.identifiers) {
      const std::string name = identifierName(id);
      all += (all.empty() ? "" : " ") + (name.empty() ? number(id) : name);
    }
    const std::size_t listed = receiver.identifiers.size();
    return all +
           (receiver.identifierCount > listed ? " and " + number(receiver.identifierCount - listed) + " more" : "");
  }

  // Nothing where nothing was lost.
  void writeLosses() {
    Columns columns({{"app"},
                     {"overwritten", Align::kRight},
                     {"skipped", Align::kRight},
                     {"notifications", Align::kRight},
                     {"without result", Align::kRight}});
    for (const auto& [app, counts] : snapshot_.losses.byApp) {
      const bool isListed = app != 0 && app <= snapshot_.apps.size();
      const std::string name = isListed ? " " + nameText(snapshot_.apps[app - 1].entry.appName) : "";
      columns.add({app == 0 ? "not known" : number(app) + name, number(counts.overwritten), number(counts.skipped),
                   number(counts.notifications), number(counts.withoutResult)});
    }
    if (!columns.isEmpty()) {
      title("Losses", "at least so many");
      all_ += columns.text("  ");
    }
  }

  void writeProcesses() {
    const MappingProcesses& mappings = snapshot_.mappings;
    title("Processes", number(mappings.processes.size()) + " attached" +
                           (mappings.unseen == 0 ? ""
                                                 : "; " + number(mappings.unseen) + " could not be looked into" +
                                                       (geteuid() == 0 ? "" : " (root can)")));
    Columns columns({{"pid", Align::kRight}, {"state"}, {"objects", Align::kRight}, {"command"}});
    for (const MappingProcess& mapping : mappings.processes) {
      const Process& process = mapping.process;
      columns.add({number(process.pid),
                   process.isStopped() ? "stopped"
                   : process.isDead()  ? "ended"
                                       : "runs",
                   number(mapping.objects.size()), commandText(process)});
    }
    all_ += columns.isEmpty() ? "" : columns.text("  ");
  }

  void writeFindings() {
    writeFindings("Not as it should be", true);
    writeFindings("Worth knowing", false);
  }

  void writeFindings(const char* name, bool areFaults) {
    bool isFirst = true;
    for (const Finding& finding : snapshot_.findings) {
      if (finding.isFault == areFaults) {
        if (std::exchange(isFirst, false)) {
          title(name);
        }
        all_ += "  " + (areFaults ? coloured(kRed, finding.text) : finding.text) +
                (finding.certain ? "" : " (probably)") + "\n";
      }
    }
  }

  const Snapshot& snapshot_;
  const bool isColoured_;
  std::string all_;
};

}  // namespace

std::string summaryOf(const Snapshot& snapshot) {
  if (!snapshot.hasChannel()) {
    return "there is no channel";
  }
  const auto& link = snapshot.state.link;
  const auto count = [](std::uint64_t value, const std::string& noun) {
    return number(value) + " " + noun + (value == 1 ? "" : "s");
  };
  const auto sessions = std::count_if(snapshot.state.apps.begin(), snapshot.state.apps.end(),
                                      [](const auto& app) { return app.second.isSessionOpen; });
  return std::string(!link                 ? "phone unknown"
                     : link->isConnected() ? "phone connected"
                                           : "no phone") +
         ", " + count(snapshot.table.count, "app") + ", " + count(static_cast<std::uint64_t>(sessions), "session") +
         ", " + (snapshot.faults() == 0 ? "nothing wrong" : count(snapshot.faults(), "fault"));
}

std::string statusText(const Snapshot& snapshot, bool isColoured) {
  return Writer(snapshot, isColoured).write();
}

}  // namespace inspect
