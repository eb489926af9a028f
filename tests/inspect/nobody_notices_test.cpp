// While 10,000 ring messages a second go between processes, commands that look on are started, stopped, suspended and
// killed a hundred times each. Nobody notices: every message arrives once and in order, every result is there, no
// receiver falls so far behind that it loses anything, and no lock of a segment is waited for because of it.
// LINKAPP_ONLOOKER_ROUNDS=1000 tries more.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "inspect/snapshot.h"
#include "tests/inspect/inspect_fixture.h"
#include "tests/inspect/onlooker.h"
#include "tests/support/child.h"
#include "tests/support/wait_until.h"

namespace {

using test_support::Child;
using test_support::waitUntil;

constexpr const char* kSendsPerSecond = "5000";  // each comes back, so that the rings carry twice as many
constexpr int kRoundsOfSanitizers = 10;

int rounds() {
  const char* const wanted = getenv("LINKAPP_ONLOOKER_ROUNDS");
  const int usual = test_support::kSlowness > 1 ? kRoundsOfSanitizers : 100;
  return wanted == nullptr ? usual : static_cast<int>(std::strtol(wanted, nullptr, 10));
}

struct Figures {
  std::uint64_t sent = 0;
  std::uint64_t results = 0;
  std::uint64_t echoes = 0;
  std::uint64_t wrong = 0;
};

Figures ask(Child& app, const std::string& question) {
  Figures figures;
  std::istringstream words(app.ask(question));
  words >> figures.sent >> figures.results >> figures.echoes >> figures.wrong;
  return figures;
}

double medianOf(Child& app) {
  return std::strtod(app.ask("median").c_str(), nullptr) / 1e3;  // microseconds
}

[[nodiscard]] bool waitForMore(Child& app, std::uint64_t messages) {
  const std::uint64_t before = ask(app, "figures").echoes;
  return waitUntil([&] { return ask(app, "figures").echoes >= before + messages; });
}

std::uint64_t contendedIn(const inspect::Snapshot& snapshot) {
  std::uint64_t sum = 0;
  for (const inspect::Lock& lock : snapshot.locks) {
    EXPECT_EQ(lock.problem, "");
    sum += lock.contended;
  }
  return sum;
}

// For people: nothing is asserted of it, since the processors belong to others, too.
struct Stretch {
  double time;
  std::uint64_t sent;
  double median;
  std::uint64_t contended;

  static Stretch endOf(Child& app) {
    return {test_support::monotonicSeconds(), ask(app, "figures").sent, medianOf(app),
            contendedIn(inspect::takeSnapshot())};
  }
  void print(const char* name, const Stretch& before) const {
    const double seconds = time - before.time;
    printf("%s: %.1f s, %.0f sends/s, median round trip %.0f us, locks contended %.1f times/s\n", name, seconds,
           static_cast<double>(sent - before.sent) / seconds, median,
           static_cast<double>(contended - before.contended) / seconds);
  }
};

class NobodyNotices : public InspectTest, public testing::WithParamInterface<OnlookerKind> {
 public:
  // One is suspended while traffic goes on, goes on itself, and is ended; another one is killed.
  static void lookOn(Child& app, int round) {
    SCOPED_TRACE("round " + std::to_string(round));
    Onlooker polite(GetParam());
    Onlooker killed(GetParam());
    ASSERT_TRUE(polite.writesMore());
    ASSERT_TRUE(killed.writesMore());
    ASSERT_TRUE(polite.suspend());
    killed.signal(SIGKILL);
    ASSERT_EQ(killed.awaitEnd(), 128 + SIGKILL);
    ASSERT_TRUE(waitForMore(app, 50));
    polite.signal(SIGCONT);
    ASSERT_TRUE(polite.writesMore());
    polite.signal(SIGTERM);
    const auto end = polite.awaitEnd();
    ASSERT_TRUE(end == 0 || end == 128 + SIGTERM) << end.value_or(-1);
  }

