// What has come, as lines: for people, or for programs. docs/observability.md describes the fields.
#pragma once

#include <map>
#include <string>

#include "monitor/bursts.h"
#include "monitor/watch.h"
#include "text/fields.h"

namespace monitor {

class Lines {
 public:
  enum class Form { kPlain, kColoured, kJson };

  Lines(Watch& watch, Form form) : watch_(watch), form_(form) {}

  // Receivers may have come or gone.
  void beginTurn() { receivers_.clear(); }

  // For programs: what is posted from here on will be told. Nothing for people.
  std::string ofBegin() const;
  // Each a whole line.
  std::string ofMessage(const inspect::Message& message, const inspect::RingContent& content);
  std::string ofBurst(const Burst& burst);
  std::string ofNewLog() const;
  // Empty: the log can be read again.
  std::string ofProblem(const std::string& problem) const;

 private:
  struct ReceiverForms {
    std::string text;
    text::List list;
  };

  std::string messageText(const inspect::Message& message, const inspect::RingContent& content);
  text::Fields messageFields(const inspect::Message& message, const inspect::RingContent& content);
  std::string registrationText(std::uint32_t pid) const;
  text::List registrationList(std::uint32_t pid) const;
  std::string burstText(const Burst& burst);
  text::Fields burstFields(const Burst& burst);
  const ReceiverForms& receiversOf(const inspect::Message& message);
  std::string coloured(const char* colour, const std::string& words) const;
  std::string note(const std::string& words, const text::Fields& fields) const;
  text::Fields begun(const char* event, std::uint64_t time) const;

  Watch& watch_;
  const Form form_;
  std::map<std::uint32_t, ReceiverForms> receivers_;  // by identifier, of this turn
};

// "4711 linkapp (navi)", "4712 phone (device side)", "4713 (ended)".
std::string whoText(const Who& who, const Watch& watch);
text::Fields whoFields(const Who& who, const Watch& watch);
// "2 (navi)", "2".
std::string appText(std::uint32_t app, const Watch& watch);
// Of the time of day: 22:10:03.123456.
std::string timeText(std::int64_t wallNanoseconds);

}  // namespace monitor
