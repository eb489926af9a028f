#include "tests/faults/plan.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace faults {
namespace {

constexpr std::size_t kNameBytes = 72;
constexpr std::size_t kMostSeen = 8192;

struct Seen {
  const char* call;
  char object[kNameBytes];
  Who who;
};

struct Plan {
  bool isSet;
  char call[kNameBytes];
  char object[kNameBytes];
  Who who;
  unsigned int nth;
  int error;
  Way way;
  unsigned int met;
  unsigned int fired;
};

// One thread at a time; the delivery thread and the caller's come here at once.
std::atomic_flag isBusy = ATOMIC_FLAG_INIT;
Plan planned;
Seen list[kMostSeen];
std::size_t listed = 0;

std::atomic<bool> isDeliveryWatched{false};
thread_local unsigned int watches = 0;
thread_local bool isDelivery = false;

class Turn {
 public:
  Turn() {
    while (isBusy.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Turn() { isBusy.clear(std::memory_order_release); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
};

void copyName(char* to, const char* from) {
  snprintf(to, kNameBytes, "%s", from);
}

bool isItsPlace(const char* call, const char* object, Who who) {
  return strcmp(planned.call, call) == 0 && strcmp(planned.object, object) == 0 && planned.who == who;
}

// Once the place was reached a fault that stays meets every call of the kind, whatever it is about.
bool goesOn(const char* call, Who who) {
  if (planned.fired == 0 || planned.who != who || strcmp(planned.call, call) != 0) {
    return false;
  }
  return planned.way == Way::kAlways || (planned.way == Way::kStorm && planned.fired < kStormLength);
}

const char* lastPart(const char* path) {
  const char* const slash = strrchr(path, '/');
  return slash != nullptr && slash[1] != '\0' ? slash + 1 : path;
}

// The C library would take memory.
std::size_t readMaps(char* text, std::size_t room) {
  const int fd = static_cast<int>(syscall(SYS_openat, -1, "/proc/self/maps", O_RDONLY | O_CLOEXEC));
  std::size_t length = 0;
  for (long count = 1; count > 0 && length < room - 1; length += static_cast<std::size_t>(count > 0 ? count : 0)) {
    count = syscall(SYS_read, fd, text + length, room - 1 - length);
  }
  syscall(SYS_close, fd);
  text[length] = '\0';
  return length;
}

// The name at the end of the line of /proc/self/maps that covers the address; empty where there is none.
void findMapping(char* maps, std::uintptr_t address, char* name) {
  name[0] = '\0';
  for (char* line = maps; line != nullptr && *line != '\0';) {
    char* const end = strchr(line, '\n');
    if (end != nullptr) {
      *end = '\0';
    }
    char* rest = nullptr;
    const std::uintptr_t from = strtoull(line, &rest, 16);
    const std::uintptr_t to = strtoull(rest + 1, nullptr, 16);
    const char* const path = strchr(line, '/');
    if (from <= address && address < to && path != nullptr) {
      copyName(name, lastPart(path));
      return;
    }
    line = end == nullptr ? nullptr : end + 1;
  }
}

}  // namespace

void plan(const Fault& fault) {
  const Turn turn;
  planned = {};
  copyName(planned.call, fault.place.call.c_str());
  copyName(planned.object, fault.place.object.c_str());
  planned.who = fault.place.who;
  planned.nth = fault.place.nth;
  planned.error = fault.error;
  planned.way = fault.way;
  planned.isSet = true;
}

void clearPlan() {
  const Turn turn;
  planned.isSet = false;
}

unsigned int fired() {
  const Turn turn;
  return planned.fired;
}

Watch::Watch() {
  ++watches;
}

Watch::~Watch() {
  --watches;
}

LookAway::LookAway() : before_(watches), wasDelivery_(isDelivery) {
  watches = 0;
  isDelivery = false;
}

LookAway::~LookAway() {
  watches = before_;
  isDelivery = wasDelivery_;
}

void watchDelivery(bool isOn) {
  isDeliveryWatched = isOn;
}

std::vector<Place> seen() {
  std::vector<Place> places;
  const std::size_t count = listed;
  places.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    unsigned int nth = 1;
    for (std::size_t before = 0; before < i; ++before) {
      const bool isSame = list[before].who == list[i].who && strcmp(list[before].call, list[i].call) == 0 &&
                          strcmp(list[before].object, list[i].object) == 0;
      nth += isSame ? 1U : 0U;
    }
    places.push_back({list[i].call, list[i].object, list[i].who, nth});
  }
  return places;
}

void forgetSeen() {
  const Turn turn;
  listed = 0;
}

bool isWatched() {
  return watches != 0 || (isDelivery && isDeliveryWatched.load(std::memory_order_relaxed));
}

int errorOf(const char* call, const char* object) {
  if (!isWatched()) {
    return 0;
  }
  const Who who = isDelivery ? Who::kDelivery : Who::kCaller;
  const Turn turn;
  if (listed < kMostSeen) {
    list[listed].call = call;
    copyName(list[listed].object, object);
    list[listed].who = who;
    ++listed;
  }
  if (!planned.isSet) {
    return 0;
  }
  const bool isFirst = isItsPlace(call, object, who) && ++planned.met == planned.nth;
  if (!isFirst && !goesOn(call, who)) {
    return 0;
  }
  ++planned.fired;
  return planned.error;
}

int errorOfDescriptor(const char* call, int fd) {
  if (!isWatched()) {
    return 0;
  }
  const int errorBefore = errno;
  char link[32];
  char path[4096] = "";
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const long length = syscall(SYS_readlinkat, -1, link, path, sizeof path - 1);
  path[length > 0 ? length : 0] = '\0';
  errno = errorBefore;
  // "socket:[4711]" and the like: their numbers differ from run to run.
  if (char* const bracket = strchr(path, '[')) {
    *bracket = '\0';
  }
  if (char* const note = strstr(path, " (deleted)")) {
    *note = '\0';
  }
  return errorOf(call, lastPart(path));
}

int errorOfPath(const char* call, const char* path) {
  return isWatched() ? errorOf(call, lastPart(path)) : 0;
}

int errorOfAddress(const char* call, const void* address) {
  if (!isWatched()) {
    return 0;
  }
  const int errorBefore = errno;
  static thread_local char maps[1U << 16U];
  char name[kNameBytes];
  readMaps(maps, sizeof maps);
  findMapping(maps, reinterpret_cast<std::uintptr_t>(address), name);
  if (char* const note = strstr(name, " (deleted)")) {
    *note = '\0';
  }
  errno = errorBefore;
  return errorOf(call, name);
}

int errorAtStart(const char* call) {
  const char* const text = getenv("LINKAPP_FAULTS_AT_START");
  if (text == nullptr) {
    return 0;
  }
  const std::size_t length = strlen(call);
  static std::atomic<bool> isDone{false};
  const bool isIt = strncmp(text, call, length) == 0 && text[length] == ' ';
  return isIt && !isDone.exchange(true) ? atoi(text + length) : 0;
}

void thisIsTheDeliveryThread() {
  isDelivery = true;
}

}  // namespace faults
