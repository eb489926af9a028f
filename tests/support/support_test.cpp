// The tests' own tools.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>

#include <algorithm>
#include <fstream>

#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/shm_files.h"

using test_support::answer;
using test_support::Child;
using test_support::hear;
using test_support::say;

namespace {

TEST_ROLE(echo) {
  for (const std::string& argument : args) {
    say(argument);
  }
  while (const auto line = hear()) {
    fprintf(stderr, "heard %s\n", line->c_str());
    answer(*line);
  }
  return 7;
}

TEST_ROLE(make_shm_object) {
  std::ofstream(test_support::shmFile(args.at(0))) << "made by a child";
  return 0;
}

TEST(Child, says_hears_logs_and_ends_with_the_code_of_its_role) {
  Child sut("echo", {"first", "second argument"});

  EXPECT_TRUE(sut.expect("first"));
  EXPECT_TRUE(sut.expect("second argument"));
  EXPECT_EQ(sut.ask("question"), "question");
  EXPECT_TRUE(sut.waitForLog("heard question"));
  EXPECT_EQ(sut.countInLog("heard"), 1U);
  EXPECT_EQ(sut.finish(), 7);
}

TEST(Child, in_a_role_that_nobody_has_ends_with_code_2) {
  Child sut("nobody");

  EXPECT_EQ(sut.wait(), 2);
}

TEST(Child, that_is_killed_tells_the_signal) {
  Child sut("echo");

  sut.kill();

  EXPECT_EQ(sut.wait(), 128 + SIGKILL);
}

TEST(Child, that_is_stopped_answers_when_it_proceeds) {
  Child sut("echo", {"ready"});
  ASSERT_TRUE(sut.expect("ready"));

  sut.stop();
  sut.tell("first question");
  EXPECT_EQ(sut.countInLog("heard"), 0U);
  sut.proceed();

  EXPECT_TRUE(sut.waitForLog("heard first question"));
}

TEST(Child, answers_apart_from_what_it_says_meanwhile) {
  Child sut("echo", {"said before"});

  EXPECT_EQ(sut.ask("question"), "question");
  EXPECT_TRUE(sut.expect("said before"));
}

TEST(PrivateShm, is_empty_at_the_start_and_shared_with_children) {
  const std::vector<std::string> before = test_support::shmNames();
  EXPECT_EQ(std::count(before.begin(), before.end(), "support_test"), 0);

  Child child("make_shm_object", {"support_test"});
  EXPECT_EQ(child.wait(), 0);

  EXPECT_EQ(test_support::shmSize("support_test"), 15U);
}

TEST(WaitUntil, gives_up_after_its_deadline) {
  EXPECT_FALSE(test_support::waitUntil([] { return false; }, 0.01));
}

TEST(WaitUntil, looks_again_until_the_condition_holds) {
  int looks = 0;
  EXPECT_TRUE(test_support::waitUntil([&] { return ++looks == 3; }));
}

}  // namespace
