// One process of a scenario over all its runs: what it has told, and what must not come.
#pragma once

#include <cstddef>
#include <deque>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "scenario/player.h"
#include "scenario/scenario.h"

namespace scenario {

class Actor final : public Player::Listener {
 public:
  explicit Actor(const ProcessLine& line) : line_(line) {}

  struct Told {
    std::string event;
    std::string json;
  };

  const ProcessLine& line() const { return line_; }
  bool isRunning() const { return player_ != nullptr && !ending_; }
  bool wasStarted() const { return player_ != nullptr; }
  const std::optional<loop::Ending>& ending() const { return ending_; }
  Player& player() { return *player_; }
  Player* playerOrNull() { return player_.get(); }

  // Forgets the run before. What it tells from now on goes to the file `log`, where that is no empty text, behind what
  // it told in its runs before. Throws std::runtime_error where the file cannot be written.
  void begin(const std::string& log);
  void take(std::unique_ptr<Player> player) { player_ = std::move(player); }

  // The next event behind the last that was taken; none where none has come yet.
  bool takeEvent(const std::string& event, const std::vector<Condition>& conditions);
  // Why the expected event has not come: the nearest miss, and what has come.
  std::string tellNearest(const std::string& event, const std::vector<Condition>& conditions) const;

  // The oldest reply that nobody has taken.
  std::optional<std::string> takeReply();

  // The end of a run was asked for, or has been looked at.
  void allowEnd() { isEndAllowed_ = true; }
  bool hasEndedUnasked() const { return ending_.has_value() && !isEndAllowed_; }

  void forbid(const std::string& event, const std::vector<Condition>& conditions) {
    forbidden_.push_back({event, conditions});
  }
  void allow() { forbidden_.clear(); }
  // The first forbidden event that came; empty where none did.
  const std::string& offence() const { return offence_; }

  std::size_t toldCount() const { return told_.size(); }

  void onLine(const std::string& line) override;
  void onEnded(const loop::Ending& ending) override;

 private:
  struct Forbidden {
    std::string event;
    std::vector<Condition> conditions;
  };

  void note(Told told);

  const ProcessLine& line_;
  std::ofstream log_;
  std::deque<Told> told_;
  std::size_t taken_ = 0;  // of `told_`
  std::deque<std::string> replies_;
  std::vector<Forbidden> forbidden_;
  std::string offence_;
  std::optional<loop::Ending> ending_;
  bool isEndAllowed_ = false;
  std::unique_ptr<Player> player_;  // last: it may call during its end
};

}  // namespace scenario
