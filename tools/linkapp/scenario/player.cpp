#include "scenario/player.h"

#include <utility>

#include "loop/lines.h"

namespace scenario {
namespace {

// A process that tells more than this in one line is not understood anyway.
constexpr std::size_t kLongestLine = std::size_t{1024} * 1024;

class ChildPlayer final : public Player, private loop::Process::Listener {
 public:
  ChildPlayer(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments,
              Player::Listener& listener)
      : listener_(listener), lines_(kLongestLine), process_(loop, signals, {arguments, {}}, *this) {}

  void tell(const std::string& line) override { process_.write(line + "\n"); }
  void end(text::Duration patience) override { process_.end(patience); }
  bool signal(int number) override {
    process_.signal(number);
    return true;
  }

 private:
  void onOutput(const char* data, std::size_t size) override {
    const auto take = [this](const std::string& line) {
      listener_.onLine(line);
      return true;
    };
    for (bool isGood = lines_.add(data, size, take); !isGood; isGood = lines_.go(take)) {
      listener_.onLine("a line of more than " + std::to_string(kLongestLine) + " bytes");
    }
  }
  void onEnded(const loop::Ending& ending) override {
    const std::string last = lines_.takePartial();
    if (!last.empty()) {
      listener_.onLine(last);
    }
    listener_.onEnded(ending);
  }

  Player::Listener& listener_;
  loop::Lines lines_;
  loop::Process process_;
};

class LocalPlayer final : public Player {
 public:
  LocalPlayer(loop::Loop& loop, talk::Hub& hub, Obey obey, Player::Listener& listener)
      : loop_(loop), hub_(hub), obey_(std::move(obey)), listener_(listener) {
    hubId_ = hub_.add([this](const talk::Event& event) { listener_.onLine(talk::toJsonLine(event)); });
    listener_.onLine(talk::toJsonLine({"ready", {}}));
  }
  ~LocalPlayer() override {
    *isAlive_ = false;
    hub_.remove(hubId_);
  }
  LocalPlayer(const LocalPlayer&) = delete;
  LocalPlayer& operator=(const LocalPlayer&) = delete;

  // In the loop's turn, as a line that comes to a process.
  void tell(const std::string& line) override {
    loop_.post([this, isAlive = isAlive_, line] {
      std::vector<command::Word> words;
      std::size_t end = 0;
      command::Mistake mistake;
      if (*isAlive && command::splitWords(line, words, end, mistake) && !words.empty()) {
        listener_.onLine(talk::toJsonLine(words[0].text, obey_(words, end)));
      }
    });
  }
  void end(text::Duration /*patience*/) override {}
  bool signal(int /*number*/) override { return false; }

 private:
  loop::Loop& loop_;
  talk::Hub& hub_;
  const Obey obey_;
  Player::Listener& listener_;
  talk::Hub::Id hubId_ = 0;
  const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

}  // namespace

std::unique_ptr<Player> startChild(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments,
                                   Player::Listener& listener) {
  return std::make_unique<ChildPlayer>(loop, signals, arguments, listener);
}

std::unique_ptr<Player> makeLocal(loop::Loop& loop, talk::Hub& hub, Obey obey, Player::Listener& listener) {
  return std::make_unique<LocalPlayer>(loop, hub, std::move(obey), listener);
}

}  // namespace scenario