  static void expectNothingLost(const Figures& figures) {
    EXPECT_GT(figures.sent, 0U);
    EXPECT_EQ(figures.results, figures.sent);
    EXPECT_EQ(figures.echoes, figures.sent);
    EXPECT_EQ(figures.wrong, 0U);
    for (const inspect::ReceiverView& receiver : inspect::takeSnapshot().receivers) {
      EXPECT_EQ(receiver.listed.lost, 0U) << receiver.listed.pid;
    }
  }
};

TEST_P(NobodyNotices, of_the_processes_of_a_session_that_somebody_looks_on) {
  Child phone("traffic_phone");
  Child app("traffic_app", {kSendsPerSecond});
  ASSERT_TRUE(phone.expect("ready") && app.expect("ready"));
  phone.tell("connect");
  ASSERT_TRUE(app.expect("open"));
  app.tell("go");
  ASSERT_TRUE(waitForMore(app, 1000));
  medianOf(app);
  const Stretch begin = Stretch::endOf(app);
  ASSERT_TRUE(waitForMore(app, test_support::kSlowness > 1 ? 500 : 10000));
  const Stretch alone = Stretch::endOf(app);
  for (int round = 0; round < rounds(); ++round) {
    ASSERT_NO_FATAL_FAILURE(lookOn(app, round));
  }
  const Stretch beside = Stretch::endOf(app);
  expectNothingLost(ask(app, "end"));
  alone.print("alone", begin);
  beside.print((std::to_string(rounds()) + " rounds of " + GetParam().name).c_str(), alone);
}

// One thread of one process takes the locks of the segments: nobody can wait for it there, so the counters stand still,
// however long a processor is taken away from it. Whoever made somebody wait would move them.
TEST_P(NobodyNotices, at_the_locks_that_somebody_looks_on) {
  Child traffic("traffic_alone", {kSendsPerSecond});
  Child ear("traffic_ear");
  ASSERT_TRUE(traffic.expect("ready") && ear.expect("ready"));
  traffic.tell("connect");
  ASSERT_TRUE(traffic.expect("open"));
  traffic.tell("go");
  ASSERT_TRUE(waitForMore(traffic, 100));
  const std::uint64_t before = contendedIn(inspect::takeSnapshot());
  for (int round = 0; round < rounds(); ++round) {
    ASSERT_NO_FATAL_FAILURE(lookOn(traffic, round));
  }
  const Figures figures = ask(traffic, "end");
  expectNothingLost(figures);
  EXPECT_EQ(contendedIn(inspect::takeSnapshot()), before);
  const std::string heard = std::to_string(figures.sent + figures.echoes);
  EXPECT_TRUE(waitUntil([&] { return ear.ask("heard") == heard; }));
  printf("%s: %llu messages on one thread, its locks contended %llu times before and after\n", GetParam().name.c_str(),
         static_cast<unsigned long long>(figures.sent), static_cast<unsigned long long>(before));
}

// The reason for it: whoever has no lock object mapped and none open for writing cannot take one.
TEST_P(NobodyNotices, whose_objects_are_neither_mapped_nor_opened_for_writing) {
  Child phone("traffic_phone");
  Child app("traffic_app", {kSendsPerSecond});
  ASSERT_TRUE(phone.expect("ready") && app.expect("ready"));
  phone.tell("connect");
  ASSERT_TRUE(app.expect("open"));
  app.tell("go");
  Onlooker sut(GetParam());
  ASSERT_TRUE(sut.writesMore());
  ASSERT_TRUE(sut.writesMore());
  ASSERT_TRUE(sut.suspend());
  const std::string folder = "/proc/" + std::to_string(sut.pid());
  std::ifstream maps(folder + "/maps");
  std::stringstream mapped;
  mapped << maps.rdbuf();
  EXPECT_NE(mapped.str(), "");
  EXPECT_EQ(mapped.str().find(inspect::kSharedMemory), std::string::npos) << mapped.str();
  int objects = 0;
  for (int fd = 0; fd < 256; ++fd) {
    char target[256] = {};
    const bool isOpen = readlink((folder + "/fd/" + std::to_string(fd)).c_str(), target, sizeof target - 1) > 0;
    if (!isOpen || std::string(target).rfind(inspect::kSharedMemory, 0) != 0) {
      continue;
    }
    ++objects;
    std::ifstream info(folder + "/fdinfo/" + std::to_string(fd));
    std::string word;
    unsigned int flags = ~0U;
    while (info >> word) {
      if (word == "flags:") {
        info >> std::oct >> flags;
        break;
      }
    }
    EXPECT_EQ(flags & O_ACCMODE, static_cast<unsigned int>(O_RDONLY)) << target;
  }
  EXPECT_GT(objects, 0);
  sut.signal(SIGCONT);
  expectNothingLost(ask(app, "end"));
}

INSTANTIATE_TEST_SUITE_P(Commands, NobodyNotices,
                         testing::Values(OnlookerKind{"monitor", {"monitor"}},
                                         OnlookerKind{"record", {"record", "FILE"}}),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
