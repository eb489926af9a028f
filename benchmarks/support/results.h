// What was measured, round by round.
#pragma once

#include <string>
#include <vector>

#include "benchmarks/support/options.h"

namespace bench {

// One transport at one workload.
struct Case {
  std::string workload;        // what is done
  unsigned int parameter = 0;  // bytes of a message, or number of receivers
  std::string placement;
  std::string transport;
};

struct Figure {
  const char* name;  // with its unit, as in "p50_us"
  double value;
};

class Results {
 public:
  // `parameter`: what a case's number counts.
  Results(std::string program, std::string parameter)
      : program_(std::move(program)), parameter_(std::move(parameter)) {}

  void add(const Case& what, const std::vector<Figure>& figures);

  // Prints everything, and writes it where the options say so.
  void finish(const std::string& main, const Options& options, const std::vector<std::string>& leftOut) const;

 private:
  // Median of each figure, and of `main` the ratios to bare of the same round: median and quartiles.
  void print(const std::string& main) const;
  // All of it, with machine, command and date. Throws where the file cannot be written.
  void write(const std::string& path, const Options& options, const std::vector<std::string>& leftOut) const;

  struct Series {
    std::string name;
    std::vector<double> values;
  };
  struct Line {
    Case what;
    std::vector<Series> series;
  };

  Line& lineOf(const Case& what);
  const Series* bareOf(const Line& line, const std::string& name) const;
  std::string json(const Line& line) const;

  const std::string program_;
  const std::string parameter_;
  std::vector<Line> lines_;
};

}  // namespace bench
