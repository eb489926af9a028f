// Reads what D-Bus messages carry: dictionaries of properties, and the few types that matter here.
//
// Readers of values stand before a variant and consume it. One of another type than expected is skipped, and the value
// stays as it was: a property of a later BlueZ must not end the reading of a device.
#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <string>
#include <vector>

namespace vqbluez {

// Calls `visit` with each key of a dictionary "a{s...}". It has to consume the value. False where the message is not
// of that shape.
bool readDictionary(sd_bus_message* message, const char* entryTypes, const std::function<bool(const char* key)>& visit);

inline bool readProperties(sd_bus_message* message, const std::function<bool(const char* key)>& visit) {
  return readDictionary(message, "{sv}", visit);
}

bool readText(sd_bus_message* message, std::string& value);  // s or o
bool readFlag(sd_bus_message* message, bool& value);         // b
bool skipValue(sd_bus_message* message);

}  // namespace vqbluez
