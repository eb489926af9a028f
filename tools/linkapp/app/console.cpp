#include "app/console.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "app/commands.h"

namespace app {
namespace {

using command::Call;
using command::Reply;

constexpr unsigned char kFirstIosDevice = 1;

Reply replyTo(const std::string& refusal) {
  return refusal.empty() ? Reply::done() : Reply::refused(refusal);
}

Reply acceptance(const std::string& refusal, bool isAccepted) {
  return refusal.empty() ? Reply::done({{"accepted", isAccepted}}) : Reply::refused(refusal);
}

const text::Value* find(const text::Fields& fields, const std::string& name) {
  for (const text::Field& field : fields) {
    if (field.name == name) {
      return &field.value;
    }
  }
  return nullptr;
}

}  // namespace

Console::Console(Application& application, std::function<void()> quit)
    : application_(application), quit_(std::move(quit)) {
  addMessageHandlers();
  addSppHandlers();
  addListenerHandlers();
  addViewHandlers();
}

Reply Console::obey(const std::vector<command::Word>& words, std::size_t end) {
  Call call;
  command::Mistake mistake;
  if (!commands().parse(words, end, call, mistake)) {
    Reply reply = Reply::refused(mistake.text);
    reply.column = mistake.column;
    return reply;
  }
  return handlers_.at(call.name)(call);
}

std::vector<std::string> Console::names(const std::string& source) const {
  std::vector<std::string> all;
  if (source == "command") {
    all = commands().names();
  } else if (source == "device") {
    for (const text::Fields& device : application_.deviceList()) {
      all.push_back(std::to_string(std::get<std::int64_t>(find(device, "device")->get())));
    }
  }
  return all;
}

unsigned char Console::deviceOf(const Call& call, bool isIos) const {
  return call.has("device") ? static_cast<unsigned char>(call.number("device"))
                            : application_.lastDevice(isIos).value_or(isIos ? kFirstIosDevice : 0);
}

void Console::addMessageHandlers() {
  handlers_["launch"] = [this](const Call& call) {
    bool isAccepted = false;
    const bool isAsking = call.text("method") != "no-alert";
    const std::string refusal = application_.launch(deviceOf(call, true), isAsking, isAccepted);
    return acceptance(refusal, isAccepted);
  };
  handlers_["send"] = [this](const Call& call) {
    bool isAccepted = false;
    const std::string text = call.text("text");
    const std::string refusal = application_.send({text.begin(), text.end()}, isAccepted);
    return acceptance(refusal, isAccepted);
  };
  handlers_["send-hex"] = [this](const Call& call) {
    bool isAccepted = false;
    const std::string refusal = application_.send(call.bytes("bytes"), isAccepted);
    return acceptance(refusal, isAccepted);
  };
  handlers_["send-file"] = [this](const Call& call) {
    try {
      const auto size = static_cast<std::size_t>(call.number("size", static_cast<std::int64_t>(kLongestMessage)));
      return sendFrom(std::make_unique<FileSource>(call.text("file"), size), call);
    } catch (const std::runtime_error& error) {
      return Reply::refused(error.what());
    }
  };
  handlers_["burst"] = [this](const Call& call) {
    const auto count = static_cast<std::uint32_t>(call.number("count"));
    const auto size = static_cast<std::size_t>(call.number("size", 64));
    return sendFrom(std::make_unique<PatternSource>(count, size), call);
  };
  handlers_["stop-sending"] = [this](const Call&) {
    application_.stopSending();
    return Reply::done();
  };
  handlers_["echo"] = [this](const Call& call) {
    application_.setEcho(call.text("echo") == "on");
    return Reply::done();
  };
}

Reply Console::sendFrom(std::unique_ptr<Source> source, const Call& call) {
  Pace pace;
  pace.window = static_cast<std::uint32_t>(call.number("window", pace.window));
  pace.perSecond = static_cast<unsigned int>(call.number("rate"));
  return replyTo(application_.startSending(std::move(source), pace));
}

void Console::addSppHandlers() {
  using SppRequest = Application::SppRequest;
  handlers_["spp-standby"] = [this](const Call& call) { return requestSpp(SppRequest::kStandby, call); };
  handlers_["spp-connect"] = [this](const Call& call) { return requestSpp(SppRequest::kConnect, call); };
  handlers_["spp-disconnect"] = [this](const Call& call) { return requestSpp(SppRequest::kDisconnect, call); };
  handlers_["spp-auto"] = [this](const Call& call) {
    return requestSpp(call.text("auto") == "start" ? SppRequest::kAutoStart : SppRequest::kAutoStop, call);
  };
}

Reply Console::requestSpp(Application::SppRequest request, const Call& call) {
  bool isAccepted = false;
  const std::string refusal = application_.requestSpp(request, deviceOf(call, false), isAccepted);
  return acceptance(refusal, isAccepted);
}

void Console::addListenerHandlers() {
  handlers_["listen"] = [this](const Call& call) { return replyTo(application_.listen(partOf(call.text("part")))); };
  handlers_["unlisten"] = [this](const Call& call) {
    return replyTo(application_.unlisten(partOf(call.text("part"))));
  };
}

void Console::addViewHandlers() {
  handlers_["state"] = [this](const Call&) { return Reply::done(application_.state()); };
  handlers_["devices"] = [this](const Call&) { return Reply::done({{"devices", application_.deviceList()}}); };
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

}  // namespace app
