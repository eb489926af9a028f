#include "tests/storm/member.h"

#include <signal.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "tests/support/wait_until.h"

namespace storm {
namespace {

constexpr std::uint64_t kFarthestAhead = vqframework::kSlotCount / 2;
constexpr std::uint32_t kEveryHowManyIsLost = 100;

void nap(std::uint32_t microseconds) {
  const timespec time = {0, static_cast<long>(microseconds) * 1000};
  nanosleep(&time, nullptr);
}

std::uint32_t numberAt(const test_support::Arguments& args, std::size_t place) {
  return static_cast<std::uint32_t>(std::stoul(args.at(place)));
}

}  // namespace

Member::Member(const test_support::Arguments& args)
    : number_(numberAt(args, 0)),
      incarnation_(numberAt(args, 1)),
      journal_(Journal::own()),
      random_(numberAt(args, 2)) {}

std::uint32_t Member::diceSize() {
  return dice(0, 3) == 0 ? dice(kSmallestMessage, kLargestMessage) : dice(kSmallestMessage, 400);
}

void Member::napUpTo(std::uint32_t microseconds) {
  nap(dice(0, microseconds));
}

void Member::becomeReady() {
  if (!test_support::waitUntil([this] { return log_.open(); })) {
    _exit(4);
  }
  journal_.noteReady(log_.head());
}

void Member::waitForFollower() const {
  while (log_.head() > ownBoard().followed.load() + kFarthestAhead) {
    nap(1000);
  }
}

// The framework's delivery thread writes down its position, which is that of the next message, before it calls.
Event Member::received(EventKind kind) {
  Event event;
  event.kind = kind;
  event.time = nanoseconds();
  if (deliveryLog_.open()) {
    event.sequence = deliveryLog_.positionOf(getpid()).value_or(0) - 1;
    event.head = deliveryLog_.head();
  }
  return event;
}

bool Member::losesThis() {
  return ownBoard().fault.load() == Fault::kLoseReceived && ++receivedCount_ % kEveryHowManyIsLost == 0;
}

std::optional<Stamp> Member::noteReceived(std::uint32_t ring, const std::uint8_t* bytes, std::uint32_t size) {
  Event event = received(EventKind::kReceived);
  event.ring = ring;
  event.size = size;
  const std::optional<Stamp> stamp = readMessage(bytes, size);
  event.isWhole = stamp.has_value();
  if (stamp) {
    event.stamp = *stamp;
  } else {
    event.exhibit = journal_.keepExhibit(bytes, size);
  }
  if (!losesThis()) {
    journal_.write(event);
  }
  return stamp;
}

void Member::note(EventKind kind, std::uint64_t sum, bool isWhole) {
  Event event = received(kind);
  event.sum = sum;
  event.isWhole = isWhole;
  if (!losesThis()) {
    journal_.write(event);
  }
}

}  // namespace storm
