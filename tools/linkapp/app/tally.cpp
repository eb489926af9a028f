#include "app/tally.h"

#include "text/pattern.h"

namespace app {

void Tally::noteMessage(const Bytes& message) {
  ++received_;
  receivedBytes_ += message.size();
  const std::optional<std::uint32_t> number = text::patternNumber(message);
  if (!number) {
    return;
  }
  ++numbered_;
  if (*number == 0 || *number == nextNumber_) {
    nextNumber_ = *number + 1;
  } else if (*number > nextNumber_) {
    missing_ += *number - nextNumber_;
    nextNumber_ = *number + 1;
  } else {
    ++repeated_;
  }
}

text::Fields Tally::fields() const {
  return {{"sent", sent_},         {"refused", refused_},   {"results", results()},
          {"failed", failed_},     {"received", received_}, {"received-bytes", receivedBytes_},
          {"numbered", numbered_}, {"missing", missing_},   {"repeated", repeated_}};
}

}  // namespace app
