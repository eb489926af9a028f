// A recording as people and programs read it.
#pragma once

#include <string>

#include "record/entry.h"
#include "record/present.h"
#include "record/reader.h"
#include "text/fields.h"

namespace record {

// What is in it, in sections. Both read it from beginning to end and keep no entry.
std::string infoText(Reader& recording, const std::string& path);
text::Fields infoFields(Reader& recording, const std::string& path);

// Entries one after the other; what was said before tells the names of processes and apps.
class Teller {
 public:
  // Times are told from this one on. To be called with every entry, in order.
  std::string line(const Entry& entry, const Reader::Where& where);  // without a line break
  text::Fields fields(const Entry& entry, const Reader::Where& where);

 private:
  void take(const Entry& entry);
  std::string processName(std::uint32_t pid) const;
  std::string appName(std::uint32_t appId) const;
  std::uint64_t wallOf(std::uint64_t monotonic) const;
  text::Fields fieldsOf(const MessageSeen& seen) const;

  Present present_;
  Clock clock_;
  std::uint64_t begin_ = 0;
};

// What the message says by the names of its record's fields, with the app's id where it has one.
text::Fields saidBy(const inspect::Message& message);

std::string hexOf(const std::uint8_t* bytes, std::size_t size);
// "2026-11-21 20:31:07.123456" of the local time.
std::string wallText(std::uint64_t nanoseconds);

}  // namespace record
