#include "app/app.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "app/application.h"
#include "app/commands.h"
#include "app/console.h"
#include "app/delivery.h"
#include "app/options.h"
#include "app/registration.h"
#include "control/server.h"
#include "loop/signals.h"
#include "talk/line_console.h"
#include "talk/log_events.h"

namespace app {
namespace {

constexpr const char* kFullAdvice =
    "all places of the registration table are taken, also those of applications that have ended; without one this "
    "application can neither launch nor send: stop everything that uses the channel and run `linkapp reset`";

bool isCallback(const talk::Event& event) {
  return event.name.compare(0, 2, "on") == 0;
}

class Runner {
 public:
  explicit Runner(const Options& options)
      : options_(options),
        signals_(loop_, [this](int signal) { end(codeOf(signal)); }),
        lines_(loop_, hub_,
               {options.isJson, options.setup.name + "> ", "app",
                [this](const std::string& line) { return complete(line); }},
               [this](const auto& words, std::size_t end) { return console_->obey(words, end); }) {}

  int run() {
    if (options_.takesCommands && !options_.isJson && talk::isAtTerminal()) {
      log_ = std::make_unique<talk::LogEvents>(loop_, hub_);
    }
    application_ = std::make_unique<Application>(loop_, options_.setup, [this](const talk::Event& event) {
      if (!options_.isQuiet || !isCallback(event)) {
        hub_.tell(event);
      }
    });
    console_ = std::make_unique<Console>(*application_, [this] { end(0); });
    if (!options_.control.empty()) {
      control_ = std::make_unique<control::Server>(
          loop_, hub_, options_.control,
          [this](const auto& words, std::size_t end) { return console_->obey(words, end); });
    }
    hub_.tell({"ready",
               {{"pid", getpid()},
                {"name", options_.setup.name},
                {"launch", options_.setup.launchString},
                {"app", application_->appId()},
                {"registered", application_->appId() != 0}}});
    if (!tellWhetherRegistered() && !options_.takesCommands) {
      return 1;
    }
    for (const std::string& command : options_.commands) {
      if (!lines_.take(command)) {
        fprintf(stderr, "linkapp app: --do '%s' was refused\n", command.c_str());
        return 2;
      }
    }
    return options_.takesCommands ? obey() : deliver();
  }

 private:
  // False where it should be in the table and is not.
  bool tellWhetherRegistered() {
    if (!application_->isForIos() || application_->appId() != 0) {
      return true;
    }
    if (takenPlaces() == tablePlaces()) {
      hub_.tell({"registration-full", {{"places", tablePlaces()}, {"advice", kFullAdvice}}});
    } else {
      hub_.tell({"problem", {{"text", "the registration table cannot be used; the log says why"}}});
    }
    return false;
  }

  int obey() {
    lines_.listen(STDIN_FILENO, [this] {
      if (options_.control.empty()) {
        end(0);
      }
    });
    loop_.run();
    return code_;
  }

  int deliver() {
    const Delivery delivery(loop_, *application_, options_, [this](const std::string& failure) {
      hub_.tell({"done", application_->tally().fields()});
      if (!failure.empty()) {
        fprintf(stderr, "linkapp app: %s\n", failure.c_str());
      }
      end(failure.empty() ? 0 : 1);
    });
    loop_.run();
    return code_;
  }

  std::vector<std::string> complete(const std::string& line) const {
    return commands().complete(line, [this](const std::string& source) { return console_->names(source); });
  }

  // To be asked to end is the usual end of whoever takes commands, and an early one of whoever has something to send.
  int codeOf(int signal) const { return signal == SIGINT || !options_.takesCommands ? 128 + signal : 0; }

  void end(int code) {
    code_ = code;
    loop_.stop();
  }

  const Options& options_;
  loop::Loop loop_;
  talk::Hub hub_;
  loop::Signals signals_;  // before the channel's threads are started
  talk::LineConsole lines_;
  std::unique_ptr<talk::LogEvents> log_;
  std::unique_ptr<Application> application_;
  std::unique_ptr<Console> console_;
  std::unique_ptr<control::Server> control_;
  int code_ = 0;
};

}  // namespace

int run(const std::vector<std::string>& arguments) {
  Options options;
  bool isOver = false;
  const int code = parseOptions(arguments, options, isOver);
  if (isOver) {
    return code;
  }
  try {
    return Runner(options).run();
  } catch (const std::exception& error) {
    fprintf(stderr, "linkapp app: %s\n", error.what());
    return 1;
  }
}

}  // namespace app
