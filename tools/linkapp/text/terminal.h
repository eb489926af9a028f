// What stands at the other end of a descriptor.
#pragma once

namespace text {

// `fd` is a terminal that can show colours, and nobody has asked for none (NO_COLOR).
bool isColoured(int fd);

// Nobody is at the other end: seen here also while there is nothing to write.
bool hasHungUp(int fd);

}  // namespace text
