#include "monitor/stats.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

#include "inspect/columns.h"
#include "inspect/status_json.h"
#include "monitor/lines.h"

namespace monitor {
namespace {

using inspect::Columns;
using inspect::Message;
using inspect::RingContent;
using text::Fields;
using text::List;

// Of each app, in one stretch of time; what is beyond is counted, not timed.
constexpr std::size_t kMostTimed = 100'000;
constexpr std::size_t kMostKinds = 64;
constexpr std::size_t kMostReceivers = 256;
constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

Latency latencyOf(std::vector<std::uint64_t>& values) {
  Latency latency;
  if (values.empty()) {
    return latency;
  }
  std::sort(values.begin(), values.end());
  latency.count = values.size();
  latency.least = values.front();
  latency.median = values[values.size() / 2];
  latency.most = values.back();
  latency.mean = static_cast<std::uint64_t>(std::accumulate(values.begin(), values.end(), 0.0) /
                                            static_cast<double>(values.size()));
  return latency;
}

std::string number(std::uint64_t value) {
  return std::to_string(value);
}

std::int64_t signedNumber(std::uint64_t value) {
  return static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX));
}

std::string sizesText(const Sizes& sizes) {
  return sizes.messages == sizes.unread ? "-"
                                        : number(sizes.least) + "/" + number(sizes.mean()) + "/" + number(sizes.most);
}

std::string spreadText(const Latency& latency) {
  return latency.count == 0
             ? "-"
             : latencyText(latency.least) + " / " + latencyText(latency.median) + " / " + latencyText(latency.most);
}

Fields sizesFields(const Sizes& sizes, const Figures& figures) {
  Fields fields = {{"messages", signedNumber(sizes.messages)},
                   {"perSecond", signedNumber(figures.perSecond(sizes.messages))},
                   {"unread", signedNumber(sizes.unread)},
                   {"bytes", signedNumber(sizes.bytes)},
                   {"bytesPerSecond", signedNumber(figures.perSecond(sizes.bytes))}};
  if (sizes.messages != sizes.unread) {
    fields.push_back({"least", sizes.least});
    fields.push_back({"mean", signedNumber(sizes.mean())});
    fields.push_back({"most", sizes.most});
  }
  return fields;
}

Fields appFields(std::uint32_t app, const AppFigures& one, const Figures& figures, const Watch& watch) {
  Fields fields = {{"app", app},
                   {"appName", watch.appName(app)},
                   {"sent", sizesFields(one.sent, figures)},
                   {"received", sizesFields(one.received, figures)},
                   {"results", signedNumber(one.results)},
                   {"failures", signedNumber(one.failures)}};
  if (one.latency.count != 0) {
    const auto microseconds = [](std::uint64_t nanoseconds) { return signedNumber(nanoseconds / 1000); };
    fields.push_back({"resultLatency", Fields{{"count", signedNumber(one.latency.count)},
                                              {"leastUs", microseconds(one.latency.least)},
                                              {"meanUs", microseconds(one.latency.mean)},
                                              {"medianUs", microseconds(one.latency.median)},
                                              {"mostUs", microseconds(one.latency.most)}}});
  }
  return fields;
}

const char* ringName(std::size_t ring) {
  return inspect::identifierName(ring == 0 ? inspect::kIdFromHU : inspect::kIdFromDevice);
}

using Align = Columns::Align;

std::string kindsText(const Figures& figures) {
  Columns columns({{"kind"}, {"messages", Align::kRight}, {"per second", Align::kRight}});
  for (const auto& [kind, count] : figures.kinds) {
    columns.add({kind, number(count), number(figures.perSecond(count))});
  }
  return columns.isEmpty() ? "" : columns.text("  ");
}

std::string ringsText(const Figures& figures) {
  Columns columns({{"ring"},
                   {"messages", Align::kRight},
                   {"per second", Align::kRight},
                   {"bytes/s", Align::kRight},
                   {"size min/mean/max", Align::kRight},
                   {"not read", Align::kRight}});
  for (std::size_t ring = 0; ring < figures.rings.size(); ++ring) {
    const Sizes& sizes = figures.rings[ring];
    columns.add({ringName(ring), number(sizes.messages), number(figures.perSecond(sizes.messages)),
                 number(figures.perSecond(sizes.bytes)), sizesText(sizes), number(sizes.unread)});
  }
  return columns.text("  ");
}

