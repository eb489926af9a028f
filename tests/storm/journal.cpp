#include "tests/storm/journal.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace storm {
namespace {

constexpr std::uint32_t kEvents = 1U << 18;
constexpr std::uint32_t kExhibits = 512;
constexpr std::size_t kStepNameBytes = 32;

struct Entry {
  std::atomic<std::uint32_t> isWritten;
  std::atomic<std::uint32_t> isRefused;
  Event event;
};

void* mapShared(int fd, std::size_t size) {
  void* const pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (pages == MAP_FAILED) {
    throw std::runtime_error("cannot map a journal");
  }
  return pages;
}

int makeMemory(std::size_t size) {
  const int fd = memfd_create("journal", MFD_CLOEXEC);
  if (fd == -1 || ftruncate(fd, static_cast<off_t>(size)) != 0) {
    throw std::runtime_error("no memory for a journal");
  }
  return fd;
}

}  // namespace

// Memory that was never touched takes up nothing.
struct Journal::Pages {
  std::atomic<State> state;
  std::atomic<std::uint64_t> stepSince;  // 0 = no step
  std::atomic<std::uint64_t> longestStep;
  std::atomic<char> stepName[kStepNameBytes];
  std::atomic<std::uint64_t> readyHead;
  std::atomic<std::uint64_t> readyTime;
  std::atomic<std::uint32_t> givenUp;
  std::atomic<std::uint32_t> eventCount;
  std::atomic<std::uint32_t> exhibitCount;
  Entry entries[kEvents];
  Exhibit exhibits[kExhibits];
};

std::uint64_t nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
}

Journal::Journal() : Journal(makeMemory(sizeof(Pages))) {}

Journal::Journal(int fd) : pages_(static_cast<Pages*>(mapShared(fd, sizeof(Pages)))), fd_(fd) {}

Journal::~Journal() {
  munmap(pages_, sizeof(Pages));
  close(fd_);
}

Journal& Journal::own() {
  static Journal* const journal = new Journal(kJournalDescriptor);
  return *journal;
}

std::uint32_t Journal::write(const Event& event) {
  const std::uint32_t place = pages_->eventCount.fetch_add(1);
  if (place >= kEvents) {
    fprintf(stderr, "journal full\n");
    _exit(3);
  }
  Entry& entry = pages_->entries[place];
  entry.event = event;
  entry.isWritten.store(1, std::memory_order_release);
  return place;
}

void Journal::markRefused(std::uint32_t place) {
  pages_->entries[place].isRefused.store(1);
}

std::int32_t Journal::keepExhibit(const std::uint8_t* bytes, std::uint32_t size) {
  const std::uint32_t place = pages_->exhibitCount.fetch_add(1);
  if (place >= kExhibits) {
    return kNoExhibit;
  }
  memcpy(pages_->exhibits[place].bytes, bytes, std::min<std::size_t>(size, kLargestMessage));
  return static_cast<std::int32_t>(place);
}

void Journal::setState(State state) {
  pages_->state.store(state);
}

void Journal::beginStep(const char* name) {
  const std::uint64_t since = pages_->stepSince.exchange(0);
  if (since != 0) {
    pages_->longestStep.store(std::max(pages_->longestStep.load(), nanoseconds() - since));
  }
  if (name != nullptr) {
    for (std::size_t i = 0; i < kStepNameBytes; ++i) {
      pages_->stepName[i].store(i < strlen(name) ? name[i] : '\0', std::memory_order_relaxed);
    }
    pages_->stepSince.store(nanoseconds());
  }
}

void Journal::noteReady(std::uint64_t head) {
  pages_->readyHead.store(head);
  pages_->readyTime.store(nanoseconds());
  setState(State::kReady);
}

void Journal::noteGivenUp(std::uint32_t messages) {
  pages_->givenUp.fetch_add(messages);
}

State Journal::state() const {
  return pages_->state.load();
}

bool Journal::isFull() const {
  return pages_->eventCount.load() > kEvents;
}

std::uint64_t Journal::longestStep() const {
  return pages_->longestStep.load();
}

std::string Journal::step(std::uint64_t& age) const {
  const std::uint64_t since = pages_->stepSince.load();
  const std::uint64_t now = nanoseconds();
  if (since == 0 || since > now) {
    return "";
  }
  age = now - since;
  std::string name;
  for (const std::atomic<char>& letter : pages_->stepName) {
    if (letter.load(std::memory_order_relaxed) == '\0') {
      break;
    }
    name += letter.load(std::memory_order_relaxed);
  }
  return name;
}

std::uint64_t Journal::readyHead() const {
  return pages_->readyHead.load();
}

std::uint64_t Journal::readyTime() const {
  return pages_->readyTime.load();
}

std::uint32_t Journal::givenUp() const {
  return pages_->givenUp.load();
}

std::vector<Event> Journal::events() const {
  std::vector<Event> events;
  const std::uint32_t count = std::min(pages_->eventCount.load(), kEvents);
  for (std::uint32_t place = 0; place < count; ++place) {
    const Entry& entry = pages_->entries[place];
    if (entry.isWritten.load(std::memory_order_acquire) != 0) {
      events.push_back(entry.event);
      events.back().isRefused = entry.isRefused.load() != 0;
    }
  }
  return events;
}

const Exhibit& Journal::exhibit(std::int32_t place) const {
  return pages_->exhibits[place];
}

bool Journal::hasLostExhibits() const {
  return pages_->exhibitCount.load() > kExhibits;
}

Board& ownBoard() {
  static Board* const board = static_cast<Board*>(mapShared(kBoardDescriptor, sizeof(Board)));
  return *board;
}

}  // namespace storm
