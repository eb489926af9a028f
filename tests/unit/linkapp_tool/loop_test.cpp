#include "loop/loop.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "loop/lines.h"

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kPatience{20};

TEST(Loop, runs_tasks_in_their_order_on_its_own_thread) {
  loop::Loop sut;
  std::vector<int> ran;
  std::thread poster([&] {
    for (int i = 0; i < 100; ++i) {
      sut.post([&ran, i] { ran.push_back(i); });
    }
  });
  EXPECT_TRUE(sut.runUntil([&] { return ran.size() == 100; }, kPatience));
  poster.join();
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(ran[static_cast<std::size_t>(i)], i);
  }
}

TEST(Loop, runs_timers_in_the_order_of_their_time) {
  loop::Loop sut;
  std::vector<int> ran;
  sut.after(milliseconds(200), [&] { ran.push_back(2); });
  sut.after(milliseconds(1), [&] { ran.push_back(1); });
  EXPECT_TRUE(sut.runUntil([&] { return ran.size() == 2; }, kPatience));
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

TEST(Loop, does_not_run_a_cancelled_timer) {
  loop::Loop sut;
  bool hasRun = false;
  bool isOver = false;
  const loop::TimerId timer = sut.after(milliseconds(1), [&] { hasRun = true; });
  sut.after(milliseconds(20), [&] { isOver = true; });
  sut.cancel(timer);
  sut.cancel(timer);
  sut.cancel(0);
  EXPECT_TRUE(sut.runUntil([&] { return isOver; }, kPatience));
  EXPECT_FALSE(hasRun);
}

TEST(Loop, gives_up_when_the_condition_does_not_come_true) {
  loop::Loop sut;
  EXPECT_FALSE(sut.runUntil([] { return false; }, milliseconds(5)));
}

TEST(Loop, stops_from_within_a_task_and_runs_again) {
  loop::Loop sut;
  int runs = 0;
  for (int i = 0; i < 2; ++i) {
    sut.post([&] {
      ++runs;
      sut.stop();
    });
    sut.run();
  }
  EXPECT_EQ(runs, 2);
}

TEST(Loop, calls_a_handler_that_forgets_its_descriptor_once) {
  loop::Loop sut;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  int calls = 0;
  sut.watch(ends[0], POLLIN, [&](short) {
    ++calls;
    sut.forget(ends[0]);
  });
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_TRUE(sut.runUntil([&] { return calls == 1; }, kPatience));
  EXPECT_FALSE(sut.runUntil([&] { return calls == 2; }, milliseconds(5)));
  close(ends[0]);
  close(ends[1]);
}

TEST(Lines, come_whole_however_they_are_cut) {
  loop::Lines sut(100);
  std::vector<std::string> lines;
  const auto take = [&](const std::string& line) {
    lines.push_back(line);
    return true;
  };
  for (const char character : std::string("ab\n\ncd\nef")) {
    ASSERT_TRUE(sut.add(&character, 1, take));
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"ab", "", "cd"}));
  EXPECT_TRUE(sut.hasPartial());
  EXPECT_EQ(sut.takePartial(), "ef");
  EXPECT_FALSE(sut.hasPartial());
}

TEST(Lines, behind_one_that_is_too_long_are_taken) {
  loop::Lines sut(4);
  std::vector<std::string> lines;
  const auto take = [&](const std::string& line) {
    lines.push_back(line);
    return true;
  };
  EXPECT_FALSE(sut.add("abcde", 5, take));
  EXPECT_TRUE(sut.add("fghijklm", 8, take));
  EXPECT_TRUE(sut.add("no\nab\n", 6, take));
  EXPECT_FALSE(sut.add("abcdefg\ncd\n", 11, take));
  EXPECT_TRUE(sut.go(take));
  EXPECT_EQ(lines, (std::vector<std::string>{"ab", "cd"}));
}

TEST(Lines, that_are_too_long_are_refused_with_and_without_an_end) {
  const auto take = [](const std::string&) { return true; };
  const std::string exact(10, 'x');
  EXPECT_TRUE(loop::Lines(10).add((exact + "\n").data(), 11, take));
  EXPECT_FALSE(loop::Lines(10).add((exact + "x\n").data(), 12, take));
  EXPECT_FALSE(loop::Lines(10).add((exact + "x").data(), 11, take));
}

}  // namespace
