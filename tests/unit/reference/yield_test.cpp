// A sender that posts one message after the other yields now and then where a receiver yields to it.
#include <gmock/gmock.h>
#include <sched.h>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "log_access.h"

namespace {

using log_access::kA;
using log_access::log;
using log_access::object;
using vqframework::MessageLog;

thread_local unsigned int yields = 0;

class YieldTest : public testing::Test {
 public:
  YieldTest() {
    log().noteForeignMessage();
    yields = 0;
  }
  ~YieldTest() override { object().yieldMark = 0; }

  static void post(unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      log().post(kA, nullptr, 0);
    }
  }
};

TEST_F(YieldTest, ASenderYieldsAtTheSixteenthPostInARow) {
  log().markYield();
  post(MessageLog::kPostsPerYield - 1);
  EXPECT_EQ(yields, 0U);
  post(1);
  EXPECT_EQ(yields, 1U);
}

TEST_F(YieldTest, ItYieldsAgainOnlyForAReceiverThatHasYieldedSince) {
  log().markYield();
  post(3 * MessageLog::kPostsPerYield);
  EXPECT_EQ(yields, 1U);
  log().markYield();
  post(MessageLog::kPostsPerYield);
  EXPECT_EQ(yields, 2U);
}

TEST_F(YieldTest, NobodyYieldsWhereNoReceiverDoes) {
  post(3 * MessageLog::kPostsPerYield);
  EXPECT_EQ(yields, 0U);
}

TEST_F(YieldTest, AMessageOfAnotherProcessBeginsTheCountAnew) {
  log().markYield();
  post(MessageLog::kPostsPerYield - 1);
  log().noteForeignMessage();
  post(MessageLog::kPostsPerYield - 1);
  EXPECT_EQ(yields, 0U);
}

TEST_F(YieldTest, AYieldWaitsForTheOutermostUnlock) {
  const VQSharedSyncObject outer("yield_test_outer");
  const VQSharedSyncObject inner("yield_test_inner");
  log().markYield();
  outer.lock();
  inner.lock();
  post(MessageLog::kPostsPerYield);
  inner.unlock();
  EXPECT_EQ(yields, 0U);
  outer.unlock();
  EXPECT_EQ(yields, 1U);
}

}  // namespace

// In front of the C library's.
extern "C" int sched_yield() noexcept {
  ++yields;
  return 0;
}
