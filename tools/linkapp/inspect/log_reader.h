// Messages of the notifier's log, copied by somebody who has no part in it.
//
// How it is known that a copy is whole: a poster stores `head` n only when message n - 1 is complete, and writes the
// slot of message n - 8192 only once `head` is n. So a message below a `head` that was read before the copy was
// complete in it, and as long as `head`, read again after the copy, is less than 8192 above the message, nobody had
// begun to overwrite it. The reads lie in this order (Object::read), the poster's stores too (message_log_layout.h).
// The slot's own sequence number is compared besides: where it differs all the same, somebody has damaged the slot.
//
// This makes nobody wait and costs nobody a system call: no lock is taken, no bit is set in the word that says who
// sleeps, no place is taken in the table of receivers, whose count receivers look at; the descriptor is read-only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/message.h"
#include "inspect/object.h"

namespace inspect {

class LogReader {
 public:
  struct Range {
    std::uint64_t overwritten = 0;  // messages from the first one on that were gone before they could be copied
    std::uint64_t damaged = 0;      // slots within the range that do not hold what belongs there
    std::uint64_t end = 0;          // sequence number behind the last message that was looked at
  };

  LogReader() = default;
  explicit LogReader(const std::string& folder);

  // Empty where the log can be read. Else why not, in words for people; also where nothing is there (then
  // `facts().exists` is false).
  const std::string& problem() const { return problem_; }
  bool isUsable() const { return problem_.empty(); }
  // The name still leads to this log, and it has not become shorter.
  bool isCurrent() const;
  const ObjectFacts& facts() const { return object_.facts(); }
  const Object& object() const { return object_; }

  // Messages posted so far.
  std::uint64_t head() const;
  // The oldest message that a reader may hope for at this `head`.
  static std::uint64_t oldest(std::uint64_t head);

  // Appends messages `from` up to, not including, `head`, `most` at most. `head` comes from head(). What was posted is
  // taken in order; nothing is taken twice.
  Range read(std::uint64_t from, std::uint64_t head, std::size_t most, std::vector<Message>& messages) const;

 private:
  Object object_;
  std::string problem_ = "not opened";
};

// What its first bytes say about an object of the framework: empty, or why its content must not be interpreted.
std::string headerProblem(const Object& object, std::uint32_t magic, std::uint32_t layoutVersion, std::size_t size);

}  // namespace inspect
