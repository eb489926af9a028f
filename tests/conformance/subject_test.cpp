#include "VQFramework/Observer/VQSubject.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/conformance/recorder.h"

namespace {

using conformance::Recorder;
using testing::ElementsAre;

class SubjectTest : public testing::Test {
 protected:
  void notify(VQSubject& subject) { subject.NotifyObserver(1, nullptr, 0, 0); }
  void notify() { notify(sut); }
  // Who was called since the last look.
  std::vector<std::string> called() {
    std::vector<std::string> names;
    names.swap(diary.names);
    return names;
  }

  Recorder::Diary diary;
  Recorder first{"first", diary};
  Recorder second{"second", diary};
  Recorder third{"third", diary};
  VQSubject sut;
};

TEST_F(SubjectTest, CallsItsObserversInTheOrderOfAddition) {
  sut.AddObserver(second.observer());
  sut.AddObserver(third.observer());
  sut.AddObserver(first.observer());
  notify();
  EXPECT_THAT(called(), ElementsAre("second", "third", "first"));
}

TEST_F(SubjectTest, HandsItsThreeArgumentsOver) {
  char data[] = "payload";
  const void* seen = nullptr;
  first.whileItsHere = [&seen](const void* payload, unsigned int) { seen = payload; };
  sut.AddObserver(first.observer());
  sut.NotifyObserver(0xFFFFFFFEU, data, 4, 0);
  EXPECT_THAT(first.ids(), ElementsAre(0xFFFFFFFEU));
  EXPECT_THAT(first.payloads(), ElementsAre("payl"));
  EXPECT_EQ(seen, data);
}

TEST_F(SubjectTest, WithoutObserversCallsNobody) {
  notify();
  EXPECT_THAT(called(), ElementsAre());
}

TEST_F(SubjectTest, CallsAnObserverTwiceThatWasAddedTwice) {
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  EXPECT_TRUE(sut.AddObserver(first.observer()));
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "second", "first"));
}

TEST_F(SubjectTest, RefusesANullObserver) {
  EXPECT_FALSE(sut.AddObserver(nullptr));
  EXPECT_FALSE(sut.RemoveObserver(nullptr));
  notify();
}

TEST_F(SubjectTest, RemovesEveryOccurrenceOfAnObserver) {
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  sut.AddObserver(first.observer());
  EXPECT_TRUE(sut.RemoveObserver(first.observer()));
  notify();
  EXPECT_THAT(called(), ElementsAre("second"));
}

TEST_F(SubjectTest, TellsThatARemovedObserverWasNotThere) {
  sut.AddObserver(first.observer());
  EXPECT_FALSE(sut.RemoveObserver(second.observer()));
  sut.RemoveObserver(first.observer());
  EXPECT_FALSE(sut.RemoveObserver(first.observer()));
}

TEST_F(SubjectTest, LetsAnObserverRemoveItselfDuringACall) {
  first.then = [this] { EXPECT_TRUE(sut.RemoveObserver(first.observer())); };
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  notify();
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "second", "second"));
}

TEST_F(SubjectTest, DoesNotCallAnObserverAgainThatRemovedItselfFromTwoPlaces) {
  first.then = [this] { sut.RemoveObserver(first.observer()); };
  sut.AddObserver(first.observer());
  sut.AddObserver(first.observer());
  notify();
  EXPECT_THAT(called(), ElementsAre("first"));
}

TEST_F(SubjectTest, DoesNotCallALaterObserverThatWasRemovedDuringTheCall) {
  first.then = [this] { sut.RemoveObserver(second.observer()); };
  for (Recorder* const recorder : {&first, &second, &third}) {
    sut.AddObserver(recorder->observer());
  }
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "third"));
}

TEST_F(SubjectTest, CallsTheRestOnceWhereAnEarlierObserverWasRemovedDuringTheCall) {
  second.then = [this] { sut.RemoveObserver(first.observer()); };
  for (Recorder* const recorder : {&first, &second, &third}) {
    sut.AddObserver(recorder->observer());
  }
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "second", "third"));
}

