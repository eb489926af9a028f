#include "monitor/top_page.h"

#include <algorithm>
#include <sstream>

#include "inspect/columns.h"
#include "inspect/status_text.h"
#include "monitor/lines.h"

namespace monitor {
namespace {

using inspect::Columns;
using Align = Columns::Align;
using Style = Row::Style;

constexpr std::size_t kBarWidth = 20;

std::string number(std::uint64_t value) {
  return std::to_string(value);
}

// The first `width` characters.
std::string cut(const std::string& text, std::size_t width) {
  std::size_t characters = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isBegin = (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
    if (isBegin && ++characters > width) {
      return text.substr(0, at);
    }
  }
  return text;
}

class Page {
 public:
  Page(const Figures& figures, Watch& watch) : figures_(figures), watch_(watch) {}

  std::vector<Row> write(const std::deque<std::string>& alarms, const std::string& problem) {
    rows_.push_back({"linkapp monitor  " + timeText(watch_.wallTimeOf(watch_.now())).substr(0, 8) + "  " + linkText() +
                         "  " + deviceSideText(),
                     Style::kTitle});
    if (!problem.empty()) {
      rows_.push_back({"the notifier's log " + problem + "; waiting for it", Style::kAlarm});
    }
    rows_.push_back({trafficText()});
    writeLosses();
    writeApps();
    writeRings();
    writeReceivers();
    writeAlarms(alarms);
    return rows_;
  }

 private:
  std::string linkText() const {
    const auto& link = watch_.state().link;
    if (!link) {
      return "no word of a phone";
    }
    if (!link->isConnected()) {
      return "no phone";
    }
    return "phone: device " + number(link->device) + (link->isBluetooth() ? " over Bluetooth, " : " over USB, ") +
           (link->iapType != 0 ? "iAP2" : "iAP1");
  }

  std::string deviceSideText() {
    const auto& said = watch_.state().deviceSide;
    if (!said) {
      return "";
    }
    Who who = watch_.who(said->pid);
    who.isDeviceSide = false;  // that is said already
    return "device side: " + whoText(who, watch_);
  }

  std::string trafficText() const {
    std::string text = number(figures_.perSecond(figures_.messages)) + " messages/s, " +
                       shortNumber(figures_.perSecond(figures_.rings[0].bytes)) + " bytes/s from HU, " +
                       shortNumber(figures_.perSecond(figures_.rings[1].bytes)) + " bytes/s from device; " +
                       number(watch_.log().head) + " posted";
    const auto& handsFree = watch_.state().handsFree;
    if (handsFree) {
      text += "; hands-free " + (handsFree->btConnected == 1 ? handsFree->btAddress : "down");
    }
    const auto& playback = watch_.state().playback;
    if (playback && !playback->appName.empty()) {
      text += "; playing " + text::quoted(playback->appName);
    }
    return text;
  }

  void writeLosses() {
    const inspect::LossCounts& losses = watch_.losses().total();
    rows_.push_back({"lost: " + number(losses.overwritten) + " overwritten, " + number(losses.skipped) + " skipped, " +
                         number(losses.notifications) + " notifications, " + number(losses.withoutResult) +
                         " without result; the monitor itself missed " + number(watch_.losses().missed),
                     losses.all() == 0 ? Style::kPlain : Style::kAlarm});
  }

  void add(const Columns& columns) {
    std::istringstream lines(columns.text(""));
    bool isHead = true;
    for (std::string line; std::getline(lines, line); isHead = false) {
      rows_.push_back({line, isHead ? Style::kHead : Style::kPlain});
    }
  }

  void writeApps() {
    rows_.push_back({});
    Columns columns({{"APP"},
                     {"PROCESS"},
                     {"SESSION"},
                     {"SENT/S", Align::kRight},
                     {"RECEIVED/S", Align::kRight},
                     {"BYTES/S", Align::kRight},
                     {"OPEN", Align::kRight},
                     {"RESULT AFTER", Align::kRight},
                     {"MAX", Align::kRight},
                     {"LOST", Align::kRight}});
    for (const inspect::RegisteredApp& entry : watch_.table().apps) {
      const std::uint32_t app = entry.place + 1;
      const auto found = watch_.state().apps.find(app);
      const inspect::AppTraffic traffic = found == watch_.state().apps.end() ? inspect::AppTraffic() : found->second;
      const auto figures = figures_.apps.find(app);
      const AppFigures one = figures == figures_.apps.end() ? AppFigures() : figures->second;
      const auto lost = watch_.losses().byApp.find(app);
      columns.add({appText(app, watch_), traffic.owner ? processText(traffic.owner->pid) : "-",
                   traffic.isSessionOpen ? "open"
                   : traffic.session     ? "closed"
                                         : "-",
                   number(figures_.perSecond(one.sent.messages)), number(figures_.perSecond(one.received.messages)),
                   shortNumber(figures_.perSecond(one.sent.bytes + one.received.bytes)), number(traffic.open),
                   one.latency.count == 0 ? "-" : latencyText(one.latency.median),
                   one.latency.count == 0 ? "-" : latencyText(one.latency.most),
                   number(lost == watch_.losses().byApp.end() ? 0 : lost->second.all())});
    }
    if (columns.isEmpty()) {
      columns.add({"none"});
    }
    add(columns);
  }

