// The matrix: one operation, every call that it makes, every plausible error of the call.
//
// Each case is a process of its own, forked from one that has never used the framework. It makes one attempt with the
// fault and one without. What its caller sees and what is logged must be what the expectations say; the second attempt
// must work, and the process must then hold what one without a fault holds. A case that crashes or hangs fails.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/faults/plan.h"

namespace faults {

class Operation {
 public:
  Operation() = default;
  virtual ~Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // What the attempts find.
  virtual void prepare() {}
  // What the caller sees, in words. Within a `Watch` calls count.
  virtual std::string attempt() = 0;
  // What `prepare` has made goes.
  virtual void finish() {}
};

struct Expectation {
  // For which faults. The first that fits counts.
  std::string call;         // empty = any
  std::string object;       // empty = any; "*.lock" = any that ends so
  std::vector<int> errors;  // empty = any
  // What is expected then.
  std::string outcome;
  std::vector<std::string> log = {};      // "FUNCTION:LINE TEXT"; "%m" stands for the text of the error
  std::optional<std::string> again = {};  // outcome of the second attempt, where it differs from one without a fault
  std::optional<Way> way = {};            // for which faults, too
  std::optional<unsigned int> nth = {};   // the same
  std::string orElse = {};                // another outcome that is as good: which of the two depends on the place
};

struct Matrix {
  std::string operation;  // what is done, as in the table
  std::string works;      // the outcome without a fault
  std::function<std::unique_ptr<Operation>()> make;
  std::vector<Expectation> expectations = {};
  long keeps = 0;                         // allocations that a process may keep once after a fault
  std::vector<std::string> leftOut = {};  // calls that another matrix has, or that an expectation cannot be given for
  bool keepsLog = true;                   // false: the operation logs to a place of its own
  std::optional<std::string> worksAgain = {};  // outcome of a second attempt, where it differs from the first
};

void run(const Matrix& matrix);

}  // namespace faults
