// Link: two processes that send each other messages, over one transport or another. All wait asleep.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

constexpr std::size_t kMaxMessage = 4096;
// So many messages are under way at most.
constexpr unsigned int kWindow = 32;

enum class Side { kClient, kServer };

class Link {
 public:
  virtual ~Link() = default;

  // In the process that the two will be forked from. Daemons run on `processor`.
  virtual void prepare(int processor) = 0;
  // In each of the two, at the same time. Both have returned before the first message.
  virtual void open(Side side) = 0;

  virtual void send(const void* data, std::size_t size) = 0;
  // Sees to it that what was sent is under way.
  virtual void flush() {}
  // The next message's size; `buffer` has room for kMaxMessage.
  virtual std::size_t receive(void* buffer) = 0;
};

struct LinkKind {
  const char* name;
  std::unique_ptr<Link> (*make)();
  unsigned int slowness;  // has so many times fewer messages to carry than others
};

// Those that were built, bare first.
const std::vector<LinkKind>& linkKinds();
// Names of the others.
const std::vector<std::string>& linksLeftOut();

}  // namespace bench
