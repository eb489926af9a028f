#include "record/record.h"

#include <signal.h>
#include <time.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "cli/subcommand.h"
#include "inspect/columns.h"
#include "record/pcapng.h"
#include "record/perfetto.h"
#include "record/reader.h"
#include "record/recorder.h"
#include "record/show.h"
#include "record/story.h"
#include "record/to_scenario.h"
#include "record/writer.h"

namespace record {
namespace {

constexpr std::uint64_t kUsualLimit = std::uint64_t{64} * 1024 * 1024;
constexpr std::uint64_t kMostLimit = std::uint64_t{1} << 36U;
constexpr double kNanosecondsPerSecond = 1e9;

struct Options {
  std::string file;
  std::string limit;
  std::uint64_t limitBytes = kUsualLimit;
  std::optional<double> seconds;
  bool isInfo = false;
  bool isPrint = false;
  bool isJson = false;
  bool isScenario = false;
  std::string format;  // of an export
  std::string output;
};

void addOptions(CLI::App& cli, Options& options) {
  cli.add_option("FILE", options.file, "the recording")->required();
  cli.add_option("--limit", options.limit, "the file's greatest size, with K, M or G; 64M without it. The oldest goes")
      ->type_name("SIZE");
  cli.add_option("--for", options.seconds, "ends after so many seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.001, 1e9).description(""));
  cli.add_flag("--info", options.isInfo, "records nothing, but tells what is in the file");
  cli.add_flag("--print", options.isPrint, "records nothing, but prints the file, a line for each entry");
  cli.add_flag("--json", options.isJson, "the same as lines of JSON; with --info one line");
  cli.add_flag("--to-scenario", options.isScenario, "makes a scenario file of it");
  cli.add_option("--export", options.format, "makes a file for the Perfetto viewer, or for Wireshark (pcapng)")
      ->type_name("FORMAT")
      ->check(cli::oneOf({"perfetto", "pcapng"}));
  cli.add_option("-o,--output", options.output, "where that goes; standard output without it")->type_name("OUT");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

// "512K"; none for anything else.
std::optional<std::uint64_t> parseSize(const std::string& text) {
  std::size_t digits = 0;
  std::uint64_t value = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9' && value <= kMostLimit) {
    value = 10 * value + static_cast<std::uint64_t>(text[digits++] - '0');
  }
  const std::string unit = text.substr(digits);
  const unsigned int shift = unit == "K" ? 10U : unit == "M" ? 20U : unit == "G" ? 30U : 0U;
  const bool isUnit = shift != 0 || unit.empty();
  if (digits == 0 || !isUnit || value > kMostLimit >> shift) {
    return std::nullopt;
  }
  return value << shift;
}

std::string mistakeIn(Options& options) {
  const int readings = (options.isInfo ? 1 : 0) + (options.isPrint ? 1 : 0) + (options.isScenario ? 1 : 0) +
                       (options.format.empty() ? 0 : 1);
  if (readings > 1) {
    return "--info, --print, --to-scenario and --export exclude each other";
  }
  if (!options.output.empty() && !options.isScenario && options.format.empty()) {
    return "--output is for --to-scenario and --export";
  }
  if ((readings != 0 || options.isJson) && (options.seconds || !options.limit.empty())) {
    return "--limit and --for are for recording";
  }
  if (!options.limit.empty()) {
    const auto limit = parseSize(options.limit);
    if (!limit || *limit < Writer::kLeastLimit) {
      return "--limit needs a size of 512K to 64G, not '" + options.limit + "'";
    }
    options.limitBytes = *limit;
  }
  return "";
}

// SIGINT and its like end a recording in the middle of its pause, and never in the middle of a write.
class Interrupt {
 public:
  Interrupt() {
    sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&signals_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }

  // 0, or the signal that came meanwhile.
  int wait(std::chrono::microseconds pause) const {
    const timespec time = {static_cast<time_t>(pause.count() / 1'000'000),
                           static_cast<long>(pause.count() % 1'000'000 * 1000)};
    const int signal = sigtimedwait(&signals_, nullptr, &time);
    return signal > 0 ? signal : 0;
  }

 private:
  sigset_t signals_ = {};
};

// Told once for each burst: with the first look that missed something after one that missed nothing.
class LossTeller {
 public:
  void take(const Recorder::Look& look) {
    total_.messages += look.messages;
    total_.missed += look.missed;
    total_.contents += look.contents;
    const bool isLoss = look.missed != 0;
    if (isLoss && !isInBurst_) {
      fprintf(stderr, "linkapp record: too slow: messages were gone before they could be recorded\n");
    }
    isInBurst_ = isLoss;
  }
  const Recorder::Look& total() const { return total_; }

 private:
  Recorder::Look total_;
  bool isInBurst_ = false;
};

int recordInto(const Options& options) {
  const Interrupt interrupt;
  Writer writer(options.file, options.limitBytes);
  Recorder recorder(writer, {});
  printf("recording to %s; Ctrl-C ends\n", options.file.c_str());
  fflush(stdout);
  const std::uint64_t begin = clockNow().monotonic;
  LossTeller losses;
  int signal = 0;
  for (bool isOver = false; !isOver;) {
    losses.take(recorder.look());
    const std::uint64_t passed = clockNow().monotonic - begin;
    isOver = options.seconds && static_cast<double>(passed) >= *options.seconds * kNanosecondsPerSecond;
    signal = isOver ? 0 : interrupt.wait(recorder.pause());
    isOver = isOver || signal != 0;
  }
  losses.take(recorder.look());
  recorder.end(signal == 0 ? "ended after the time that was asked for" : "ended as asked");
  printf(
      "%llu messages recorded, %llu missed, %llu without certain contents, in %s\n",
      static_cast<unsigned long long>(losses.total().messages), static_cast<unsigned long long>(losses.total().missed),
      static_cast<unsigned long long>(losses.total().contents), inspect::ageText(clockNow().monotonic - begin).c_str());
  return signal == SIGINT ? 128 + SIGINT : 0;
}

// Entry by entry, so that a large file needs no memory.
int print(const Options& options) {
  Reader reader(options.file);
  Teller teller;
  reader.read([&](const Entry& entry, const Reader::Where& where) {
    const std::string line = options.isJson ? text::toJson(teller.fields(entry, where)) : teller.line(entry, where);
    const auto* const seen = std::get_if<MessageSeen>(&entry);
    const bool isNews = seen == nullptr || !seen->message.isForNobody;  // people need not see registrations
    if (isNews || options.isJson) {
      puts(line.c_str());
    }
  });
  for (const Damage& damage : reader.damages()) {
    fprintf(stderr, "linkapp record: %s: at byte %llu: %s%s\n", options.file.c_str(),
            static_cast<unsigned long long>(damage.offset), damage.text.c_str(), damage.isTornEnd ? " (torn end)" : "");
  }
  return reader.isDamaged() ? 1 : 0;
}

int showInfo(const Options& options) {
  Reader reader(options.file);
  const std::string text =
      options.isJson ? text::toJson(infoFields(reader, options.file)) + "\n" : infoText(reader, options.file);
  fputs(text.c_str(), stdout);
  return reader.isDamaged() ? 1 : 0;
}

int writeOut(const Options& options, const std::string& content) {
  if (options.output.empty()) {
    std::cout << content << std::flush;
    return std::cout.good() ? 0 : 1;
  }
  std::ofstream file(options.output, std::ios::binary | std::ios::trunc);
  file << content << std::flush;
  if (!file.good()) {
    throw std::runtime_error(options.output + ": it cannot be written");
  }
  return 0;
}

int writeScenario(const Options& options) {
  const Story story = tellStory(readRecording(options.file));
  return writeOut(options, toScenario(story, "Made from the recording " + options.file + "."));
}

int exportTo(const Options& options) {
  const Recording recording = readRecording(options.file);
  if (options.format == "perfetto") {
    return writeOut(options, toPerfetto(recording));
  }
  const std::vector<std::uint8_t> bytes = toPcapng(recording);
  return writeOut(options, std::string(bytes.begin(), bytes.end()));
}

int recordOrShow(Options& options) {
  const std::string mistake = mistakeIn(options);
  if (!mistake.empty()) {
    return cli::tellMistake(manual(), mistake);
  }
  if (options.isInfo) {
    return showInfo(options);
  }
  if (options.isScenario) {
    return writeScenario(options);
  }
  if (!options.format.empty()) {
    return exportTo(options);
  }
  return options.isPrint || options.isJson ? print(options) : recordInto(options);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "record",
      "records all notifications and ring contents; shows and converts recordings",
      "Records what passes through the channel into one file of bounded size: every notification in order, with "
      "times,\n"
      "processes and ring contents. It only looks; started, stopped or killed it has no effect on anyone, and what it\n"
      "wrote stays readable.",
      {
          {"linkapp record drive.rec", "records until Ctrl-C, the last 64 MB"},
          {"linkapp record drive.rec --limit 1G --for 600", "ten minutes, at most 1 GB"},
          {"linkapp record --info drive.rec", "what is in it: times, processes, apps, gaps"},
          {"linkapp record --to-scenario drive.rec -o drive.scn", "a file for `linkapp scenario`"},
          {"linkapp record --export perfetto drive.rec -o drive.json", "a trace for https://ui.perfetto.dev"},
          {"linkapp record --export pcapng drive.rec -o drive.pcapng",
           "for Wireshark with tools/wireshark/linkapp.lua"},
          {"linkapp record --print drive.rec", "a line for each entry; --json for programs"},
      },
      {{0, "recorded, or shown"}, {1, "failed, or the file is damaged"}, {2, "wrong usage"}, {130, "Ctrl-C"}},
      "docs/recording-format.md has the file's layout. A ring message is there for 40 messages only: on a busy "
      "machine\n"
      "some contents are overwritten before they can be copied, and the recording says which.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& arguments) {
  return cli::run(manual(), &addOptions, &recordOrShow, arguments);
}

}  // namespace record
