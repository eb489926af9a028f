#include "platform/bluez/send_queue.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

namespace {

using vqbluez::SendQueue;

bool push(SendQueue& queue, const std::string& text) {
  return queue.push(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

// A kernel buffer that takes `room` bytes and then says "later", or another error.
struct Sink {
  std::string taken;
  std::size_t room = SIZE_MAX;
  int error = EAGAIN;

  SendQueue::Writer writer() {
    return [this](const unsigned char* data, std::size_t size) -> ssize_t {
      if (room == 0) {
        errno = error;
        return -1;
      }
      const std::size_t count = std::min(size, room);
      taken.append(reinterpret_cast<const char*>(data), count);
      room -= count;
      return static_cast<ssize_t>(count);
    };
  }
};

TEST(SendQueue, HandsMessagesOverInTheirOrder) {
  SendQueue sut(100);
  Sink sink;
  ASSERT_TRUE(push(sut, "one") && push(sut, "two") && push(sut, "three"));
  const auto progress = sut.writeTo(sink.writer());
  EXPECT_EQ(progress.sent, 3U);
  EXPECT_EQ(progress.error, 0);
  EXPECT_EQ(sink.taken, "onetwothree");
  EXPECT_TRUE(sut.isEmpty());
}

TEST(SendQueue, GoesOnWithinAMessageThatWasTakenInPart) {
  SendQueue sut(100);
  Sink sink;
  ASSERT_TRUE(push(sut, "first") && push(sut, "second"));
  sink.room = 7;
  EXPECT_EQ(sut.writeTo(sink.writer()).sent, 1U);
  EXPECT_EQ(sink.taken, "firstse");
  EXPECT_EQ(sut.waiting(), 4U);
  sink.room = 1;
  EXPECT_EQ(sut.writeTo(sink.writer()).sent, 0U);
  sink.room = 100;
  EXPECT_EQ(sut.writeTo(sink.writer()).sent, 1U);
  EXPECT_EQ(sink.taken, "firstsecond");
}

TEST(SendQueue, TakesExactlyAsManyBytesAsItsLimit) {
  SendQueue sut(10);
  EXPECT_TRUE(push(sut, "123456"));
  EXPECT_FALSE(push(sut, "78901"));
  EXPECT_EQ(sut.waiting(), 6U);
  EXPECT_TRUE(push(sut, "7890"));
  EXPECT_FALSE(push(sut, "1"));
}

TEST(SendQueue, HasRoomAgainForWhatTheKernelTook) {
  SendQueue sut(10);
  Sink sink;
  ASSERT_TRUE(push(sut, "1234567890"));
  sink.room = 3;
  sut.writeTo(sink.writer());
  EXPECT_FALSE(push(sut, "abcd"));
  EXPECT_TRUE(push(sut, "abc"));
}

TEST(SendQueue, RefusesAMessageLongerThanItsLimit) {
  SendQueue sut(4);
  EXPECT_FALSE(push(sut, "12345"));
  EXPECT_TRUE(sut.isEmpty());
}

TEST(SendQueue, TellsOfABrokenLinkAndKeepsWhatWasNotSent) {
  SendQueue sut(100);
  Sink sink;
  ASSERT_TRUE(push(sut, "one") && push(sut, "two") && push(sut, "three"));
  sink.room = 4;
  sink.error = EPIPE;
  const auto progress = sut.writeTo(sink.writer());
  EXPECT_EQ(progress.sent, 1U);
  EXPECT_EQ(progress.error, EPIPE);
  EXPECT_EQ(sut.drop(), 2U);
  EXPECT_EQ(sut.waiting(), 0U);
  EXPECT_EQ(sut.drop(), 0U);
}

TEST(SendQueue, TriesAgainAfterASignal) {
  SendQueue sut(100);
  ASSERT_TRUE(push(sut, "text"));
  int calls = 0;
  const auto progress = sut.writeTo([&calls](const unsigned char* /*data*/, std::size_t size) -> ssize_t {
    if (++calls == 1) {
      errno = EINTR;
      return -1;
    }
    return static_cast<ssize_t>(size);
  });
  EXPECT_EQ(progress.sent, 1U);
  EXPECT_EQ(calls, 2);
}

TEST(SendQueue, BeginsWithTheNextMessageAfterADropInTheMiddleOfOne) {
  SendQueue sut(100);
  Sink sink;
  ASSERT_TRUE(push(sut, "lost"));
  sink.room = 2;
  sut.writeTo(sink.writer());
  sut.drop();
  ASSERT_TRUE(push(sut, "next"));
  sink.room = 100;
  sut.writeTo(sink.writer());
  EXPECT_EQ(sink.taken, "lonext");
}

TEST(SendQueue, LosesAndReordersNothingHoweverLittleIsTakenAtATime) {
  constexpr int kMessages = 2000;
  constexpr std::size_t kLimit = 1000;
  std::minstd_rand random(7);
  SendQueue sut(kLimit);
  Sink sink;
  std::string pushed;
  unsigned int sent = 0;
  for (int i = 0; i < kMessages;) {
    const std::string message(1 + random() % 300, static_cast<char>('a' + i % 26));
    if (push(sut, message)) {
      pushed += message;
      ++i;
    }
    EXPECT_LE(sut.waiting(), kLimit);
    sink.room = random() % 200;
    sent += sut.writeTo(sink.writer()).sent;
  }
  sink.room = SIZE_MAX;
  sent += sut.writeTo(sink.writer()).sent;
  EXPECT_EQ(sent, static_cast<unsigned int>(kMessages));
  EXPECT_EQ(sink.taken, pushed);
}

}  // namespace
