#include "demo/director.h"

#include <poll.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <stdexcept>

#include "demo/demo.h"
#include "demo/interrupt.h"

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

// What an application sends in one round. A ring has 40 slots, both applications share it, and nothing in it keeps a
// writer from overwriting what is not read yet. A limit for each application alone is not enough: while one is kept
// from running, the other one's messages alone go round the ring. So both send in rounds, and no round begins before
// both have every result and echo of the last: then at most 16 slots of either ring are unread.
constexpr unsigned int kMessagesPerRound = 8;

// Long enough for the slowest machine; a demo that stalls ends with words.
constexpr std::chrono::seconds kStepPatience{30};
constexpr int kListenMs = 1000;

// The service by which phones with Bluetooth SPP find the application that is open to both kinds.
constexpr const char* kMusicSppUuid = "85d24e4b-f7b4-462f-9bfd-0345ebd35ff6";

// The demo never meets the machine's own Bluetooth.
constexpr const char* kBusVariable = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr const char* kNoBus = "unix:path=/nonexistent";

Exchange parseExchange(const std::string& app, const std::string& text) {
  Exchange exchange;
  exchange.app = app;
  std::istringstream(text) >> exchange.sent >> exchange.echoed >> exchange.corrupted >> exchange.medianUs >>
      exchange.percentile99Us;
  return exchange;
}

// Reports that only the director needs.
bool isForPeople(const Report& report) {
  return report.word != "round" && report.word != "total" && report.word != "bus";
}

}  // namespace

Director::Director(unsigned int messages, Simulation simulation, const Timeline& timeline)
    : simulation_(std::move(simulation)), timeline_(timeline) {
  summary_.wanted = messages;
}

Summary Director::run() {
  try {
    tellTheStory();
  } catch (const std::runtime_error& error) {
    problem(error.what());
  }
  summary_.seconds = timeline_.secondsAt(Clock::now());
  return summary_;
}

void Director::tellTheStory() {
  startEverybody();
  connectAndLaunch();
  exchange();
  showSppPhone();
  showPlayingAppAndHandsFree();
  disconnect();
  connectAndLaunch();
  sendOneMore();
  endEverybody();
}

// Every endpoint must exist before traffic starts: one that is constructed later sets the rings back.
void Director::startEverybody() {
  startSppPhone();
  timeline_.say("demo", "starting a device side and two head-unit applications");
  add("device side", {kDeviceSideRole});
  add("navi", {kApplicationRole, "navi", "", ""});
  add("music", {kApplicationRole, "music", "music1", kMusicSppUuid});
  for (Process& process : processes_) {
    await(process, "ready");
  }
}

void Director::startSppPhone() {
  setenv(kBusVariable, kNoBus, 1);
  const std::string& program = simulation_.program;
  if (program.empty()) {
    timeline_.say("demo", "no phone with Bluetooth SPP today: " + simulation_.whyNot);
    return;
  }
  timeline_.say("demo", "starting a private D-Bus and simulated Bluetooth on it, with a phone out of range");
  sppPhone_ = Process{std::make_unique<Child>("SPP phone", std::vector<std::string>{kSppPhoneRole, program}), {}};
  setenv(kBusVariable, await(sppPhone(), "bus").c_str(), 1);
}

void Director::connectAndLaunch() {
  device().child->tell("plug");
  for (Process* app : apps()) {
    await(*app, "connected");
    app->child->tell("launch");
  }
  for (Process* app : apps()) {
    await(*app, "session-open");
  }
}

void Director::exchange() {
  timeline_.say("demo", "each application sends " + std::to_string(summary_.wanted) +
                            " messages of 1 to 4096 bytes; the phone checks them and sends them back");
  const bool isComplete = sendInRounds(apps(), summary_.wanted);
  summary_.exchanges = collectTotals(apps());
  timeline_.say("demo", isComplete ? "all results and echoes have come" : "results or echoes are missing");
}

// The same operator, beside its session with the iPhone.
void Director::showSppPhone() {
  if (!sppPhone_) {
    return;
  }
  sppPhone().child->tell(std::string("come ") + kMusicSppUuid);
  await(music(), "spp-listed");
  music().child->tell("connect-spp");
  await(music(), "spp-up");
  exchangeOverSpp();
  for (const std::string state : {"up", "down"}) {
    sppPhone().child->tell("hands-free " + state);
    for (Process* app : apps()) {
      await(*app, "spp-hands-free", state);
    }
  }
  music().child->tell("disconnect-spp");
  await(music(), "spp-down");
  await(sppPhone(), "link", "down");
  sppPhone().child->tell("go");
  await(music(), "spp-gone");
}

void Director::exchangeOverSpp() {
  timeline_.say(
      "demo", "music sends " + std::to_string(summary_.wanted) + " messages over SPP; the phone sends the bytes back");
  const bool isComplete = sendInRounds({&music()}, summary_.wanted);
  for (Exchange exchange : collectTotals({&music()})) {
    exchange.app += " (SPP)";
    summary_.exchanges.push_back(exchange);
  }
  timeline_.say("demo", isComplete ? "all results and echoes have come" : "results or echoes are missing");
}

void Director::showPlayingAppAndHandsFree() {
  device().child->tell("play Example Player");
  for (Process* app : apps()) {
    await(*app, "now-playing", "Example Player");
  }
  for (const std::string state : {"up", "down"}) {
    device().child->tell("hands-free " + state);
    for (Process* app : apps()) {
      await(*app, "hands-free", state);
    }
  }
}

