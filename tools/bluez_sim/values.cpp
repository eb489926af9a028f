#include "bluez_sim/values.h"

namespace bluez_sim {
namespace {

constexpr const char* kAppending = "appending to a message";
constexpr const char* kReading = "reading a message";

struct Appender {
  sd_bus_message& message;

  void operator()(bool value) const { check(sd_bus_message_append(&message, "v", "b", value ? 1 : 0), kAppending); }
  void operator()(std::uint16_t value) const {
    check(sd_bus_message_append(&message, "v", "q", static_cast<int>(value)), kAppending);
  }
  void operator()(std::uint32_t value) const { check(sd_bus_message_append(&message, "v", "u", value), kAppending); }
  void operator()(const std::string& value) const {
    check(sd_bus_message_append(&message, "v", "s", value.c_str()), kAppending);
  }
  void operator()(const ObjectPath& value) const {
    check(sd_bus_message_append(&message, "v", "o", value.text.c_str()), kAppending);
  }
  void operator()(const std::vector<std::string>& value) const {
    check(sd_bus_message_open_container(&message, 'v', "as"), kAppending);
    check(sd_bus_message_open_container(&message, 'a', "s"), kAppending);
    for (const std::string& text : value) {
      check(sd_bus_message_append_basic(&message, 's', text.c_str()), kAppending);
    }
    check(sd_bus_message_close_container(&message), kAppending);
    check(sd_bus_message_close_container(&message), kAppending);
  }
};

template <class T>
T readBasic(sd_bus_message& message, char type) {
  T value{};
  check(sd_bus_message_read_basic(&message, type, &value), kReading);
  return value;
}

Value readContent(sd_bus_message& message, const std::string& contents) {
  if (contents == "b") {
    return readBasic<int>(message, 'b') != 0;
  }
  if (contents == "q") {
    return readBasic<std::uint16_t>(message, 'q');
  }
  if (contents == "u") {
    return readBasic<std::uint32_t>(message, 'u');
  }
  if (contents == "s") {
    return std::string(readBasic<const char*>(message, 's'));
  }
  if (contents == "o") {
    return ObjectPath{readBasic<const char*>(message, 'o')};
  }
  check(sd_bus_message_skip(&message, contents.c_str()), kReading);
  return std::vector<std::string>();
}

}  // namespace

void append(sd_bus_message& message, const Value& value) {
  std::visit(Appender{message}, value);
}

void append(sd_bus_message& message, const Properties& properties) {
  check(sd_bus_message_open_container(&message, 'a', "{sv}"), kAppending);
  for (const auto& [name, value] : properties) {
    check(sd_bus_message_open_container(&message, 'e', "sv"), kAppending);
    check(sd_bus_message_append_basic(&message, 's', name.c_str()), kAppending);
    append(message, value);
    check(sd_bus_message_close_container(&message), kAppending);
  }
  check(sd_bus_message_close_container(&message), kAppending);
}

std::string readText(sd_bus_message& message) {
  char type = 0;
  check(sd_bus_message_peek_type(&message, &type, nullptr), kReading);
  return readBasic<const char*>(message, type == 'o' ? 'o' : 's');
}

Value readVariant(sd_bus_message& message) {
  const char* contents = nullptr;
  check(sd_bus_message_peek_type(&message, nullptr, &contents), kReading);
  const std::string signature = contents == nullptr ? "" : contents;
  check(sd_bus_message_enter_container(&message, 'v', signature.c_str()), kReading);
  Value value = readContent(message, signature);
  check(sd_bus_message_exit_container(&message), kReading);
  return value;
}

Properties readProperties(sd_bus_message& message) {
  Properties properties;
  check(sd_bus_message_enter_container(&message, 'a', "{sv}"), kReading);
  while (check(sd_bus_message_enter_container(&message, 'e', "sv"), kReading) > 0) {
    std::string name = readText(message);
    Value value = readVariant(message);
    properties.emplace_back(std::move(name), std::move(value));
    check(sd_bus_message_exit_container(&message), kReading);
  }
  check(sd_bus_message_exit_container(&message), kReading);
  return properties;
}

}  // namespace bluez_sim
