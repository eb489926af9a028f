#include "platform/reference/attach_table.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "platform/descriptor.h"
#include "platform/uninterrupted.h"

using platform::Descriptor;
using platform::uninterrupted;

namespace vqframework {
namespace {

// What fits of a file, with a NUL behind it; nothing where it cannot be read. (A stream's file would stay open in a
// program that the process becomes.)
void readText(const char* path, char* text, std::size_t room) {
  const Descriptor file(uninterrupted([path] { return open(path, O_RDONLY | O_CLOEXEC); }));
  std::size_t length = 0;
  ssize_t count = file.isOpen() ? 1 : 0;
  while (count > 0 && length < room - 1) {
    count = uninterrupted([&] { return read(file.get(), text + length, room - 1 - length); });
    length += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  text[length] = '\0';
}

// Field 22 of /proc/PID/stat, in clock ticks since boot. 0 where it cannot be read.
std::uint64_t startTimeOf(std::uint32_t pid) {
  char path[32];
  snprintf(path, sizeof path, "/proc/%u/stat", static_cast<unsigned int>(pid));
  char line[1024];
  readText(path, line, sizeof line);
  const char* at = strrchr(line, ')');  // the name itself may hold spaces and brackets
  for (int field = 2; field < 22 && at != nullptr; ++field) {
    at = strchr(at + 1, ' ');
  }
  return at == nullptr ? 0 : std::strtoull(at, nullptr, 10);
}

// A start time of 0 stands while a place changes hands: then only the pid counts.
bool isGone(std::uint32_t pid, std::uint64_t listedStart) {
  if (kill(static_cast<pid_t>(pid), 0) == -1 && errno == ESRCH) {
    return true;
  }
  const std::uint64_t startTime = startTimeOf(pid);
  return startTime != 0 && listedStart != 0 && startTime != listedStart;
}

// The start time goes first: with the new pid and the old time the place would look like a dead process's.
bool takeFrom(AttachedPlace& place, std::uint32_t pid, std::uint64_t listedStart, std::uint32_t self) {
  return place.startTime.compare_exchange_strong(listedStart, 0, std::memory_order_acq_rel) &&
         place.pid.compare_exchange_strong(pid, self, std::memory_order_acq_rel);
}

void writeIdentity(AttachedPlace& place) {
  // Of the process, not of the calling thread, which has a name of its own.
  char name[AttachedPlace::kNameBytes] = {};
  readText("/proc/self/comm", name, sizeof name);
  if (char* const end = strchr(name, '\n')) {
    *end = '\0';
  }
  for (std::size_t i = 0; i < sizeof name; ++i) {
    place.name[i].store(name[i], std::memory_order_relaxed);
  }
  place.idCount.store(0, std::memory_order_relaxed);
  place.lost.store(0, std::memory_order_relaxed);
  place.position.store(0, std::memory_order_relaxed);
}

AttachedPlace* takePlace(MessageLogObject& log) {
  const std::uint32_t self = static_cast<std::uint32_t>(getpid());
  const std::uint64_t startTime = startTimeOf(self);
  for (AttachedPlace& place : log.places) {
    const std::uint64_t listedStart = place.startTime.load(std::memory_order_acquire);
    const std::uint32_t pid = place.pid.load(std::memory_order_acquire);
    const bool isFree = pid == 0 || pid == self || isGone(pid, listedStart);
    if (isFree && takeFrom(place, pid, listedStart, self)) {
      place.startTime.store(startTime, std::memory_order_release);
      writeIdentity(place);
      return &place;
    }
  }
  return nullptr;
}

}  // namespace

AttachedProcess::AttachedProcess(MessageLogObject& log) : place_(takePlace(log)) {}

AttachedProcess::~AttachedProcess() {
  release();
}

void AttachedProcess::release() {
  if (place_ != nullptr) {
    place_->pid.store(0, std::memory_order_release);
    place_ = nullptr;
  }
}

void AttachedProcess::setIdentifiers(const std::vector<std::uint32_t>& ids) {
  if (place_ == nullptr) {
    return;
  }
  for (std::size_t i = 0; i < std::min<std::size_t>(ids.size(), AttachedPlace::kIdentifiers); ++i) {
    place_->ids[i].store(ids[i], std::memory_order_relaxed);
  }
  place_->idCount.store(static_cast<std::uint32_t>(ids.size()), std::memory_order_release);
}

void AttachedProcess::setPosition(std::uint64_t position) {
  if (place_ != nullptr) {
    place_->position.store(position, std::memory_order_relaxed);
  }
}

void AttachedProcess::addLost(std::uint64_t count) {
  if (place_ != nullptr) {
    place_->lost.fetch_add(count, std::memory_order_relaxed);
  }
}

}  // namespace vqframework
