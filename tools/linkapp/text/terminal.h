// What a terminal can show.
#pragma once

namespace text {

// `fd` is a terminal that can show colours, and nobody has asked for none (NO_COLOR).
bool isColoured(int fd);

}  // namespace text
