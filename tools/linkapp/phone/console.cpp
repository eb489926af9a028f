#include "phone/console.h"

#include <errno.h>

#include <system_error>
#include <utility>

#include "phone/commands.h"
#include "phone/script_app.h"
#include "text/file.h"

namespace phone {
namespace {

using command::Call;
using command::Reply;

constexpr std::chrono::seconds kUsualDelay{1};

Reply replyTo(const std::string& refusal) {
  return refusal.empty() ? Reply::done() : Reply::refused(refusal);
}

Link linkOf(const Call& call) {
  return call.text("link") == "usb" ? Link::kUsb : Link::kBluetooth;
}

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

Burst burstOf(const Call& call, unsigned int usualRate) {
  Burst burst;
  burst.count = static_cast<std::uint32_t>(call.number("count"));
  burst.size = static_cast<std::size_t>(call.number("size", 64));
  burst.perSecond = static_cast<unsigned int>(call.number("rate", usualRate));
  return burst;
}

text::List listOf(const std::vector<HeadUnitApp>& apps) {
  text::List list;
  for (const HeadUnitApp& app : apps) {
    list.push_back({{"app", app.appId},
                    {"name", app.name},
                    {"launch", app.launchString},
                    {"iap1-name", app.iap1Name},
                    {"iap1-id", app.iap1Id}});
  }
  return list;
}

}  // namespace

Console::Console(loop::Loop& loop, SimulatedPhone& phone, DeviceSide& side, ProgramHost& programs,
                 std::function<void()> quit)
    : loop_(loop), phone_(phone), side_(side), programs_(programs), quit_(std::move(quit)) {
  addLinkHandlers();
  addSessionHandlers();
  addAnswerHandlers();
  addAppHandlers();
  addViewHandlers();
}

Reply Console::obey(const Call& call) {
  return handlers_.at(call.name)(call);
}

Reply Console::obey(const std::vector<command::Word>& words, std::size_t end) {
  Call call;
  command::Mistake mistake;
  if (!commands().parse(words, end, call, mistake)) {
    Reply reply = Reply::refused(mistake.text);
    reply.column = mistake.column;
    return reply;
  }
  return obey(call);
}

Reply Console::obey(const std::string& line) {
  std::vector<command::Word> words;
  std::size_t end = 0;
  command::Mistake mistake;
  if (!command::splitWords(line, words, end, mistake)) {
    Reply reply = Reply::refused(mistake.text);
    reply.column = mistake.column;
    return reply;
  }
  return obey(words, end);
}

std::vector<std::string> Console::names(const std::string& source) const {
  if (source == "app") {
    return phone_.launchStrings();
  }
  if (source == "command") {
    return commands().names();
  }
  std::vector<std::string> open;
  if (source == "session") {
    for (const text::Fields& session : phone_.sessionList()) {
      for (const text::Field& field : session) {
        if (field.name == "launch") {
          open.push_back(std::get<std::string>(field.value.get()));
        }
      }
    }
  }
  return open;
}

void Console::addLinkHandlers() {
  handlers_["plug"] = [this](const Call& call) {
    return replyTo(phone_.plug(linkOf(call), call.text("iap") == "iap1" ? Generation::kIap1 : Generation::kIap2));
  };
  handlers_["unplug"] = [this](const Call&) { return replyTo(phone_.unplug()); };
  handlers_["switch"] = [this](const Call& call) { return replyTo(phone_.switchTo(linkOf(call))); };
  handlers_["reboot"] = [this](const Call& call) {
    return replyTo(phone_.reboot(call.duration("downtime", kUsualDelay)));
  };
  handlers_["hands-free"] = [this](const Call& call) {
    return replyTo(phone_.setHandsFree(call.text("state") == "up", parseAddress(call.text("address"))));
  };
  handlers_["play"] = [this](const Call& call) { return replyTo(phone_.play(call.text("name"))); };
  handlers_["stop-playing"] = [this](const Call&) { return replyTo(phone_.play("")); };
}

void Console::addSessionHandlers() {
  handlers_["open"] = [this](const Call& call) { return replyTo(phone_.open(call.text("app"))); };
  handlers_["close"] = [this](const Call& call) { return replyTo(phone_.close(call.text("app"))); };
  handlers_["send"] = [this](const Call& call) {
    return replyTo(phone_.sendFromApp(call.text("app"), bytesOf(call.text("text"))));
  };
  handlers_["send-hex"] = [this](const Call& call) {
    return replyTo(phone_.sendFromApp(call.text("app"), call.bytes("bytes")));
  };
  handlers_["burst"] = [this](const Call& call) {
    return replyTo(phone_.burstFromApp(call.text("app"), burstOf(call, 0)));
  };
}

void Console::addAnswerHandlers() {
  handlers_["launches"] = [this](const Call& call) {
    LaunchPolicy policy;
    const std::string answer = call.text("answer");
    policy.kind = answer == "accept"   ? LaunchPolicy::Kind::kAccept
                  : answer == "refuse" ? LaunchPolicy::Kind::kRefuse
                                       : LaunchPolicy::Kind::kSlow;
    if (call.has("delay") && answer != "slow") {
      return Reply::refused("'after' belongs to slow");
    }
    policy.delay = call.duration("delay", kUsualDelay);
    phone_.setLaunches(call.text("app", kAnyLaunchString), policy);
    return Reply::done();
  };
  handlers_["results"] = [this](const Call& call) {
    ResultPolicy policy;
    const std::string outcome = call.text("outcome");
    policy.kind = outcome == "success"   ? ResultPolicy::Kind::kSuccess
                  : outcome == "failure" ? ResultPolicy::Kind::kFailure
                  : outcome == "late"    ? ResultPolicy::Kind::kLate
                                         : ResultPolicy::Kind::kNone;
    if (call.has("delay") && outcome != "late") {
      return Reply::refused("'after' belongs to late");
    }
    policy.delay = call.duration("delay", kUsualDelay);
    phone_.setResults(call.text("app", kAnyLaunchString), policy);
    return Reply::done();
  };
}

void Console::addAppHandlers() {
  handlers_["app-echo"] = [this](const Call& call) {
    phone_.install(call.text("app"), echoApp());
    return Reply::done();
  };
  handlers_["app-sink"] = [this](const Call& call) {
    phone_.install(call.text("app"), sinkApp());
    return Reply::done();
  };
  handlers_["app-source"] = [this](const Call& call) {
    phone_.install(call.text("app"), sourceApp(loop_, burstOf(call, 10)));
    return Reply::done();
  };
  handlers_["app-script"] = [this](const Call& call) { return installScript(call); };
  handlers_["app-program"] = [this](const Call& call) {
    phone_.install(call.text("app"), programs_.app(call.text("command")));
    return Reply::done();
  };
  handlers_["app-remove"] = [this](const Call& call) { return replyTo(phone_.remove(call.text("app"))); };
}

Reply Console::installScript(const Call& call) {
  const std::string name = call.text("file");
  std::string script;
  if (!text::readFile(name, script)) {
    return Reply::refused(name + ": " + std::generic_category().message(errno));
  }
  std::vector<ScriptLine> lines;
  std::size_t line = 0;
  command::Mistake mistake;
  if (!parseScript(script, lines, line, mistake)) {
    return Reply::refused(name + ":" + std::to_string(line) + ":" + std::to_string(mistake.column) + ": " +
                          mistake.text);
  }
  phone_.install(call.text("app"), scriptApp(loop_, name, std::move(lines)));
  return Reply::done();
}

void Console::addViewHandlers() {
  handlers_["state"] = [this](const Call&) { return Reply::done(phone_.state()); };
  handlers_["sessions"] = [this](const Call&) { return Reply::done({{"sessions", phone_.sessionList()}}); };
  handlers_["apps"] = [this](const Call&) { return Reply::done({{"apps", listOf(side_.apps())}}); };
  handlers_["installed"] = [this](const Call&) { return Reply::done({{"installed", phone_.installedList()}}); };
  handlers_["announce"] = [this](const Call&) {
    side_.announce();
    return Reply::done();
  };
  handlers_["events"] = [](const Call&) { return Reply::done(); };
  handlers_["help"] = [](const Call& call) {
    const std::string text = call.has("command") ? commands().help(call.text("command")) : commands().help();
    return text.empty() ? Reply::refused("unknown command '" + call.text("command") + "'")
                        : Reply::done({{"help", text}});
  };
  handlers_["quit"] = [this](const Call&) {
    quit_();
    return Reply::done();
  };
}

}  // namespace phone