std::string appsText(const Figures& figures, const Watch& watch) {
  Columns columns({{"app"},
                   {"sent/s", Align::kRight},
                   {"bytes/s", Align::kRight},
                   {"size min/mean/max", Align::kRight},
                   {"received/s", Align::kRight},
                   {"bytes/s", Align::kRight},
                   {"size min/mean/max", Align::kRight},
                   {"failed", Align::kRight},
                   {"result after min / median / max", Align::kRight}});
  for (const auto& [app, one] : figures.apps) {
    columns.add({appText(app, watch), number(figures.perSecond(one.sent.messages)),
                 number(figures.perSecond(one.sent.bytes)), sizesText(one.sent),
                 number(figures.perSecond(one.received.messages)), number(figures.perSecond(one.received.bytes)),
                 sizesText(one.received), number(one.failures), spreadText(one.latency)});
  }
  return columns.isEmpty() ? "" : columns.text("  ");
}

std::string receiversText(const Figures& figures, Watch& watch) {
  Columns columns({{"receiver"}, {"behind", Align::kRight}, {"most", Align::kRight}});
  for (const auto& [pid, one] : figures.receivers) {
    columns.add({whoText(watch.who(pid), watch), number(one.behind), number(one.mostBehind)});
  }
  return columns.isEmpty() ? "" : columns.text("  ");
}

}  // namespace

void Sizes::add(const RingContent& content) {
  ++messages;
  if (content.state != RingContent::State::kCertain) {
    ++unread;
    return;
  }
  const bool isFirst = messages - unread == 1;
  bytes += content.size;
  least = isFirst ? content.size : std::min(least, content.size);
  most = std::max(most, content.size);
}

std::uint64_t Figures::perSecond(std::uint64_t count) const {
  const double seconds = static_cast<double>(duration) / static_cast<double>(kNanosecondsPerSecond);
  return duration == 0 ? 0 : static_cast<std::uint64_t>(std::llround(static_cast<double>(count) / seconds));
}

AppFigures* Stats::figuresOf(std::uint32_t app) {
  return app == 0 || app > iOSAppInfoList::kEntryCount ? nullptr : &figures_.apps[app];
}

void Stats::add(const Message& message, const RingContent& content) {
  if (message.isForNobody) {
    return;
  }
  ++figures_.messages;
  const std::string kind = nameOf(message);
  if (figures_.kinds.size() < kMostKinds || figures_.kinds.count(kind) != 0) {
    ++figures_.kinds[kind];
  }
  if (const auto announcement = announcementOf(message)) {
    const bool isFromHU = message.id == inspect::kIdFromHU;
    figures_.rings[isFromHU ? 0 : 1].add(content);
    AppFigures* const app = figuresOf(announcement->appId);
    if (app != nullptr) {
      (isFromHU ? app->sent : app->received).add(content);
    }
    std::deque<std::uint64_t>* const sent = app != nullptr && isFromHU ? &results_[announcement->appId].sent : nullptr;
    if (sent != nullptr && sent->size() < kMostTimed) {
      sent->push_back(message.time);
    }
  } else if (const auto status = connectStatusOf(message)) {
    addStatus(message, *status);
  }
}

void Stats::addStatus(const Message& message, const iosapp_def_::ConnectStatusNotify& status) {
  if (status.notifyType == iosapp_def_::NOTIFYID_SENDRESULT) {
    AppFigures* const app = figuresOf(status.appId);
    if (app == nullptr) {
      return;
    }
    ++app->results;
    app->failures += status.sendResult != iosapp_def_::SENDRESULT_SUCCESS ? 1U : 0U;
    Results& results = results_[status.appId];
    if (!results.sent.empty()) {
      const std::uint64_t sent = results.sent.front();
      results.sent.pop_front();
      if (message.time >= sent && results.latencies.size() < kMostTimed) {
        results.latencies.push_back(message.time - sent);
      }
    }
  } else if (status.notifyType == iosapp_def_::NOTIFYID_SESSIONSTATUS && status.status != 1) {
    results_[figuresOf(status.appId) != nullptr ? status.appId : 0].sent.clear();
  } else if (status.notifyType == iosapp_def_::NOTIFYID_CONNECTSTATUS && status.connectStatus != 1) {
    for (auto& entry : results_) {
      entry.second.sent.clear();
    }
  }
}

void Stats::look(const Watch& watch) {
  if (!watch.isCaughtUp()) {
    return;
  }
  if (begin_ == 0) {
    begin_ = watch.now();
  }
  if (watch.losses().missed != lookedAtMissed_) {
    for (auto& entry : results_) {
      entry.second.sent.clear();  // results may be among what was missed
    }
  }
  lookedAtMissed_ = watch.losses().missed;
  lookedAtLosses_ = watch.losses().total();
  const inspect::Log& log = watch.log();
  for (const inspect::Receiver& receiver : log.receivers) {
    const bool isKept = figures_.receivers.size() < kMostReceivers || figures_.receivers.count(receiver.pid) != 0;
    if (receiver.position != 0 && isKept) {
      ReceiverFigures& figures = figures_.receivers[receiver.pid];
      figures.behind = log.head - std::min(receiver.position, log.head);
      figures.mostBehind = std::max(figures.mostBehind, figures.behind);
    }
  }
}

