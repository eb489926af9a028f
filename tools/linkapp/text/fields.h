// What the tool's processes tell each other and the user: names with values, as a line of JSON or as text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace text {

struct Field;
using Fields = std::vector<Field>;
using List = std::vector<Fields>;

class Value {
 public:
  Value(bool value) : value_(value) {}
  template <class Number, std::enable_if_t<std::is_integral_v<Number> && !std::is_same_v<Number, bool>, int> = 0>
  Value(Number value) : value_(static_cast<std::int64_t>(value)) {}
  Value(std::string value) : value_(std::move(value)) {}
  Value(const char* value) : value_(std::string(value)) {}
  Value(List value);
  Value(Fields value);

  // What is nested is shared by copies.
  using Variant =
      std::variant<bool, std::int64_t, std::string, std::shared_ptr<const List>, std::shared_ptr<const Fields>>;
  const Variant& get() const { return value_; }
  // Null where it is none.
  const List* list() const { return nested<List>(); }
  const Fields* fields() const { return nested<Fields>(); }

 private:
  template <class Nested>
  const Nested* nested() const {
    const auto* const shared = std::get_if<std::shared_ptr<const Nested>>(&value_);
    return shared == nullptr ? nullptr : shared->get();
  }

  Variant value_;
};

struct Field {
  std::string name;
  Value value;
};

inline Value::Value(List value) : value_(std::make_shared<const List>(std::move(value))) {}
inline Value::Value(Fields value) : value_(std::make_shared<const Fields>(std::move(value))) {}

// {"name":"value","count":1} without a line break. Bytes that are no UTF-8 become U+FFFD: a line is always valid JSON.
std::string toJson(const Fields& fields);

// name=value count=1; texts with anything but plain characters in quotes.
std::string toText(const Fields& fields);

// "text" with what JSON escapes.
std::string jsonQuoted(const std::string& text);

// As the command line and scenario files read it back: plain words as they are, others in quotes.
std::string quoted(const std::string& text);

// For people: as it is, blanks and quotes too, but in quotes where a terminal might obey it or a line would end in it.
std::string printable(const std::string& text);

}  // namespace text
