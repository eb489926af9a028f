#include "LinkAppCommon/private/ListenerSet.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "tests/conformance/worker.h"

namespace {

using conformance::Worker;
using testing::ElementsAre;
using testing::IsEmpty;

struct Listener {
  void call(int value) {
    values.push_back(value);
    if (during) {
      during();
    }
  }
  std::vector<int> values;
  std::function<void()> during;
};

class ListenerSet : public testing::Test {
 protected:
  void callEach(int value) {
    sut.callEach([value](Listener& listener) { listener.call(value); });
  }
  void insertAll() {
    for (Listener& listener : listeners) {
      EXPECT_TRUE(sut.insert(&listener));
    }
  }

  Listener listeners[3];
  LinkAppListenerSet<Listener> sut;
};

TEST_F(ListenerSet, IsEmptyUntilAListenerIsInsertedAndAfterTheLastIsErased) {
  EXPECT_TRUE(sut.isEmpty());
  sut.insert(&listeners[0]);
  sut.insert(&listeners[1]);
  EXPECT_FALSE(sut.isEmpty());
  sut.erase(&listeners[0]);
  EXPECT_FALSE(sut.isEmpty());
  sut.erase(&listeners[1]);
  EXPECT_TRUE(sut.isEmpty());
}

TEST_F(ListenerSet, InsertIsFalseForAListenerThatIsThere) {
  EXPECT_TRUE(sut.insert(&listeners[0]));
  EXPECT_FALSE(sut.insert(&listeners[0]));
  callEach(1);
  EXPECT_THAT(listeners[0].values, ElementsAre(1));
}

TEST_F(ListenerSet, EraseIsFalseForAListenerThatIsNotThere) {
  EXPECT_FALSE(sut.erase(&listeners[0]));
  sut.insert(&listeners[0]);
  EXPECT_FALSE(sut.erase(&listeners[1]));
  EXPECT_TRUE(sut.erase(&listeners[0]));
  EXPECT_FALSE(sut.erase(&listeners[0]));
}

TEST_F(ListenerSet, TakesAnErasedListenerAgain) {
  sut.insert(&listeners[0]);
  sut.erase(&listeners[0]);
  EXPECT_TRUE(sut.insert(&listeners[0]));
  callEach(1);
  EXPECT_THAT(listeners[0].values, ElementsAre(1));
}

TEST_F(ListenerSet, CallsInAscendingOrderOfAddresses) {
  std::vector<Listener*> order;
  for (const int i : {1, 2, 0}) {
    sut.insert(&listeners[i]);
  }
  sut.callEach([&order](Listener& listener) { order.push_back(&listener); });
  EXPECT_THAT(order, ElementsAre(&listeners[0], &listeners[1], &listeners[2]));
}

TEST_F(ListenerSet, WithoutListenersCallsNobody) {
  bool isCalled = false;
  sut.callEach([&isCalled](Listener&) { isCalled = true; });
  EXPECT_FALSE(isCalled);
}

TEST_F(ListenerSet, SkipsAListenerThatHasLeftBeforeItsTurn) {
  insertAll();
  listeners[0].during = [this] { sut.erase(&listeners[1]); };
  callEach(1);
  EXPECT_THAT(listeners[1].values, IsEmpty());
  EXPECT_THAT(listeners[2].values, ElementsAre(1));
}

TEST_F(ListenerSet, SkipsAListenerThatHasLeftAndComeBackBeforeItsTurn) {
  insertAll();
  listeners[0].during = [this] {
    sut.erase(&listeners[1]);
    sut.insert(&listeners[1]);
  };
  callEach(1);
  EXPECT_THAT(listeners[1].values, IsEmpty());
  listeners[0].during = nullptr;
  callEach(2);
  EXPECT_THAT(listeners[1].values, ElementsAre(2));
}

TEST_F(ListenerSet, DoesNotCallAListenerThatCameDuringTheCalls) {
  sut.insert(&listeners[1]);
  listeners[1].during = [this] {
    sut.insert(&listeners[0]);
    sut.insert(&listeners[2]);
  };
  callEach(1);
  EXPECT_THAT(listeners[0].values, IsEmpty());
  EXPECT_THAT(listeners[2].values, IsEmpty());
}

TEST_F(ListenerSet, ALaterCallFromWithinACallReachesEverybodyThatIsThereThen) {
  insertAll();
  listeners[0].during = [this] {
    if (listeners[0].values.size() == 1) {
      sut.erase(&listeners[1]);
      callEach(2);
    }
  };
  callEach(1);
  EXPECT_THAT(listeners[0].values, ElementsAre(1, 2));
  EXPECT_THAT(listeners[1].values, IsEmpty());
  EXPECT_THAT(listeners[2].values, ElementsAre(2, 1));
}

TEST_F(ListenerSet, EraseByAnotherThreadWaitsForTheListenersCallOnly) {
  insertAll();
  std::unique_ptr<Worker> own;
  std::atomic<bool> hasEnded{false};
  std::atomic<bool> hadEnded{false};
  listeners[0].during = [&] {
    const Worker another([this] { sut.erase(&listeners[1]); });
    EXPECT_TRUE(another.ends());
    own = std::make_unique<Worker>([&] {
      sut.erase(&listeners[0]);
      hadEnded = hasEnded.load();
    });
    EXPECT_TRUE(own->isHeldUp());
    hasEnded = true;
  };
  callEach(1);
  ASSERT_TRUE(own->ends());
  EXPECT_TRUE(hadEnded);
}

TEST_F(ListenerSet, CanBeUsedWhileAnEraseWaits) {
  insertAll();
  std::unique_ptr<Worker> eraser;
  listeners[0].during = [&] {
    eraser = std::make_unique<Worker>([this] { sut.erase(&listeners[0]); });
    EXPECT_TRUE(eraser->isHeldUp());
    const Worker user([this] {
      EXPECT_FALSE(sut.isEmpty());
      EXPECT_TRUE(sut.erase(&listeners[1]));
      EXPECT_TRUE(sut.insert(&listeners[0])) << "it has left, only its call has not ended";
    });
    EXPECT_TRUE(user.ends());
  };
  callEach(1);
  ASSERT_TRUE(eraser->ends());
  listeners[0].during = nullptr;
  callEach(2);
  EXPECT_THAT(listeners[0].values, ElementsAre(1, 2));
}

TEST_F(ListenerSet, LosesNoListenerWhereThreadsInsertAndEraseTogether) {
  constexpr unsigned int kListeners = 50;
  std::vector<Listener> many(std::size_t{4} * kListeners);
  {
    std::vector<std::unique_ptr<Worker>> workers;
    for (unsigned int thread = 0; thread < 4; ++thread) {
      workers.push_back(std::make_unique<Worker>([&, thread] {
        for (unsigned int i = 0; i < kListeners; ++i) {
          Listener* const own = &many[thread * kListeners + i];
          EXPECT_TRUE(sut.insert(own));
          if (i % 2 == 0) {
            EXPECT_TRUE(sut.erase(own));
          }
        }
      }));
    }
  }
  callEach(1);
  for (std::size_t i = 0; i < many.size(); ++i) {
    EXPECT_EQ(many[i].values.size(), i % 2) << i;
  }
}

}  // namespace
