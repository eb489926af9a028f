#pragma once

#include <unistd.h>

#include <cstdint>

namespace vqframework {

// Asked of the kernel once: a forked child, which would have another, takes no locks and posts nothing.
inline std::uint32_t processId() {
  static const std::uint32_t id = static_cast<std::uint32_t>(getpid());
  return id;
}

}  // namespace vqframework