void Director::disconnect() {
  device().child->tell("unplug");
  for (Process* app : apps()) {
    await(*app, "disconnected");
  }
}

void Director::sendOneMore() {
  const bool isComplete = sendInRounds(apps(), 1);
  for (const Exchange& exchange : collectTotals(apps())) {
    if (!isComplete || exchange.echoed != 1 || exchange.corrupted != 0) {
      problem(exchange.app + ": the message after the reconnection did not come back as it was sent");
    }
  }
  timeline_.say("demo", "one more message each after the reconnection");
}

void Director::endEverybody() {
  std::vector<std::vector<std::string>> lastLines;
  const std::vector<Process*> speakers = everybody();
  for (const Process* process : speakers) {
    lastLines.emplace_back();
    const std::string ending = process->child->end(lastLines.back());
    if (interruptSeen() != 0) {
      throw Interrupted();
    }
    if (!ending.empty()) {
      problem(process->child->name() + " " + ending);
    }
  }
  hear(speakers, lastLines);
  timeline_.say("demo", "all processes have ended");
}

void Director::add(const std::string& name, const std::vector<std::string>& arguments) {
  processes_.push_back({std::make_unique<Child>(name, arguments), {}});
}

void Director::tell(const std::vector<Process*>& apps, const std::string& command) {
  for (const Process* app : apps) {
    app->child->tell(command);
  }
}

// False where a result or an echo did not come in time.
bool Director::sendInRounds(const std::vector<Process*>& apps, unsigned int messages) {
  tell(apps, "begin");
  bool isComplete = true;
  for (unsigned int sent = 0; sent < messages && isComplete; sent += kMessagesPerRound) {
    tell(apps, "send " + std::to_string(std::min(kMessagesPerRound, messages - sent)));
    for (Process* app : apps) {
      isComplete = await(*app, "round") == "done" && isComplete;
    }
  }
  return isComplete;
}

std::vector<Exchange> Director::collectTotals(const std::vector<Process*>& apps) {
  tell(apps, "total");
  std::vector<Exchange> totals;
  totals.reserve(apps.size());
  for (Process* app : apps) {
    totals.push_back(parseExchange(app->child->name(), await(*app, "total")));
  }
  return totals;
}

// The text of the next report with this word and with `part` in its text. Others before it are passed over; they stand
// in the timeline.
std::string Director::await(Process& process, const std::string& word, const std::string& part) {
  const Clock::time_point deadline = Clock::now() + kStepPatience;
  std::string text;
  while (!takeUnseen(process, word, part, text)) {
    if (Clock::now() > deadline) {
      throw std::runtime_error(process.child->name() + " did not report \"" + word + "\" in time");
    }
    listen();
  }
  return text;
}

bool Director::takeUnseen(Process& process, const std::string& word, const std::string& part, std::string& text) {
  while (!process.unseen.empty()) {
    const Report report = process.unseen.front();
    process.unseen.pop_front();
    if (report.word == word && report.text.find(part) != std::string::npos) {
      text = report.text;
      return true;
    }
  }
  return false;
}

// The phone with Bluetooth last: it has the bus that the others use.
std::vector<Director::Process*> Director::everybody() {
  std::vector<Process*> all;
  for (Process& process : processes_) {
    all.push_back(&process);
  }
  if (sppPhone_) {
    all.push_back(&*sppPhone_);
  }
  return all;
}

// Takes what the processes report, waiting a while for it.
void Director::listen() {
  const std::vector<Process*> speakers = everybody();
  std::vector<pollfd> outputs;
  outputs.reserve(speakers.size());
  for (const Process* process : speakers) {
    outputs.push_back({process->child->outputFd(), POLLIN, 0});
  }
  poll(outputs.data(), outputs.size(), kListenMs);
  if (interruptSeen() != 0) {
    throw Interrupted();
  }
  std::vector<std::vector<std::string>> lines;
  const Process* dead = nullptr;
  for (const Process* process : speakers) {
    lines.emplace_back();
    if (!process->child->readLines(lines.back())) {
      dead = process;
    }
  }
  hear(speakers, lines);
  if (dead != nullptr) {
    std::vector<std::string> none;
    throw std::runtime_error(dead->child->name() + " has died: it " + dead->child->end(none));
  }
}

// Notes what the speakers said, in the order in which it happened.
void Director::hear(const std::vector<Process*>& speakers, std::vector<std::vector<std::string>>& lines) {
  std::vector<std::pair<Report, Process*>> heard;
  for (std::size_t i = 0; i < speakers.size(); ++i) {
    for (const std::string& line : lines[i]) {
      heard.emplace_back(parseReport(line), speakers[i]);
    }
  }
  std::stable_sort(heard.begin(), heard.end(),
                   [](const auto& left, const auto& right) { return left.first.time < right.first.time; });
  for (const auto& [report, speaker] : heard) {
    if (report.word == "problem") {
      problem(speaker->child->name() + ": " + report.text);
      continue;
    }
    if (isForPeople(report)) {
      timeline_.say(speaker->child->name(), report.text, report.time);
    }
    speaker->unseen.push_back(report);
  }
}

void Director::problem(const std::string& text) {
  timeline_.say("demo", "PROBLEM: " + text);
  summary_.problems.push_back(text);
}

}  // namespace demo
