// What happens when a process exits: each test looks at a process of its own.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Singleton/VQSingletonFinalizer.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

using test_support::Child;
using test_support::say;
using testing::ElementsAre;

void tellFirst() {
  say("first");
}
void tellSecond() {
  say("second");
}
void tellThird() {
  say("third");
}

void addMore() {
  say("adds");
  VQSingletonFinalizer::addDestroyFunc(&tellSecond);
  VQSingletonFinalizer::addDestroyFunc(&tellThird);
}

void addOnAnotherThread() {
  std::thread([] { VQSingletonFinalizer::addDestroyFunc(&tellSecond); }).join();
  say("added");
}

std::vector<std::string> linesOf(const std::string& role) {
  Child process(role);
  std::vector<std::string> lines;
  while (const auto line = process.nextLine()) {
    lines.push_back(*line);
  }
  EXPECT_EQ(process.finish(), 0);
  return lines;
}

TEST_ROLE(adds_three) {
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  VQSingletonFinalizer::addDestroyFunc(&tellSecond);
  VQSingletonFinalizer::addDestroyFunc(&tellThird);
  say("exits");
  return 0;
}

TEST(FinalizerTest, FunctionsRunAtExitTheNewestFirst) {
  EXPECT_THAT(linesOf("adds_three"), ElementsAre("exits", "third", "second", "first"));
}

TEST_ROLE(adds_while_they_run) {
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  VQSingletonFinalizer::addDestroyFunc(&addMore);
  return 0;
}

TEST(FinalizerTest, FunctionsThatAreAddedMeanwhileComeBeforeTheOlderOnes) {
  EXPECT_THAT(linesOf("adds_while_they_run"), ElementsAre("adds", "third", "second", "first"));
}

TEST_ROLE(adds_from_another_thread_while_they_run) {
  VQSingletonFinalizer::addDestroyFunc(&addOnAnotherThread);
  return 0;
}

TEST(FinalizerTest, NoLockIsHeldWhileAFunctionRuns) {
  EXPECT_THAT(linesOf("adds_from_another_thread_while_they_run"), ElementsAre("added", "second"));
}

TEST_ROLE(adds_after_the_last_one) {
  atexit(&addMore);  // handlers run the newest first, so this comes after the finalizer's
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  return 0;
}

TEST(FinalizerTest, FunctionsThatAreAddedAfterTheLastOneRanAreCalledToo) {
  EXPECT_THAT(linesOf("adds_after_the_last_one"), ElementsAre("first", "adds", "third", "second"));
}

TEST_ROLE(adds_null) {
  VQSingletonFinalizer::addDestroyFunc(nullptr);
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  VQSingletonFinalizer::addDestroyFunc(nullptr);
  return 0;
}

TEST(FinalizerTest, NullIsIgnored) {
  EXPECT_THAT(linesOf("adds_null"), ElementsAre("first"));
}

TEST_ROLE(forks_and_both_exit) {
  const VQSharedSyncObject shared("finalizer");  // from here on, children must leave the parent's things alone
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  const pid_t child = fork();
  if (child == 0) {
    exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  say(status == 0 ? "child has exited" : "child has failed");
  return 0;
}

TEST(FinalizerTest, AForkedChildLeavesItsParentsInstancesAlone) {
  EXPECT_THAT(linesOf("forks_and_both_exit"), ElementsAre("child has exited", "first"));
}

TEST_ROLE(forks_before_its_first_use) {
  const pid_t child = fork();
  if (child == 0) {
    VQSingletonFinalizer::addDestroyFunc(&tellFirst);
    exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

TEST(FinalizerTest, AProcessForkedBeforeTheFirstUseEndsItsOwnInstances) {
  EXPECT_THAT(linesOf("forks_before_its_first_use"), ElementsAre("first"));
}

}  // namespace
