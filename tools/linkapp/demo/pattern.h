// What the demo's messages hold: known to both ends, so that every byte is checked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

// Message `number` of `app`. The first two have 1 and 4096 bytes, the others something between.
std::vector<std::uint8_t> makeMessage(const std::string& app, unsigned int number);

}  // namespace demo
