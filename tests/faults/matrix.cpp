#include "tests/faults/matrix.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <system_error>

#include "tests/faults/case_process.h"
#include "tests/faults/results.h"

namespace faults {
namespace {

// A signal comes once or again and again, but not for ever. So does a lack of memory where it is waited for.
std::vector<Way> waysOf(const Place& place, int error) {
  const bool passes = error == EINTR || (place.call == "new" && place.who == Who::kDelivery);
  return {Way::kOnce, passes ? Way::kStorm : Way::kAlways};
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool fits(const Expectation& expectation, const Fault& fault) {
  const std::string& object = expectation.object;
  const bool fitsObject = object.empty() || object == fault.place.object ||
                          (object[0] == '*' && endsWith(fault.place.object, object.substr(1)));
  const std::vector<int>& errors = expectation.errors;
  return fitsObject && (expectation.call.empty() || expectation.call == fault.place.call) &&
         (errors.empty() || std::find(errors.begin(), errors.end(), fault.error) != errors.end()) &&
         (!expectation.way || *expectation.way == fault.way) &&
         (!expectation.nth || *expectation.nth == fault.place.nth);
}

const Expectation* expectationFor(const Matrix& matrix, const Fault& fault) {
  for (const Expectation& expectation : matrix.expectations) {
    if (fits(expectation, fault)) {
      return &expectation;
    }
  }
  return nullptr;
}

std::vector<std::string> filledIn(std::vector<std::string> lines, int error) {
  const std::string text = std::generic_category().message(error);
  for (std::string& line : lines) {
    const std::size_t place = line.find("%m");
    if (place != std::string::npos) {
      line.replace(place, 2, text);
    }
  }
  return lines;
}

std::string described(const Matrix& matrix, const Fault& fault) {
  static const char* const kWays[] = {"once", "always", "100 times"};
  std::ostringstream text;
  text << matrix.operation << ": call " << fault.place.nth << " of " << fault.place.call << " (" << fault.place.object
       << ") fails with " << nameOf(fault.error) << ", " << kWays[static_cast<int>(fault.way)]
       << (fault.place.who == Who::kDelivery ? ", on the delivery thread" : "");
  return text.str();
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += "\n  " + line;
  }
  return text.empty() ? " nothing" : text;
}

void expectSame(const std::vector<std::string>& actual, const std::vector<std::string>& expected, const char* when) {
  EXPECT_TRUE(actual == expected) << when << " should log" << joined(expected) << "\nand logs" << joined(actual);
}

void judge(const Matrix& matrix, const Fault& fault, const Report& report, const Report& dry) {
  SCOPED_TRACE(described(matrix, fault));
  if (!report.end.empty()) {
    ADD_FAILURE() << "the process " << report.end << "; outcome \"" << report.outcome << "\"";
    return;
  }
  const Expectation* const expectation = expectationFor(matrix, fault);
  if (expectation == nullptr) {
    ADD_FAILURE() << "nothing is expected; the outcome is \"" << report.outcome << "\", logged is"
                  << joined(report.log);
    return;
  }
  if (report.fired == 0) {
    // When the delivery thread sleeps and wakes differs from run to run.
    EXPECT_EQ(fault.place.who, Who::kDelivery) << "the call was not made";
    return;
  }
  if (expectation->orElse.empty() || report.outcome != expectation->orElse) {
    EXPECT_EQ(report.outcome, expectation->outcome);
  }
  expectSame(report.log, filledIn(expectation->log, fault.error), "the attempt with the fault");
  EXPECT_EQ(report.again, expectation->again.value_or(matrix.worksAgain.value_or(matrix.works)))
      << "at the next attempt";
  expectSame(report.logAgain, {}, "the next attempt");
  EXPECT_LE(report.held.descriptors, dry.held.descriptors);
  EXPECT_LE(report.held.mappings, dry.held.mappings);
  EXPECT_LE(report.held.threads, dry.held.threads);
  EXPECT_LE(report.held.allocations, dry.held.allocations + matrix.keeps);
  addResult({matrix.operation, fault, report.outcome, expectation->log, report.again});
}

bool isLeftOut(const Matrix& matrix, const Place& place) {
  const auto& leftOut = matrix.leftOut;
  // How often the delivery thread makes a call differs from run to run: the first one stands for all.
  return std::find(leftOut.begin(), leftOut.end(), place.call) != leftOut.end() ||
         (place.who == Who::kDelivery && place.nth != 1);
}

void runEveryErrorAt(const Matrix& matrix, const Place& place, const Report& dry, unsigned int& cases) {
  for (const int error : callOf(place.call).errors) {
    for (const Way way : waysOf(place, error)) {
      const Fault fault = {place, error, way};
      judge(matrix, fault, runCase(matrix, fault), dry);
      ++cases;
    }
  }
}

}  // namespace

void run(const Matrix& matrix) {
  setenv("VQ_NOTIFIER_POLL", "off", 1);  // how long a receiver stays awake differs from run to run
  const Report dry = runCase(matrix, std::nullopt);
  ASSERT_EQ(dry.end, "") << matrix.operation << ": the process without a fault";
  ASSERT_EQ(dry.outcome, matrix.works) << matrix.operation;
  ASSERT_EQ(dry.again, matrix.worksAgain.value_or(matrix.works)) << matrix.operation;
  expectSame(dry.log, {}, "an attempt without a fault");
  unsigned int cases = 0;
  unsigned int places = 0;
  for (const Place& place : dry.places) {
    if (!isLeftOut(matrix, place)) {
      ++places;
      runEveryErrorAt(matrix, place, dry, cases);
    }
  }
  EXPECT_NE(cases, 0U) << "no call was seen";
  testing::Test::RecordProperty("calls", static_cast<int>(places));
  testing::Test::RecordProperty("cases", static_cast<int>(cases));
  printf("%s: %u calls, %u cases\n", matrix.operation.c_str(), places, cases);
}

}  // namespace faults
