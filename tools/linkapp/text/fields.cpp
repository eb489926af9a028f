#include "text/fields.h"

#include <algorithm>
#include <cstdio>

namespace text {
namespace {

// Length of the UTF-8 sequence that starts at `at`, 0 where none does.
std::size_t sequenceAt(const std::string& text, std::size_t at) {
  const auto byte = [&text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char first = byte(at);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t length = first >= 0xC2 && first <= 0xDF   ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
  if (length == 0 || at + length > text.size()) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  const bool isOverlong = (first == 0xE0 && byte(at + 1) < 0xA0) || (first == 0xF0 && byte(at + 1) < 0x90);
  const bool isSurrogate = first == 0xED && byte(at + 1) > 0x9F;
  const bool isTooLarge = first == 0xF4 && byte(at + 1) > 0x8F;
  return isOverlong || isSurrogate || isTooLarge ? 0 : length;
}

std::string escaped(const char* beginning, unsigned char byte) {
  char digits[3];
  snprintf(digits, sizeof digits, "%02x", byte);
  return std::string(beginning) + digits;
}

std::string jsonCharacter(char character) {
  switch (character) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\r':
      return "\\r";
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F ? escaped("\\u00", byte) : std::string(1, character);
}

// U+0080 to U+009F, which some terminals obey as they obey the escape sequences of ASCII.
bool isControlAt(const std::string& text, std::size_t at) {
  return text[at] == '\xC2' && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

bool isPlain(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceAt(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool isSpecial = byte <= 0x20 || byte == 0x7F || byte == '"' || byte == '\\' || byte == '#';
    if (length == 0 || isSpecial || isControlAt(text, at)) {
      return false;
    }
    at += length;
  }
  return !text.empty();
}

// NOLINTNEXTLINE(misc-no-recursion): the rows of a list may hold lists
std::string jsonOf(const Value& value) {
  if (const auto* const flag = std::get_if<bool>(&value.get())) {
    return *flag ? "true" : "false";
  }
  if (const auto* const number = std::get_if<std::int64_t>(&value.get())) {
    return std::to_string(*number);
  }
  if (const auto* const string = std::get_if<std::string>(&value.get())) {
    return jsonQuoted(*string);
  }
  if (const Fields* const fields = value.fields()) {
    return toJson(*fields);
  }
  std::string json = "[";
  for (const Fields& entry : *value.list()) {
    json += (json.size() > 1 ? "," : "") + toJson(entry);
  }
  return json + "]";
}

// NOLINTNEXTLINE(misc-no-recursion): as above
std::string textOf(const Value& value) {
  if (const auto* const string = std::get_if<std::string>(&value.get())) {
    return quoted(*string);
  }
  if (const List* const list = value.list()) {
    std::string all = "[";
    for (const Fields& entry : *list) {
      all += (all.size() > 1 ? ", " : "") + toText(entry);
    }
    return all + "]";
  }
  if (const Fields* const fields = value.fields()) {
    return "{" + toText(*fields) + "}";
  }
  return jsonOf(value);
}

}  // namespace

std::string jsonQuoted(const std::string& text) {
  std::string json = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceAt(text, at);
    if (length == 1) {
      json += jsonCharacter(text[at]);
    } else if (length == 0) {
      json += "\xEF\xBF\xBD";
    } else {
      json.append(text, at, length);
    }
    at += length == 0 ? 1 : length;
  }
  return json + "\"";
}

std::string quoted(const std::string& text) {
  if (isPlain(text)) {
    return text;
  }
  std::string result = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceAt(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    if (length > 1 && isControlAt(text, at)) {
      result += escaped("\\x", byte) + escaped("\\x", static_cast<unsigned char>(text[at + 1]));
    } else if (length > 1) {
      result.append(text, at, length);
    } else if (text[at] == '"' || text[at] == '\\') {
      result += std::string("\\") + text[at];
    } else if (text[at] == '\n') {
      result += "\\n";
    } else if (text[at] == '\t') {
      result += "\\t";
    } else if (length == 0 || byte < 0x20 || byte == 0x7F) {
      result += escaped("\\x", byte);
    } else {
      result += text[at];
    }
    at += length == 0 ? 1 : length;
  }
  return result + "\"";
}

std::string printable(const std::string& text) {
  std::string others = text;
  std::replace_if(
      others.begin(), others.end(), [](char c) { return c == ' ' || c == '"' || c == '\\' || c == '#'; }, 'x');
  return text.empty() || isPlain(others) ? text : quoted(text);
}

// NOLINTNEXTLINE(misc-no-recursion): as above
std::string toJson(const Fields& fields) {
  std::string json = "{";
  for (const Field& field : fields) {
    json += (json.size() > 1 ? "," : "") + jsonQuoted(field.name) + ":" + jsonOf(field.value);
  }
  return json + "}";
}

// NOLINTNEXTLINE(misc-no-recursion): as above
std::string toText(const Fields& fields) {
  std::string all;
  for (const Field& field : fields) {
    all += (all.empty() ? "" : " ") + field.name + "=" + textOf(field.value);
  }
  return all;
}

}  // namespace text
