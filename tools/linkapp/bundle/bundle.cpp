#include "bundle/bundle.h"

#include <time.h>

#include <cstdio>

#include "bundle/archive.h"
#include "bundle/contents.h"
#include "cli/subcommand.h"

namespace bundle {
namespace {

struct Options {
  std::string path;
  bool hasPayloads = false;
};

void addOptions(CLI::App& cli, Options& options) {
  cli.add_option("-o,--output", options.path, "the file; linkapp-bundle-TIME.tar.gz without it")->type_name("FILE");
  cli.add_flag("--with-payloads", options.hasPayloads,
               "with what applications and phones have sent each other, as far as it is still there");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

std::string nameOfNow() {
  const time_t now = time(nullptr);
  tm parts = {};
  localtime_r(&now, &parts);
  char text[32];
  const std::size_t length = strftime(text, sizeof text, "%Y%m%d-%H%M%S", &parts);
  return "linkapp-bundle-" + std::string(text, length);
}

int make(const Options& options) {
  const std::string name = nameOfNow();
  const std::string path = options.path.empty() ? name + ".tar.gz" : options.path;
  const doctor::Places places;
  Archive archive(path);
  for (const File& file : contentsOf(doctor::examine(places), places, options.hasPayloads)) {
    archive.add(name + "/" + file.name, file.content);
  }
  archive.finish();
  printf("%s\n", path.c_str());
  return 0;
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "bundle",
      "one file for whoever is to help: versions, status, doctor's report, last notifications",
      "Writes an archive (.tar.gz) with the versions of everything, `linkapp status` and `linkapp doctor` as text and\n"
      "JSON, the last notifications, and what the channel's processes have mapped. What applications and phones have\n"
      "sent each other is not in it unless it is asked for.",
      {
          {"linkapp bundle", "linkapp-bundle-TIME.tar.gz in this folder"},
          {"linkapp bundle -o /tmp/report.tar.gz", "under this name"},
          {"linkapp bundle --with-payloads", "with messages, texts and addresses"},
      },
      {{0, "the file is written"}, {1, "it could not be written"}, {2, "wrong usage"}},
      "It only looks, as `linkapp status` does; only its user may read the file. Names and launch strings of\n"
      "applications are in it.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& arguments) {
  return cli::run(manual(), &addOptions, &make, arguments);
}

}  // namespace bundle
