// The text of a settings file: finds and replaces "key=value" lines and leaves every other byte alone.
#pragma once

#include <optional>
#include <string>

namespace vqframework {

bool isSettingsKey(const char* key);

// The number that the first line of this key holds, if it is one.
std::optional<unsigned int> settingsValue(const std::string& text, const std::string& key);

// The text with the first line of this key replaced, or with a new line at its end.
std::string withSettingsValue(const std::string& text, const std::string& key, unsigned int value);

}  // namespace vqframework
