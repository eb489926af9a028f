#include "record/replay.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <stdexcept>

#include "cli/subcommand.h"
#include "demo/private_settings.h"
#include "demo/private_shm.h"
#include "record/reader.h"
#include "record/replayer.h"

namespace record {
namespace {

struct Options {
  std::string file;
  ReplayOptions replay;
  std::string patience;
  bool isShared = false;
  bool isJson = false;
};

void addOptions(CLI::App& cli, Options& options) {
  cli.add_option("FILE", options.file, "the recording")->required();
  cli.add_option("--speed", options.replay.speed, "times as fast as it was; 1 without it")
      ->type_name("FACTOR")
      ->check(CLI::Range(0.001, 1000.0).description(""));
  cli.add_flag("--as-fast-as-possible", options.replay.isAsFastAsPossible, "leaves no time between the steps");
  cli.add_flag("--start", options.replay.isStarting,
               "starts the applications of the recording, too, in a /dev/shm of its own");
  cli.add_flag("--shared", options.isShared, "with --start: in the machine's /dev/shm");
  cli.add_option("--logs", options.replay.logs, "with --start: a folder for what each application tells, as PID.jsonl")
      ->type_name("FOLDER");
  cli.add_option("--patience", options.patience, "how long to wait for what applications do; 10s without it")
      ->type_name("TIME");
  cli.add_flag("--json", options.isJson, "the result as one line of JSON");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

std::string mistakeIn(Options& options) {
  if (!options.patience.empty()) {
    const auto patience = text::parseDuration(options.patience);
    if (!patience) {
      return "--patience needs a time such as 200ms, 5s or 2min, not '" + options.patience + "'";
    }
    options.replay.patience = *patience;
  }
  if (!options.replay.isStarting && (options.isShared || !options.replay.logs.empty())) {
    return "--shared and --logs belong to --start";
  }
  return "";
}

void tellResult(const Options& options, const Replayer& replayer, const std::vector<std::string>& differences,
                std::chrono::steady_clock::duration passed) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
  if (!options.isJson) {
    for (const std::string& difference : differences) {
      printf("DIFFERENT  %s\n", difference.c_str());
    }
    printf("%s: %zu steps in %.3f s, %zu differences\n", options.file.c_str(), replayer.steps(),
           static_cast<double>(milliseconds) / 1000, differences.size());
    return;
  }
  text::List list;
  for (const std::string& difference : differences) {
    list.push_back({{"text", difference}});
  }
  puts(text::toJson({{"recording", options.file},
                     {"ok", differences.empty()},
                     {"steps", replayer.steps()},
                     {"milliseconds", milliseconds},
                     {"differences", list}})
           .c_str());
}

int replay(Options& options) {
  const std::string mistake = mistakeIn(options);
  if (!mistake.empty()) {
    return cli::tellMistake(replayManual(), mistake);
  }
  const Recording recording = readRecording(options.file);
  const Story story = tellStory(recording);
  if (recording.isDamaged() || story.missed != 0) {
    fprintf(stderr, "linkapp replay: %s is not whole: %llu messages are missing%s\n", options.file.c_str(),
            static_cast<unsigned long long>(story.missed), recording.isDamaged() ? ", and it is damaged" : "");
  }
  std::optional<demo::PrivateSettings> settings;
  if (options.replay.isStarting) {
    std::string reason;
    if (!options.isShared && !demo::enterPrivateShm(reason)) {
      throw std::runtime_error("no /dev/shm of its own (" + reason + "); with --shared it takes the machine's");
    }
    settings.emplace();
  }
  loop::Loop loop;
  Replayer* running = nullptr;
  int interrupt = 0;
  loop::Signals signals(loop, [&](int signal) {
    interrupt = signal;
    if (running != nullptr) {
      running->interrupt();
    }
  });
  const auto begin = std::chrono::steady_clock::now();
  Replayer replayer(loop, signals, story, options.replay, [&](const std::string& text) {
    if (!options.isJson) {
      const auto passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin);
      printf("%8.3f  %s\n", passed.count(), text.c_str());
      fflush(stdout);
    }
  });
  running = &replayer;
  const std::vector<std::string> differences = replayer.run();
  running = nullptr;
  tellResult(options, replayer, differences, std::chrono::steady_clock::now() - begin);
  return interrupt != 0 ? 128 + interrupt : differences.empty() ? 0 : 1;
}

}  // namespace

const cli::Manual& replayManual() {
  static const auto* const manual = new cli::Manual{
      "replay",
      "plays a recording to real applications, and tells what they do differently",
      "Plays a recording of `linkapp record`: it is the device side, and says what the recorded one said, in the same\n"
      "order and with the same times between. Applications are real ones, yours or started by it; what they did in "
      "the\n"
      "recording is waited for, and what they do differently is told.",
      {
          {"linkapp replay --start drive.rec", "with the recording's applications, each started when it was"},
          {"linkapp replay drive.rec", "with applications that you start; no device side may run"},
          {"linkapp replay --start --as-fast-as-possible drive.rec", "as fast as the applications are"},
          {"linkapp replay --start --speed 0.5 --logs out drive.rec", "half as fast; out/PID.jsonl has every callback"},
      },
      {{0, "the applications did what they had done"},
       {1, "something was different, or failed"},
       {2, "wrong usage"},
       {130, "Ctrl-C"}},
      "An application that is no `linkapp app` is started as one that has its name. What applications were told from\n"
      "outside cannot be seen in a recording: a started one is told to send and to launch what it sent and launched.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int runReplay(const std::vector<std::string>& arguments) {
  return cli::run(replayManual(), &addOptions, &replay, arguments);
}

}  // namespace record
