#include "reset/reset.h"

#include <cstdio>

#include "cli/subcommand.h"
#include "reset/attached.h"
#include "reset/clearing.h"
#include "reset/segments.h"
#include "text/fields.h"

namespace reset {
namespace {

struct Options {
  bool isOnlyLooking = false;
  bool isJson = false;
};

int finish(const Options& options, const text::Fields& fields, const std::string& text, int code) {
  printf("%s\n", options.isJson ? text::toJson(fields).c_str() : text.c_str());
  return code;
}

int tellAttached(const Options& options, const std::vector<AttachedProcess>& attached) {
  std::string text = "linkapp reset: " + std::to_string(attached.size()) +
                     (attached.size() == 1 ? " process uses" : " processes use") + " the channel; nothing was changed";
  text::List list;
  for (const AttachedProcess& process : attached) {
    list.push_back({{"pid", process.pid}, {"name", process.name}, {"command", process.command}});
    text += "\n  " + std::to_string(process.pid) + "  " + (process.command.empty() ? process.name : process.command);
  }
  return finish(options, {{"ok", false}, {"attached", list}}, text, 1);
}

int tellCleared(const Options& options, const Outcome& outcome) {
  const std::string places = std::to_string(outcome.places) + (outcome.places == 1 ? " place" : " places");
  std::string text = "nothing to clear: there is no channel";
  if (outcome.isCleared) {
    text = std::to_string(outcome.segments) + " segments cleared, " + places + " of the registration table free again";
  } else if (outcome.segments != 0) {
    text = "nobody uses the channel; " + places + " of the registration table would be free again";
  }
  text::Fields fields = {
      {"ok", true}, {"segments", outcome.segments}, {"places", outcome.places}, {"cleared", outcome.isCleared}};
  text::List refused;
  for (const std::string& object : outcome.refused) {
    text += "\n" + object + ", which every process refused, " +
            (outcome.isCleared ? "is blank; the next process makes it anew" : "would be made blank");
    refused.push_back({{"name", object}});
  }
  if (!refused.empty()) {
    fields.push_back({"refused", refused});
  }
  return finish(options, fields, text, 0);
}

void addOptions(CLI::App& cli, Options& options) {
  cli.add_flag("--check", options.isOnlyLooking, "only looks");
  cli.add_flag("--json", options.isJson, "one line of JSON on standard output");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

int clearAndTell(const Options& options) {
  const Outcome outcome = clearChannel(options.isOnlyLooking, [] { return attachedProcesses(channelObjects()); });
  return outcome.attached.empty() ? tellCleared(options, outcome) : tellAttached(options, outcome.attached);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "reset",
      "clears the channel when nobody uses it: the registration table is empty again",
      "Clears the channel's shared segments when nobody uses them: the 20 places of the registration table are free\n"
      "again. Locks and log whose headers are damaged, or of another version, are made blank, so that the next "
      "process\n"
      "makes them anew. Otherwise says who uses them, and changes nothing.",
      {
          {"linkapp reset", "clears, or lists the processes that stand in the way"},
          {"linkapp reset --check", "only looks"},
          {"linkapp reset --json", "one line of JSON"},
      },
      {{0, "cleared, or nothing was there"}, {1, "somebody uses the channel, or it failed"}, {2, "wrong usage"}},
      "The segments' locks are held meanwhile, so a process that attaches at this moment waits, and finds a cleared\n"
      "channel. Processes of other users are found by root, and as far as the notifier's table of 64 lists them.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& arguments) {
  return cli::run(manual(), &addOptions, &clearAndTell, arguments);
}

}  // namespace reset
