#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/fake/FakeFramework.h"

namespace {

using testing::ElementsAre;

// An observer that keeps what it gets and then does what the test wants.
class Recorder {
 public:
  unsigned int onUpdate(unsigned int id, void* data, unsigned int size) {
    ids.push_back(id);
    payloads.emplace_back(static_cast<const char*>(data), size);
    if (then) {
      then();
    }
    return 0;
  }
  VQObserver_* observer() { return observer_.get(); }
  void destroyObserver() { observer_.reset(); }

  std::vector<unsigned int> ids;
  std::vector<std::string> payloads;
  std::function<void()> then;

 private:
  std::unique_ptr<VQObserver<Recorder>> observer_ = std::make_unique<VQObserver<Recorder>>(this, &Recorder::onUpdate);
};

class FakeNotifierTest : public testing::Test {
 public:
  FakeNotifierTest() { vqfake::reset(); }
  ~FakeNotifierTest() override { vqfake::reset(); }

 protected:
  bool add(Recorder& recorder, std::vector<unsigned int> ids) {
    return sut.AddObserver(recorder.observer(), ids.data(), static_cast<unsigned int>(ids.size()));
  }
  void notify(unsigned int id, const std::string& payload = "") {
    sut.NotifyDataUpdate(id, payload.data(), static_cast<unsigned int>(payload.size()));
  }

  VQSharedMemNotifier sut{false};
  Recorder first;
  Recorder second;
};

TEST_F(FakeNotifierTest, NothingIsDeliveredBeforeTheTestSaysSo) {
  add(first, {1});
  notify(1);
  EXPECT_TRUE(first.ids.empty());
  EXPECT_EQ(vqfake::pendingCount(), 1U);
}

TEST_F(FakeNotifierTest, DeliversOneMessageAtATimeInTheOrderOfPosting) {
  add(first, {1, 2});
  notify(2, "a");
  notify(1, "b");
  EXPECT_TRUE(vqfake::deliverNext());
  EXPECT_THAT(first.payloads, ElementsAre("a"));
  EXPECT_TRUE(vqfake::deliverNext());
  EXPECT_THAT(first.ids, ElementsAre(2, 1));
  EXPECT_FALSE(vqfake::deliverNext());
}

TEST_F(FakeNotifierTest, AnObserverGetsItsOwnIdentifiersOnly) {
  add(first, {1});
  add(second, {2, 3});
  for (const unsigned int id : {1U, 2U, 3U, 4U}) {
    notify(id);
  }
  EXPECT_EQ(vqfake::deliverAll(), 4U);
  EXPECT_THAT(first.ids, ElementsAre(1));
  EXPECT_THAT(second.ids, ElementsAre(2, 3));
}

TEST_F(FakeNotifierTest, AnotherNotifiersMessagesArriveToo) {
  add(first, {1});
  VQSharedMemNotifier(false).NotifyDataUpdate(1, "x", 1);
  vqfake::post(1, "y", 1);
  vqfake::deliverAll();
  EXPECT_THAT(first.payloads, ElementsAre("x", "y"));
}

TEST_F(FakeNotifierTest, MessagesPostedBeforeAnObserverWasAddedAreNotForIt) {
  add(first, {1});
  notify(1, "before");
  add(second, {1});
  notify(1, "after");
  vqfake::deliverAll();
  EXPECT_THAT(first.payloads, ElementsAre("before", "after"));
  EXPECT_THAT(second.payloads, ElementsAre("after"));
}

TEST_F(FakeNotifierTest, AnObserverAddedTwiceIsCalledTwice) {
  add(first, {1});
  add(first, {1});
  notify(1);
  vqfake::deliverAll();
  EXPECT_THAT(first.ids, ElementsAre(1, 1));
}

TEST_F(FakeNotifierTest, RemovingAnObserverTakesEveryRegistrationBack) {
  add(first, {1});
  add(first, {2});
  EXPECT_TRUE(sut.RemoveObserver(first.observer()));
  EXPECT_TRUE(vqfake::registrations().empty());
  EXPECT_FALSE(sut.RemoveObserver(first.observer()));
}

TEST_F(FakeNotifierTest, RemovingLeavesAnotherNotifiersRegistrationAlone) {
  VQSharedMemNotifier other(false);
  const unsigned int id = 1;
  other.AddObserver(first.observer(), &id, 1);
  EXPECT_FALSE(sut.RemoveObserver(first.observer()));
  EXPECT_EQ(vqfake::registrations().size(), 1U);
}

TEST_F(FakeNotifierTest, AMessageThatWaitsIsNotDeliveredToARemovedObserver) {
  add(first, {1});
  notify(1);
  sut.RemoveObserver(first.observer());
  vqfake::deliverAll();
  EXPECT_TRUE(first.ids.empty());
}

TEST_F(FakeNotifierTest, ADestroyedObserverIsForgotten) {
  add(first, {1});
  first.destroyObserver();
  EXPECT_TRUE(vqfake::registrations().empty());
}

TEST_F(FakeNotifierTest, ADestroyedNotifiersRegistrationsAreForgotten) {
  auto other = std::make_unique<VQSharedMemNotifier>(false);
  const unsigned int id = 1;
  other->AddObserver(first.observer(), &id, 1);
  other.reset();
  EXPECT_TRUE(vqfake::registrations().empty());
}

TEST_F(FakeNotifierTest, AnObserverMayRemoveItselfAndTheNextDuringACall) {
  first.then = [this] {
    sut.RemoveObserver(first.observer());
    sut.RemoveObserver(second.observer());
  };
  add(first, {1});
  add(second, {1});
  notify(1);
  notify(1);
  vqfake::deliverAll();
  EXPECT_THAT(first.ids, ElementsAre(1));
  EXPECT_TRUE(second.ids.empty());
}

TEST_F(FakeNotifierTest, AnObserverAddedDuringACallGetsOnlyWhatIsPostedAfterwards) {
  first.then = [this] {
    first.then = nullptr;
    add(second, {1});
    notify(1, "third");
  };
  add(first, {1});
  notify(1, "first");
  notify(1, "second");
  EXPECT_EQ(vqfake::deliverAll(), 3U);
  EXPECT_THAT(first.payloads, ElementsAre("first", "second", "third"));
  EXPECT_THAT(second.payloads, ElementsAre("third"));
}

TEST_F(FakeNotifierTest, ACallCannotDeliverAnotherMessage) {
  bool hasDelivered = true;
  first.then = [&hasDelivered] { hasDelivered = vqfake::deliverNext(); };
  add(first, {1});
  notify(1);
  notify(1);
  vqfake::deliverNext();
  EXPECT_FALSE(hasDelivered);
  EXPECT_EQ(vqfake::pendingCount(), 1U);
}

class Zeros {
 public:
  unsigned int onUpdate(unsigned int /*id*/, void* data, unsigned int size) {
    const unsigned char* const bytes = static_cast<const unsigned char*>(data);
    isAligned = reinterpret_cast<std::uintptr_t>(data) % alignof(std::max_align_t) == 0;
    while (count < 512 && bytes[size + count] == 0) {
      ++count;
    }
    return 0;
  }
  bool isAligned = false;
  unsigned int count = 0;
};

TEST_F(FakeNotifierTest, APayloadIsAlignedAndFollowedBy512Zeros) {
  Zeros zeros;
  VQObserver<Zeros> observer(&zeros, &Zeros::onUpdate);
  const unsigned int id = 1;
  sut.AddObserver(&observer, &id, 1);
  notify(1, "abc");
  vqfake::deliverAll();
  EXPECT_TRUE(zeros.isAligned);
  EXPECT_EQ(zeros.count, 512U);
}

TEST_F(FakeNotifierTest, APayloadIsACopy) {
  std::string payload = "before";
  add(first, {1});
  sut.NotifyDataUpdate(1, payload.data(), 6);
  payload.replace(0, 6, "after!");
  vqfake::deliverAll();
  EXPECT_THAT(first.payloads, ElementsAre("before"));
}

TEST_F(FakeNotifierTest, KeepsWhatWasPosted) {
  notify(7, "ab");
  vqfake::deliverAll();
  ASSERT_EQ(vqfake::posted().size(), 1U);
  EXPECT_EQ(vqfake::posted()[0].id, 7U);
  EXPECT_THAT(vqfake::posted()[0].payload, ElementsAre('a', 'b'));
}

TEST_F(FakeNotifierTest, TellsRegistrationsInTheOrderOfAddition) {
  add(first, {4});
  add(second, {2, 3});
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4), ElementsAre(2, 3)));
}