TEST_F(SubjectTest, CallsAnObserverThatWasAddedDuringACallFromTheNextNotificationOn) {
  first.then = [this] {
    if (first.count() == 1) {
      sut.AddObserver(second.observer());
    }
  };
  sut.AddObserver(first.observer());
  notify();
  EXPECT_THAT(called(), ElementsAre("first"));
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "second"));
}

TEST_F(SubjectTest, CallsAnObserverThatRemovedAndAddedItselfLastFromTheNextNotificationOn) {
  first.then = [this] {
    sut.RemoveObserver(first.observer());
    sut.AddObserver(first.observer());
  };
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  notify();
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "second", "second", "first"));
}

TEST_F(SubjectTest, MayBeNotifiedFromWithinACall) {
  first.then = [this] {
    if (first.count() == 1) {
      notify();
    }
  };
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "first", "second", "second"));
}

TEST_F(SubjectTest, ForgetsADestroyedObserver) {
  VQSubject another;
  for (VQSubject* const subject : {&sut, &another}) {
    subject->AddObserver(first.observer());
    subject->AddObserver(second.observer());
  }
  first.destroyObserver();
  notify();
  notify(another);
  EXPECT_THAT(called(), ElementsAre("second", "second"));
}

TEST_F(SubjectTest, ForgetsAnObserverThatIsDestroyedDuringItsOwnCall) {
  first.then = [this] { first.destroyObserver(); };
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  notify();
  notify();
  EXPECT_THAT(called(), ElementsAre("first", "second", "second"));
}

TEST_F(SubjectTest, ForgetsALaterObserverThatIsDestroyedDuringACall) {
  first.then = [this] { second.destroyObserver(); };
  sut.AddObserver(first.observer());
  sut.AddObserver(second.observer());
  notify();
  EXPECT_THAT(called(), ElementsAre("first"));
}

TEST_F(SubjectTest, LeavesItsObserversWholeWhenItGoes) {
  auto another = std::make_unique<VQSubject>();
  another->AddObserver(first.observer());
  sut.AddObserver(first.observer());
  another.reset();
  notify();
  first.destroyObserver();
  notify();
  EXPECT_THAT(called(), ElementsAre("first"));
}

TEST_F(SubjectTest, OfAnObserverThatOutlivedManySubjectsIsLikeAnyOther) {
  for (int i = 0; i < 100; ++i) {
    VQSubject passing;
    passing.AddObserver(first.observer());
  }
  sut.AddObserver(first.observer());
  notify();
  EXPECT_THAT(called(), ElementsAre("first"));
}

// Handlers of both kinds.
struct Handlers {
  unsigned int number(unsigned int id, void* data, unsigned int size) {
    seen.push_back(id);
    return id + size + (data == nullptr ? 0 : 1);
  }
  bool yesOrNo(unsigned int id, void* /*data*/, unsigned int /*size*/) { return id == 1; }
  std::vector<unsigned int> seen;
};

TEST(ObserverTest, ReturnsTheResultOfAHandlerThatGivesANumber) {
  Handlers handlers;
  VQObserver<Handlers> sut(&handlers, &Handlers::number);
  char data = 0;
  EXPECT_EQ(sut.Update(40, &data, 7), 48U);
  EXPECT_EQ(sut.Update(40, nullptr, 7), 47U);
  EXPECT_THAT(handlers.seen, ElementsAre(40, 40));
}

TEST(ObserverTest, ReturnsOneOrZeroForAHandlerThatGivesABool) {
  Handlers handlers;
  VQObserver<Handlers> sut(&handlers, &Handlers::yesOrNo);
  EXPECT_EQ(sut.Update(1, nullptr, 0), 1U);
  EXPECT_EQ(sut.Update(2, nullptr, 0), 0U);
}

TEST(ObserverTest, OfEitherKindIsCalledWhateverTheOthersReturn) {
  Handlers handlers;
  VQObserver<Handlers> no(&handlers, &Handlers::yesOrNo);
  VQObserver<Handlers> number(&handlers, &Handlers::number);
  VQSubject subject;
  for (VQObserver<Handlers>* const observer : {&number, &no, &number}) {
    subject.AddObserver(observer);
  }
  subject.NotifyObserver(2, nullptr, 0, 0);
  EXPECT_THAT(handlers.seen, ElementsAre(2, 2));
}

}  // namespace
