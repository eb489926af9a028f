#include "benchmarks/support/results.h"

#include <stdio.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "benchmarks/support/json.h"
#include "benchmarks/support/machine.h"
#include "benchmarks/support/quantiles.h"

namespace bench {
namespace {

bool isSameWork(const Case& a, const Case& b) {
  return a.workload == b.workload && a.parameter == b.parameter && a.placement == b.placement;
}

}  // namespace

Results::Line& Results::lineOf(const Case& what) {
  const auto found = std::find_if(lines_.begin(), lines_.end(), [&what](const Line& line) {
    return isSameWork(line.what, what) && line.what.transport == what.transport;
  });
  if (found != lines_.end()) {
    return *found;
  }
  lines_.push_back({what, {}});
  return lines_.back();
}

void Results::add(const Case& what, const std::vector<Figure>& figures) {
  Line& line = lineOf(what);
  for (const Figure& figure : figures) {
    const auto found = std::find_if(line.series.begin(), line.series.end(),
                                    [&figure](const Series& series) { return series.name == figure.name; });
    if (found != line.series.end()) {
      found->values.push_back(figure.value);
    } else {
      line.series.push_back({figure.name, {figure.value}});
    }
  }
}

const Results::Series* Results::bareOf(const Line& line, const std::string& name) const {
  for (const Line& other : lines_) {
    if (isSameWork(other.what, line.what) && other.what.transport == "bare") {
      for (const Series& series : other.series) {
        if (series.name == name) {
          return &series;
        }
      }
    }
  }
  return nullptr;
}

void Results::finish(const std::string& main, const Options& options, const std::vector<std::string>& leftOut) const {
  print(main);
  for (const std::string& name : leftOut) {
    printf("left out, since it was not there: %s\n", name.c_str());
  }
  if (!options.json.empty()) {
    write(options.json, options, leftOut);
  }
}

void Results::print(const std::string& main) const {
  const Line* previous = nullptr;
  for (const Line& line : lines_) {
    if (previous == nullptr || !isSameWork(previous->what, line.what)) {
      printf("\n%s, %s, %u %s\n", line.what.workload.c_str(), line.what.placement.c_str(), line.what.parameter,
             parameter_.c_str());
    }
    previous = &line;
    printf("  %-34s", line.what.transport.c_str());
    for (const Series& series : line.series) {
      printf("  %s %.6g", series.name.c_str(), quantile(series.values, 0.5));
      const Series* const bare = series.name == main ? bareOf(line, main) : nullptr;
      if (bare != nullptr) {
        const Quartiles ratio = quartilesOf(ratios(series.values, bare->values));
        printf(" = %.2f (%.2f-%.2f) x bare", ratio.median, ratio.low, ratio.high);
      }
    }
    printf("\n");
  }
}

std::string Results::json(const Line& line) const {
  std::ostringstream text;
  text << "{\"workload\": " << quoted(line.what.workload) << ", " << quoted(parameter_) << ": " << line.what.parameter
       << ", \"placement\": " << quoted(line.what.placement) << ", \"transport\": " << quoted(line.what.transport)
       << ", \"per_round\": {";
  for (const Series& series : line.series) {
    text << (&series == &line.series.front() ? "" : ", ") << quoted(series.name) << ": " << list(series.values);
  }
  text << "}}";
  return text.str();
}

void Results::write(const std::string& path, const Options& options, const std::vector<std::string>& leftOut) const {
  std::ofstream file(path);
  file << "{\n  \"program\": " << quoted(program_) << ",\n  \"parameter\": " << quoted(parameter_)
       << ",\n  \"command\": " << quoted(options.command) << ",\n  \"date\": " << quoted(today())
       << ",\n  \"machine\": " << quoted(machine()) << ",\n  \"build\": " << quoted(buildOfThis())
       << ",\n  \"rounds\": " << options.rounds << ",\n  \"left_out\": " << list(leftOut) << ",\n  \"results\": [";
  for (const Line& line : lines_) {
    file << (&line == &lines_.front() ? "\n    " : ",\n    ") << json(line);
  }
  file << "\n  ]\n}\n";
  if (!file.flush()) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace bench
