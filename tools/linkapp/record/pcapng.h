// A recording as a capture file (pcapng) for Wireshark; tools/wireshark/linkapp.lua decodes it.
// docs/recording-format.md has the header of a packet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "record/reader.h"

namespace record {

std::vector<std::uint8_t> toPcapng(const Recording& recording);

}  // namespace record
