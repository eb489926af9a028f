#include "why/report.h"

namespace why {
namespace {

constexpr const char* kBold = "\033[1m";
constexpr const char* kRed = "\033[31m";
constexpr const char* kPlain = "\033[0m";

const char* markOf(Verdict verdict) {
  return verdict == Verdict::kHolds ? "yes   " : verdict == Verdict::kFails ? "NO    " : "unseen";
}

const char* nameOf(Verdict verdict) {
  return verdict == Verdict::kHolds ? "holds" : verdict == Verdict::kFails ? "fails" : "unseen";
}

}  // namespace

std::string reportText(const Walk& walk, bool isColoured) {
  const auto coloured = [isColoured](const char* colour, const std::string& words) {
    return isColoured ? colour + words + kPlain : words;
  };
  std::string text = coloured(kBold, walk.question() + " " + walk.about()) + "\n";
  for (const Condition& condition : walk.conditions()) {
    const bool fails = condition.verdict == Verdict::kFails;
    text += "  " + coloured(fails ? kRed : kPlain, markOf(condition.verdict)) + "  " + condition.what +
            (condition.evidence.empty() ? "" : ": " + condition.evidence) + "\n";
  }
  text += "  so      " + walk.answer() + "\n";
  const Condition* const failed = walk.failed();
  return text + (failed == nullptr || failed->remedy.empty() ? "" : "  remedy  " + failed->remedy + "\n");
}

text::Fields reportFields(const Walk& walk) {
  text::List conditions;
  for (const Condition& condition : walk.conditions()) {
    conditions.push_back(
        {{"what", condition.what}, {"verdict", nameOf(condition.verdict)}, {"evidence", condition.evidence}});
  }
  const Condition* const failed = walk.failed();
  text::Fields fields = {{"question", walk.question()},
                         {"about", walk.about()},
                         {"ok", failed == nullptr},
                         {"conditions", conditions},
                         {"answer", walk.answer()}};
  if (failed != nullptr) {
    fields.push_back({"fails", failed->what});
    fields.push_back({"remedy", failed->remedy});
  }
  return fields;
}

}  // namespace why
