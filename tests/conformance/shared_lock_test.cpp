#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Sync/VQSyncGuard.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::Worker;

void lock(const VQSharedSyncObject& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  sut.lock();
}

void unlock(const VQSharedSyncObject& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  sut.unlock();
}

// A thread that wants the lock, and gives it back as soon as it has it.
class Contender {
 public:
  explicit Contender(const VQSharedSyncObject& sut)
      : thread_([&sut] {
          lock(sut);
          unlock(sut);
        }) {}
  bool waits() const { return thread_.isHeldUp(); }
  bool isThrough() const { return thread_.ends(); }

 private:
  const Worker thread_;
};

class SharedLockTest : public testing::Test {
 protected:
  const VQSharedSyncObject sut{"conformance.lock"};
  const VQSharedSyncObject same{"conformance.lock"};
};

TEST_F(SharedLockTest, IsFreeAtFirst) {
  EXPECT_TRUE(Contender(sut).isThrough());
}

TEST_F(SharedLockTest, KeepsAnotherThreadOutUntilItIsUnlocked) {
  lock(sut);
  const Contender other(sut);
  EXPECT_TRUE(other.waits());
  unlock(sut);
  EXPECT_TRUE(other.isThrough());
}

TEST_F(SharedLockTest, KeepsAnotherThreadOutThatHasItsOwnObjectOfTheName) {
  lock(sut);
  const Contender other(same);
  EXPECT_TRUE(other.waits());
  unlock(sut);
  EXPECT_TRUE(other.isThrough());
}

TEST_F(SharedLockTest, LetsItsHolderInAgainAndNeedsAsManyUnlocks) {
  lock(sut);
  lock(sut);
  lock(sut);
  unlock(sut);
  unlock(sut);
  const Contender other(sut);
  EXPECT_TRUE(other.waits());
  unlock(sut);
  EXPECT_TRUE(other.isThrough());
}

TEST_F(SharedLockTest, LetsItsHolderInAgainThroughAnotherObjectOfTheName) {
  lock(sut);
  lock(same);
  unlock(sut);
  const Contender other(sut);
  EXPECT_TRUE(other.waits());
  unlock(same);
  EXPECT_TRUE(other.isThrough());
}

TEST_F(SharedLockTest, StaysHeldWhenAnotherObjectOfTheNameGoes) {
  auto passing = std::make_unique<VQSharedSyncObject>("conformance.lock");
  lock(sut);
  lock(*passing);
  unlock(*passing);
  passing.reset();
  const Contender other(same);
  EXPECT_TRUE(other.waits());
  unlock(sut);
}

TEST_F(SharedLockTest, IsNotAffectedByAnUnlockOnAnotherThread) {
  lock(sut);
  {
    const Worker stranger([this] { unlock(sut); });
  }
  const Contender other(sut);
  EXPECT_TRUE(other.waits());
  unlock(sut);
  EXPECT_TRUE(other.isThrough());
}

TEST_F(SharedLockTest, IsNotAffectedByAnUnlockOfNobodysLock) {
  unlock(sut);
  unlock(sut);
  lock(sut);
  const Contender other(sut);
  EXPECT_TRUE(other.waits());
  unlock(sut);
  EXPECT_TRUE(other.isThrough());
}

TEST_F(SharedLockTest, IsNotAffectedByOneUnlockTooMany) {
  lock(sut);
  unlock(sut);
  unlock(sut);
  EXPECT_TRUE(Contender(sut).isThrough());
}

TEST_F(SharedLockTest, HasNothingToDoWithALockOfAnotherName) {
  const VQSharedSyncObject another("conformance.lock2");
  lock(sut);
  EXPECT_TRUE(Contender(another).isThrough());
  unlock(sut);
}

TEST_F(SharedLockTest, LetsOneThreadInAtATime) {
  constexpr int kRounds = 5000;
  int count = 0;
  const auto countUp = [&count](const VQSharedSyncObject& object) {
    for (int i = 0; i < kRounds; ++i) {
      lock(object);
      ++count;
      unlock(object);
    }
  };
  {
    const Worker one([&] { countUp(sut); });
    const Worker two([&] { countUp(same); });
    const Worker three([&] { countUp(sut); });
  }
  EXPECT_EQ(count, 3 * kRounds);
}

TEST_F(SharedLockTest, OfTheLongestNameIsShared) {
  const std::string name = "conformance." + std::string(VQSharedSyncObject::kMaxNameLength - 12, 'n');
  ASSERT_EQ(name.size(), 248U);
  const VQSharedSyncObject one(name.c_str());
  const VQSharedSyncObject two(name.c_str());
  lock(one);
  const Contender other(two);
  EXPECT_TRUE(other.waits());
  unlock(one);
  EXPECT_TRUE(other.isThrough());
}

struct UnusableName {
  const char* description;
  const char* name;
};

class PrivateLockTest : public testing::TestWithParam<UnusableName> {};

TEST_P(PrivateLockTest, SharesNothingWithAnotherObjectOfTheName) {
  const VQSharedSyncObject sut(GetParam().name);
  const VQSharedSyncObject other(GetParam().name);
  lock(sut);
  EXPECT_TRUE(Contender(other).isThrough());
  unlock(sut);
}

TEST_P(PrivateLockTest, KeepsOtherThreadsOut) {
  const VQSharedSyncObject sut(GetParam().name);
  lock(sut);
  lock(sut);
  unlock(sut);
  const Contender other(sut);
  EXPECT_TRUE(other.waits());
  unlock(sut);
  EXPECT_TRUE(other.isThrough());
}

const std::string kTooLong(VQSharedSyncObject::kMaxNameLength + 1, 'n');
INSTANTIATE_TEST_SUITE_P(Of, PrivateLockTest,
                         testing::Values(UnusableName{"NoName", nullptr}, UnusableName{"AnEmptyName", ""},
                                         UnusableName{"AName249CharactersLong", kTooLong.c_str()}),
                         [](const auto& tested) { return std::string(tested.param.description); });

TEST(SyncGuardOfASharedLock, HoldsItForItsScope) {
  const VQSharedSyncObject object("conformance.guarded");
  std::unique_ptr<Contender> other;
  {
    const VQSyncGuard sut(object);
    other = std::make_unique<Contender>(object);
    EXPECT_TRUE(other->waits());
  }
  EXPECT_TRUE(other->isThrough());
}

TEST(SyncGuardOfASharedLock, MayBeNestedAndEndsWithTheOutermost) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject object("conformance.guarded");
  std::unique_ptr<Contender> other;
  {
    const VQSyncGuard sut(object);
    { const VQSyncGuard nested(object); }
    other = std::make_unique<Contender>(object);
    EXPECT_TRUE(other->waits());
  }
  EXPECT_TRUE(other->isThrough());
}

}  // namespace
