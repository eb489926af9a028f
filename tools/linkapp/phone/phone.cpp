#include "phone/phone.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <memory>

#include "command/words.h"
#include "control/server.h"
#include "phone/commands.h"
#include "phone/options.h"
#include "phone/phone_process.h"
#include "phone/readiness.h"
#include "scenario/bluetooth.h"
#include "scenario/report.h"
#include "scenario/runner.h"
#include "scenario/source.h"
#include "talk/line_console.h"
#include "talk/log_events.h"

namespace phone {
namespace {

// Words of a command that was given as one; quoted, since a keyword cannot stand there.
command::Word quotedWord(const std::string& text) {
  return {text, 1, true};
}

class Runner {
 public:
  explicit Runner(const Options& options)
      : options_(options),
        signals_(loop_, [this](int signal) { end(signal == SIGINT ? 128 + SIGINT : 0); }),
        console_(loop_, hub_,
                 {options.isJson, "phone> ", "phone", [this](const std::string& line) { return complete(line); }},
                 [this](const auto& words, std::size_t end) { return process_->console().obey(words, end); }) {}

  int run() {
    if (options_.scenario.empty() && !options_.isJson && talk::isAtTerminal()) {
      log_ = std::make_unique<talk::LogEvents>(loop_, hub_);
    }
    process_ = std::make_unique<PhoneProcess>(loop_, signals_, hub_, [this] { end(0); });
    if (!options_.control.empty()) {
      control_ = std::make_unique<control::Server>(
          loop_, hub_, options_.control,
          [this](const auto& words, std::size_t end) { return process_->console().obey(words, end); });
    }
    if (!begin()) {
      return 2;
    }
    if (!options_.scenario.empty()) {
      return runScenario();
    }
    tellReadiness();
    hub_.tell({"ready", {{"pid", getpid()}, {"control", options_.control}}});
    console_.listen(STDIN_FILENO, [this] {
      if (options_.control.empty()) {
        end(0);
      }
    });
    loop_.run();
    return code_;
  }

 private:
  bool begin() {
    for (const auto& [launchString, command] : options_.programs) {
      process_->console().obey({quotedWord("app-program"), quotedWord(launchString), quotedWord(command)}, 1);
    }
    for (const std::string& command : options_.commands) {
      if (!console_.take(command)) {
        fprintf(stderr, "linkapp phone: --do '%s' was refused\n", command.c_str());
        return false;
      }
    }
    return true;
  }

  // This process is the file's "phone", whether the file declares it or not.
  int runScenario() {
    const scenario::TemporaryFolder folder;
    scenario::ProcessLine self;
    self.name = "phone";
    self.kind = scenario::kindOf("phone");
    scenario::Scenario file;
    const std::string mistake = scenario::readScenario(options_.scenario, folder, {}, {self}, file);
    if (!mistake.empty()) {
      fprintf(stderr, "%s\n", mistake.c_str());
      return 2;
    }
    const scenario::Bluetooth bluetooth(file, false);
    scenario::Report report(options_.scenario, options_.isJson, false);
    scenario::RunOptions runOptions;
    runOptions.slowness = options_.slowness;
    scenario::Runner runner(loop_, signals_, file, runOptions, report);
    running_ = &runner;
    runner.setLocal(self.name, [this](scenario::Player::Listener& listener) {
      return scenario::makeLocal(
          loop_, hub_, [this](const auto& words, std::size_t end) { return process_->console().obey(words, end); },
          listener);
    });
    const std::string failure = runner.run();
    running_ = nullptr;
    report.finish(failure);
    return code_ != 0 ? code_ : failure.empty() ? 0 : 1;
  }

  std::vector<std::string> complete(const std::string& line) const {
    return commands().complete(line, [this](const std::string& source) { return process_->console().names(source); });
  }

  void end(int code) {
    code_ = code;
    if (running_ != nullptr) {
      running_->interrupt();
    }
    loop_.stop();
  }

  const Options& options_;
  loop::Loop loop_;
  talk::Hub hub_;
  loop::Signals signals_;  // before the channel's thread is started
  talk::LineConsole console_;
  std::unique_ptr<talk::LogEvents> log_;
  std::unique_ptr<PhoneProcess> process_;
  std::unique_ptr<control::Server> control_;
  scenario::Runner* running_ = nullptr;
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
    fprintf(stderr, "linkapp phone: %s\n", error.what());
    return 1;
  }
}

}  // namespace phone
