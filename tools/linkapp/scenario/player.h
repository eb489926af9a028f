// A process of a scenario while it runs: what tells and is told lines.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "loop/loop.h"
#include "loop/process.h"
#include "loop/signals.h"
#include "scenario/scenario.h"
#include "talk/event.h"

namespace scenario {

class Player {
 public:
  struct Listener {
    virtual ~Listener() = default;
    virtual void onLine(const std::string& line) = 0;
    virtual void onEnded(const loop::Ending& ending) = 0;  // it must not destroy the player
  };

  virtual ~Player() = default;
  virtual void tell(const std::string& line) = 0;
  // Closes its input; by force where that does not do.
  virtual void end(text::Duration patience) = 0;
  // False where it cannot be done: a player that is this very process.
  virtual bool signal(int number) = 0;
};

// A child process. Throws std::system_error.
std::unique_ptr<Player> startChild(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments,
                                   Player::Listener& listener);

// A process that is this one: its hub's events, and its own way to obey.
using Obey = std::function<command::Reply(const std::vector<command::Word>& words, std::size_t end)>;
std::unique_ptr<Player> makeLocal(loop::Loop& loop, talk::Hub& hub, Obey obey, Player::Listener& listener);

}  // namespace scenario
