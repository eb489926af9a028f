// The way of a launch or of a message, as the library tests its conditions, held against what can be seen from outside.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "doctor/examination.h"

namespace why {

enum class Verdict {
  kHolds,
  kFails,
  kUnseen,  // lies in a process, and nothing outside tells
};

struct Condition {
  std::string what;
  Verdict verdict = Verdict::kHolds;
  std::string evidence;
  std::string effect;  // of its not holding: what the call returns, what does not come
  std::string remedy;
  bool isUnderWay = false;  // fails, and may hold in a moment: a message that has not been read or answered yet
};

// Conditions in the order in which the library comes to them. Ends with the first that fails.
class Walk {
 public:
  Walk(std::string question, std::string about) : question_(std::move(question)), about_(std::move(about)) {}

  // False where the walk is over. Then the condition is not kept.
  bool add(Condition condition);
  // No further condition is come to, and this is the answer.
  void end(const std::string& answer);

  const std::string& question() const { return question_; }
  const std::string& about() const { return about_; }
  const std::vector<Condition>& conditions() const { return conditions_; }
  bool isOver() const { return isOver_; }
  // Null where none fails.
  const Condition* failed() const;
  std::string answer() const;

 private:
  const std::string question_;
  const std::string about_;
  std::vector<Condition> conditions_;
  bool isOver_ = false;
  std::string answer_;
};

struct Question {
  std::string app;  // name or app id
  std::uint32_t device = 1;
  std::string uuid;  // of the SPP service; may be empty
};

// Why did the launch return 0, or why is the app not there?
Walk walkLaunch(const doctor::Examination& all, const Question& question);
// Why does a message not reach the phone, or get no send result?
Walk walkSend(const doctor::Examination& all, const Question& question);
// Why does no message of the phone arrive?
Walk walkReceive(const doctor::Examination& all, const Question& question);
// The same for a phone with Bluetooth SPP: what linking, sending and receiving need alike.
Walk walkSpp(const doctor::Examination& all, const Question& question);

}  // namespace why
