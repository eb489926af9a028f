// The one form in which UUIDs of services are compared and sent.
#pragma once

#include <optional>
#include <string>

namespace vqbluez {

// The lower-case form of 36 characters; none where `text` is no UUID. Taken are 36 characters with dashes, 32 digits
// without, and the short forms of the Bluetooth base UUID with 8 and 4 digits. BlueZ would look at the length alone,
// and take an upper-case copy of a registered UUID for another one.
std::optional<std::string> canonicalUuid(const std::string& text);

}  // namespace vqbluez
