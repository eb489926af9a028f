#include "demo/director.h"

#include <poll.h>

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

// The service by which phones with Bluetooth SPP would find the application that is open to both kinds.
constexpr const char* kMusicSppUuid = "85d24e4b-f7b4-462f-9bfd-0345ebd35ff6";

Exchange parseExchange(const std::string& app, const std::string& text) {
  Exchange exchange;
  exchange.app = app;
  std::istringstream(text) >> exchange.sent >> exchange.echoed >> exchange.corrupted >> exchange.medianUs >>
      exchange.percentile99Us;
  return exchange;
}

// Reports that only the director needs.
bool isForPeople(const Report& report) {
  return report.word != "round" && report.word != "total";
}

}  // namespace

Director::Director(unsigned int messages, const Timeline& timeline) : timeline_(timeline) {
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
  showPlayingAppAndHandsFree();
  disconnect();
  connectAndLaunch();
  sendOneMore();
  endEverybody();
}

// Every endpoint must exist before traffic starts: one that is constructed later sets the rings back.
void Director::startEverybody() {
  timeline_.say("demo", "starting a device side and two head-unit applications");
  add("device side", {kDeviceSideRole});
  add("navi", {kApplicationRole, "navi", "", ""});
  add("music", {kApplicationRole, "music", "music1", kMusicSppUuid});
  for (Process& process : processes_) {
    await(process, "ready");
  }
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
  const bool isComplete = sendInRounds(summary_.wanted);
  summary_.exchanges = collectTotals();
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
  const bool isComplete = sendInRounds(1);
  for (const Exchange& exchange : collectTotals()) {
    if (!isComplete || exchange.echoed != 1 || exchange.corrupted != 0) {
      problem(exchange.app + ": the message after the reconnection did not come back as it was sent");
    }
  }
  timeline_.say("demo", "one more message each after the reconnection");
}

void Director::endEverybody() {
  std::vector<std::vector<std::string>> lastLines;
  std::vector<Process*> speakers;
  for (Process& process : processes_) {
    speakers.push_back(&process);
    lastLines.emplace_back();
    const std::string ending = process.child->end(lastLines.back());
    if (interruptSeen() != 0) {
      throw Interrupted();
    }
    if (!ending.empty()) {
      problem(process.child->name() + " " + ending);
    }
  }
  hear(speakers, lastLines);
  timeline_.say("demo", "all processes have ended");
}

void Director::add(const std::string& name, const std::vector<std::string>& arguments) {
  processes_.push_back({std::make_unique<Child>(name, arguments), {}});
}

void Director::tellApps(const std::string& command) {
  for (Process* app : apps()) {
    app->child->tell(command);
  }
}

// False where a result or an echo did not come in time.
bool Director::sendInRounds(unsigned int messages) {
  tellApps("begin");
  bool isComplete = true;
  for (unsigned int sent = 0; sent < messages && isComplete; sent += kMessagesPerRound) {
    tellApps("send " + std::to_string(std::min(kMessagesPerRound, messages - sent)));
    for (Process* app : apps()) {
      isComplete = await(*app, "round") == "done" && isComplete;
    }
  }
  return isComplete;
}

std::vector<Exchange> Director::collectTotals() {
  tellApps("total");
  std::vector<Exchange> totals;
  for (Process* app : apps()) {
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

// Takes what the processes report, waiting a while for it.
void Director::listen() {
  std::vector<pollfd> outputs;
  for (const Process& process : processes_) {
    outputs.push_back({process.child->outputFd(), POLLIN, 0});
  }
  poll(outputs.data(), outputs.size(), kListenMs);
  if (interruptSeen() != 0) {
    throw Interrupted();
  }
  std::vector<std::vector<std::string>> lines;
  std::vector<Process*> speakers;
  Process* dead = nullptr;
  for (Process& process : processes_) {
    speakers.push_back(&process);
    lines.emplace_back();
    if (!process.child->readLines(lines.back())) {
      dead = &process;
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