TEST_F(FakeNotifierTest, RefusesWhatTheContractRefuses) {
  const unsigned int id = 1;
  const std::string tooLong(VQSharedMemNotifier::kMaxPayload + 1, 'x');
  EXPECT_FALSE(sut.AddObserver(nullptr, &id, 1));
  EXPECT_FALSE(sut.AddObserver(first.observer(), nullptr, 1));
  EXPECT_FALSE(sut.AddObserver(first.observer(), &id, 0));
  EXPECT_FALSE(sut.NotifyDataUpdate(1, nullptr, 1));
  EXPECT_FALSE(sut.NotifyDataUpdate(1, tooLong.data(), VQSharedMemNotifier::kMaxPayload + 1));
  EXPECT_TRUE(sut.NotifyDataUpdate(1, tooLong.data(), VQSharedMemNotifier::kMaxPayload));
  EXPECT_EQ(vqfake::posted().size(), 1U);
}

TEST_F(FakeNotifierTest, RefusesEverythingWhileItIsUnusable) {
  vqfake::setNotifierUsable(false);
  EXPECT_FALSE(add(first, {1}));
  EXPECT_FALSE(sut.NotifyDataUpdate(1, nullptr, 0));
  EXPECT_EQ(vqfake::log().size(), 1U);
}

TEST_F(FakeNotifierTest, ResetForgetsMessagesAndKeepsRegistrations) {
  add(first, {1});
  notify(1, "before");
  vqfake::reset();
  EXPECT_EQ(vqfake::pendingCount(), 0U);
  EXPECT_TRUE(vqfake::posted().empty());
  notify(1, "after");
  vqfake::deliverAll();
  EXPECT_THAT(first.payloads, ElementsAre("after"));
}

TEST_F(FakeNotifierTest, ThreadsMayPostAtTheSameTime) {
  constexpr unsigned int kThreads = 4;
  constexpr unsigned int kMessages = 250;
  add(first, {0, 1, 2, 3});
  std::vector<std::thread> threads;
  for (unsigned int id = 0; id < kThreads; ++id) {
    threads.emplace_back([this, id] {
      for (unsigned int i = 0; i < kMessages; ++i) {
        sut.NotifyDataUpdate(id, &i, sizeof i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(vqfake::deliverAll(), kThreads * kMessages);
  std::vector<unsigned int> next(kThreads, 0);
  for (std::size_t i = 0; i < first.ids.size(); ++i) {
    unsigned int number = 0;
    memcpy(&number, first.payloads[i].data(), sizeof number);
    ASSERT_EQ(number, next[first.ids[i]]++);
  }
}

}  // namespace
