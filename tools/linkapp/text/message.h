// How messages are shown to people.
#pragma once

#include <cstdint>
#include <vector>

#include "text/fields.h"

namespace text {

// What an event tells of a message: size, and its text where it is short and readable, else its first bytes.
Fields messageFields(const std::vector<std::uint8_t>& message);

}  // namespace text