  std::string processText(std::uint32_t pid) {
    Who who = watch_.who(pid);
    who.apps.clear();  // the row says which
    return whoText(who, watch_);
  }

  void writeRings() {
    rows_.push_back({});
    Columns columns({{"RING"},
                     {"LAST SLOT"},
                     {""},
                     {"MESSAGES/S", Align::kRight},
                     {"BYTES/S", Align::kRight},
                     {"SIZE MIN", Align::kRight},
                     {"MEAN", Align::kRight},
                     {"MAX", Align::kRight}});
    for (std::size_t ring = 0; ring < figures_.rings.size(); ++ring) {
      const Sizes& sizes = figures_.rings[ring];
      const auto& slot = watch_.state().lastSlot[ring];
      const bool isKnown = sizes.messages != sizes.unread;
      columns.add({ring == 0 ? "FromHU" : "FromDevice", slot ? bar(*slot) : "", slot ? number(*slot) : "-",
                   number(figures_.perSecond(sizes.messages)), shortNumber(figures_.perSecond(sizes.bytes)),
                   isKnown ? number(sizes.least) : "-", isKnown ? number(sizes.mean()) : "-",
                   isKnown ? number(sizes.most) : "-"});
    }
    add(columns);
  }

  // Where in the ring the last message lies.
  static std::string bar(std::uint32_t slot) {
    const std::size_t at = std::min<std::size_t>(slot, iOSAppCommonDataList::kSlotCount - 1) * kBarWidth /
                           iOSAppCommonDataList::kSlotCount;
    std::string text = "[" + std::string(kBarWidth, '.') + "]";
    text[1 + at] = '#';
    return text;
  }

  void writeReceivers() {
    rows_.push_back({});
    Columns columns({{"RECEIVER"},
                     {"POSITION", Align::kRight},
                     {"BEHIND", Align::kRight},
                     {"MOST", Align::kRight},
                     {"LOST", Align::kRight},
                     {"LISTENS TO"}});
    for (const inspect::Receiver& receiver : watch_.log().receivers) {
      const auto figures = figures_.receivers.find(receiver.pid);
      const ReceiverFigures one = figures == figures_.receivers.end() ? ReceiverFigures() : figures->second;
      std::string names;
      for (const std::uint32_t id : receiver.identifiers) {
        const std::string name = inspect::identifierName(id);
        names += (names.empty() ? "" : " ") + (name.empty() ? number(id) : name);
      }
      columns.add({whoText(watch_.who(receiver.pid), watch_), receiver.position == 0 ? "-" : number(receiver.position),
                   number(one.behind), number(one.mostBehind), number(receiver.lost), names});
    }
    if (columns.isEmpty()) {
      columns.add({"none"});
    }
    add(columns);
  }

  void writeAlarms(const std::deque<std::string>& alarms) {
    if (!alarms.empty()) {
      rows_.push_back({});
    }
    for (auto alarm = alarms.rbegin(); alarm != alarms.rend(); ++alarm) {
      rows_.push_back({*alarm, Style::kAlarm});
    }
  }

  const Figures& figures_;
  Watch& watch_;
  std::vector<Row> rows_;
};

}  // namespace

std::vector<Row> topPage(const Figures& figures, const std::deque<std::string>& alarms, const std::string& problem,
                         Watch& watch, std::size_t width, std::size_t height) {
  std::vector<Row> rows = Page(figures, watch).write(alarms, problem);
  if (rows.size() > height) {
    const std::size_t hidden = rows.size() - height + 1;
    rows.resize(height);
    if (height != 0) {
      rows.back() = {std::to_string(hidden) + " more rows do not fit", Style::kDim};
    }
  }
  for (Row& row : rows) {
    row.text = cut(row.text, width);
  }
  return rows;
}

}  // namespace monitor
