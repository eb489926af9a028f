// D-Bus values as far as these daemons use them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "bluez_sim/bus.h"

namespace bluez_sim {

struct ObjectPath {
  std::string text;
};

using Value = std::variant<bool, std::uint16_t, std::uint32_t, std::string, ObjectPath, std::vector<std::string>>;
using Properties = std::vector<std::pair<std::string, Value>>;

// As a variant; as a{sv}.
void append(sd_bus_message& message, const Value& value);
void append(sd_bus_message& message, const Properties& properties);

std::string readText(sd_bus_message& message);  // a string or an object path
// A variant. What is none of the types above comes as an empty list of texts.
Value readVariant(sd_bus_message& message);
Properties readProperties(sd_bus_message& message);

template <class T>
const T* find(const Properties& properties, const std::string& name) {
  for (const auto& [key, value] : properties) {
    if (key == name) {
      return std::get_if<T>(&value);
    }
  }
  return nullptr;
}

}  // namespace bluez_sim