Figures Stats::take(std::uint64_t now) {
  Figures figures = std::exchange(figures_, {});
  figures.duration = now - std::min(std::exchange(begin_, now), now);
  for (auto& [app, results] : results_) {
    if (AppFigures* const one = app == 0 ? nullptr : &figures.apps[app]) {
      one->latency = latencyOf(results.latencies);
    }
    results.latencies.clear();
  }
  figures.losses = {lookedAtLosses_.overwritten - lossesBefore_.overwritten,
                    lookedAtLosses_.skipped - lossesBefore_.skipped,
                    lookedAtLosses_.notifications - lossesBefore_.notifications,
                    lookedAtLosses_.withoutResult - lossesBefore_.withoutResult};
  lossesBefore_ = lookedAtLosses_;
  figures.missed = lookedAtMissed_ - std::exchange(missedBefore_, lookedAtMissed_);
  return figures;
}

std::string latencyText(std::uint64_t nanoseconds) {
  char text[32];
  const auto value = static_cast<double>(nanoseconds);
  if (nanoseconds < 1'000'000) {
    snprintf(text, sizeof text, "%.0f us", value / 1e3);
  } else if (nanoseconds < kNanosecondsPerSecond) {
    snprintf(text, sizeof text, "%.1f ms", value / 1e6);
  } else {
    snprintf(text, sizeof text, "%.1f s", value / 1e9);
  }
  return text;
}

std::string shortNumber(std::uint64_t number) {
  char text[32];
  const auto value = static_cast<double>(number);
  if (number < 10'000) {
    snprintf(text, sizeof text, "%.0f", value);
  } else if (number < 10'000'000) {
    snprintf(text, sizeof text, "%.1fk", value / 1e3);
  } else {
    snprintf(text, sizeof text, "%.1fM", value / 1e6);
  }
  return text;
}

std::string statsText(const Figures& figures, Watch& watch) {
  const inspect::LossCounts& losses = figures.losses;
  char seconds[32];
  snprintf(seconds, sizeof seconds, "%.1f", static_cast<double>(figures.duration) / 1e9);
  return timeText(watch.wallTimeOf(watch.now())) + "  " + number(figures.messages) + " messages in " + seconds +
         " s, " + number(figures.perSecond(figures.messages)) + "/s; lost: " + number(losses.overwritten) +
         " overwritten, " + number(losses.skipped) + " skipped, " + number(losses.notifications) + " notifications, " +
         number(losses.withoutResult) + " without result; the monitor itself missed " + number(figures.missed) + "\n" +
         kindsText(figures) + ringsText(figures) + appsText(figures, watch) + receiversText(figures, watch);
}

Fields statsFields(const Figures& figures, Watch& watch) {
  List kinds;
  for (const auto& [kind, count] : figures.kinds) {
    kinds.push_back(
        {{"kind", kind}, {"messages", signedNumber(count)}, {"perSecond", signedNumber(figures.perSecond(count))}});
  }
  List rings;
  for (std::size_t ring = 0; ring < figures.rings.size(); ++ring) {
    Fields fields = {{"ring", ringName(ring)}};
    const Fields sizes = sizesFields(figures.rings[ring], figures);
    fields.insert(fields.end(), sizes.begin(), sizes.end());
    rings.push_back(fields);
  }
  List apps;
  for (const auto& [app, one] : figures.apps) {
    apps.push_back(appFields(app, one, figures, watch));
  }
  List receivers;
  for (const auto& [pid, one] : figures.receivers) {
    receivers.push_back({{"process", whoFields(watch.who(pid), watch)},
                         {"behind", signedNumber(one.behind)},
                         {"mostBehind", signedNumber(one.mostBehind)}});
  }
  return {{"event", "stats"},
          {"time", watch.wallTimeOf(watch.now()) / 1'000'000},
          {"monotonicTime", signedNumber(watch.now())},
          {"durationMs", signedNumber(figures.duration / 1'000'000)},
          {"messages", signedNumber(figures.messages)},
          {"perSecond", signedNumber(figures.perSecond(figures.messages))},
          {"kinds", kinds},
          {"rings", rings},
          {"apps", apps},
          {"receivers", receivers},
          {"lost", lossFields(figures.losses)},
          {"missed", signedNumber(figures.missed)}};
}

}  // namespace monitor
