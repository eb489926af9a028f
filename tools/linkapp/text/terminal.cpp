#include "text/terminal.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace text {

bool isColoured(int fd) {
  const char* const none = getenv("NO_COLOR");
  const char* const terminal = getenv("TERM");
  const bool isDumb = terminal == nullptr || strcmp(terminal, "dumb") == 0;
  return isatty(fd) == 1 && !isDumb && (none == nullptr || none[0] == '\0');
}

bool hasHungUp(int fd) {
  pollfd entry = {fd, 0, 0};
  return poll(&entry, 1, 0) == 1 && (entry.revents & (POLLHUP | POLLERR)) != 0;
}

}  // namespace text
