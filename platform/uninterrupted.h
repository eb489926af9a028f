// System calls that a signal handler does not end early.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <string>

namespace platform {

// What `call` returns, once it is not -1 with EINTR.
template <class Call>
auto uninterrupted(const Call& call) -> decltype(call()) {
  decltype(call()) result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

// Writes all of it. 0, or the error number.
inline int writeAll(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = uninterrupted([&] { return write(fd, text.data() + done, text.size() - done); });
    if (count == -1) {
      return errno;
    }
    done += static_cast<std::size_t>(count);
  }
  return 0;
}

}  // namespace platform
