// `linkapp record` beside real processes.
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>

#include "inspect/snapshot.h"
#include "record/reader.h"
#include "record/writer.h"
#include "tests/inspect/inspect_fixture.h"
#include "tests/support/child.h"
#include "tests/support/interruption.h"
#include "tests/support/wait_until.h"
#include "tests/tool/tool_process.h"
#include "text/pattern.h"

namespace {

using nlohmann::json;
using record::MessageSeen;
using record::Recording;
using test_support::Child;
using test_support::waitUntil;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Arguments = std::vector<std::string>;

class Record : public InspectTest {
 public:
  Record() {
    char folder[] = "/tmp/recording-XXXXXX";
    folder_ = mkdtemp(folder);
    file_ = folder_ + "/x.rec";
  }
  ~Record() override {
    unlink(file_.c_str());
    rmdir(folder_.c_str());
  }

  Ran record(Arguments arguments) {
    arguments.insert(arguments.begin(), {LINKAPP_TOOL, "record"});
    return runProgram(loop_, signals_, arguments);
  }
  std::unique_ptr<ToolProcess> startRecorder(Arguments more = {}) {
    more.insert(more.begin(), {"record", file_});
    auto process = std::make_unique<ToolProcess>(loop_, signals_, more);
    EXPECT_TRUE(process->await({"recording to"}));
    return process;
  }
  json info() {
    const Ran ran = record({"--info", "--json", file_});
    return ran.lines.empty() ? json() : json::parse(ran.lines.front());
  }
  void startPhone() {
    phone_ = std::make_unique<ToolProcess>(loop_, signals_,
                                           Arguments{"phone", "--json", "--do", "plug usb", "--do", "events off"});
    ASSERT_TRUE(phone_->await({R"("reply":"events","ok":true)"}));
  }
  std::vector<MessageSeen> messages() const {
    std::vector<MessageSeen> all;
    for (const Recording::Item& item : record::readRecording(file_).items) {
      const auto* const seen = std::get_if<MessageSeen>(&item.entry);
      if (seen != nullptr && !seen->isBefore && !seen->message.isForNobody) {
        all.push_back(*seen);
      }
    }
    return all;
  }

  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  std::unique_ptr<ToolProcess> phone_;
  std::string folder_;
  std::string file_;
};

TEST_F(Record, writes_down_a_session_and_ends_as_asked) {
  const auto recorder = startRecorder();
  startPhone();
  const Ran app =
      runProgram(loop_, signals_, {LINKAPP_TOOL, "app", "--name", "navi", "--send", "hello", "--expect", "1"});
  ASSERT_EQ(app.code, 0);
  recorder->signal(SIGTERM);
  EXPECT_EQ(recorder->awaitEnd(), 0);
  const json sut = info();
  EXPECT_EQ(sut["ended"], true);
  EXPECT_EQ(sut["names"]["FromHU"], 1);
  EXPECT_EQ(sut["names"]["FromDevice"], 1);
  EXPECT_EQ(sut["names"]["NOTIFYID_SENDRESULT"], 1);
  EXPECT_EQ(sut["contents"]["certain"], 2);
  EXPECT_EQ(sut["missed"], 0);
  EXPECT_EQ(sut["processes"], 2);
  const Ran printed = record({"--print", file_});
  EXPECT_EQ(printed.code, 0);
  EXPECT_THAT(printed.lines, Contains(AllOf(HasSubstr("FromHU"), HasSubstr("text=hello"))));
  std::vector<std::string> names;
  for (const std::string& line : record({"--json", file_}).lines) {
    const json entry = json::parse(line);
    if (entry["entry"] == "message" && entry["id"] == 2) {
      EXPECT_EQ(entry["content"]["bytes"], "68656c6c6f");
      EXPECT_EQ(entry["fields"]["app"], 1);
      names.push_back(entry["name"]);
    }
  }
  EXPECT_THAT(names, ElementsAre("FromHU"));
}

TEST_F(Record, ends_with_its_time_and_with_interrupts) {
  EXPECT_EQ(record({file_, "--for", "0.01"}).code, 0);
  EXPECT_EQ(info()["ended"], true);
  const auto recorder = startRecorder();
  recorder->signal(SIGINT);
  EXPECT_EQ(recorder->awaitEnd(), 130);
  EXPECT_EQ(info()["ended"], true);
}

TEST_F(Record, refuses_what_it_cannot_do) {
  EXPECT_EQ(record({}).code, 2);
  EXPECT_EQ(record({file_, "--limit", "1K"}).code, 2);
  EXPECT_EQ(record({file_, "--limit", "many"}).code, 2);
  EXPECT_EQ(record({file_, "--info", "--print"}).code, 2);
  EXPECT_EQ(record({file_, "--info", "--for", "1"}).code, 2);
  EXPECT_EQ(record({"/not/there/x.rec", "--for", "0.01"}).code, 1);
  EXPECT_EQ(record({"--info", file_}).code, 1);
}

// Messages of real senders without a pause, and a recorder that is killed at any moment. What it has written is there.
TEST_F(Record, that_is_killed_at_random_moments_leaves_a_file_that_can_be_read) {
  constexpr int kRounds = 60;
  startPhone();
  ToolProcess app(loop_, signals_,
                  {"app", "--json", "--commands", "--launch", "--quiet", "--do", "burst 10000000 size 700"});
  ASSERT_TRUE(app.await({R"("event":"ready")"}));
  std::mt19937 random(4711);
  std::uint64_t messages = 0;
  int torn = 0;
  int wrapped = 0;
  for (int round = 0; round < kRounds; ++round) {
    const auto recorder = startRecorder({"--limit", "600K"});
    // Some are killed while they write the first chunk, some when the ring has come round.
    const std::uint64_t wanted = random() % 3000;
    std::uint64_t first = 0;
    std::uint64_t before = 0;
    ASSERT_TRUE(waitUntil([&] {
      const std::vector<MessageSeen> there = this->messages();
      before = there.empty() ? 0 : there.back().message.sequence;
      first = first == 0 ? before : first;
      return before != 0 && before - first >= wanted;
    }));
    recorder->signal(SIGKILL);
    ASSERT_EQ(recorder->awaitEnd(), 128 + SIGKILL);
    const Recording sut = record::readRecording(file_);
    EXPECT_FALSE(sut.isDamaged());
    torn += sut.damages.empty() ? 0 : 1;
    wrapped += sut.facts.dropped != 0 ? 1 : 0;
    const std::vector<MessageSeen> seen = this->messages();
    ASSERT_THAT(seen, testing::Not(IsEmpty()));
    EXPECT_GE(seen.back().message.sequence, before);
    for (std::size_t i = 0; i < seen.size(); ++i) {
      ASSERT_TRUE(i == 0 || seen[i].message.sequence > seen[i - 1].message.sequence);
      if (seen[i].content.state == inspect::RingContent::State::kCertain) {
        ASSERT_TRUE(text::patternNumber(seen[i].content.bytes));
      }
    }
    messages += seen.size();
    EXPECT_EQ(info()["ended"], false);
    EXPECT_EQ(record({"--print", file_}).code, 0);
  }
  RecordProperty("messages", std::to_string(messages));
  RecordProperty("torn", std::to_string(torn));
  RecordProperty("wrapped", std::to_string(wrapped));
}

TEST_F(Record, keeps_its_limit_under_traffic) {
  constexpr std::uint64_t kLimit = std::uint64_t{512} * 1024;
  const auto recorder = startRecorder({"--limit", "512K"});
  startPhone();
  const Ran app = runProgram(
      loop_, signals_, {LINKAPP_TOOL, "app", "--generate", "2000", "--size", "1000", "--expect", "2000", "--quiet"});
  ASSERT_EQ(app.code, 0);
  recorder->signal(SIGTERM);
  ASSERT_EQ(recorder->awaitEnd(), 0);
  struct stat status = {};
  ASSERT_EQ(stat(file_.c_str(), &status), 0);
  EXPECT_LE(status.st_size, static_cast<off_t>(kLimit));
  const json sut = info();
  EXPECT_GT(sut["dropped"], 1000);
  EXPECT_EQ(sut["damages"].size(), 0U);
  EXPECT_EQ(sut["apps"], 1);  // registered long before what is left
  EXPECT_GT(sut["messages"], 100);
}

TEST_F(Record, that_is_stopped_for_a_while_marks_the_gap_and_holds_nobody_up) {
  Child poster("post", {"20000", "77"});
  ASSERT_TRUE(poster.expect("ready"));
  const auto recorder = startRecorder();
  recorder->signal(SIGSTOP);
  const double stopped = test_support::monotonicSeconds();
  poster.tell("go");
  ASSERT_TRUE(poster.expect("posted"));
  ASSERT_TRUE(waitUntil([&] { return test_support::monotonicSeconds() > stopped + 0.3; }));
  recorder->signal(SIGCONT);
  ASSERT_TRUE(waitUntil([&] {
    const std::vector<MessageSeen> all = messages();
    return !all.empty() && all.back().message.number == 19999;
  }));
  recorder->signal(SIGTERM);
  EXPECT_EQ(recorder->awaitEnd(), 0);
  const json sut = info();
  EXPECT_EQ(sut["messages"].get<int>() + sut["missed"].get<int>(), 20000);
  EXPECT_GE(sut["missed"], 20000 - 8192);
  const Ran shown = record({"--info", file_});
  EXPECT_THAT(shown.lines, Contains(HasSubstr("the recorder stood still for ")));
  EXPECT_THAT(shown.lines, Contains(HasSubstr("messages were gone before the recorder saw them, from #")));
  EXPECT_THAT(recorder->lines().back(), HasSubstr(std::to_string(sut["missed"].get<int>()) + " missed"));
}

TEST_F(Record, that_is_started_stopped_and_killed_under_traffic_disturbs_nobody) {
  startPhone();
  const auto contended = [] {
    std::uint64_t all = 0;
    for (const auto& lock : inspect::takeSnapshot().locks) {
      all += lock.contended;
    }
    return all;
  };
  ToolProcess app(loop_, signals_,
                  {"app", "--json", "--generate", "3000", "--size", "512", "--expect", "3000", "--quiet"});
  std::vector<std::unique_ptr<ToolProcess>> stopped;
  for (int i = 0; i < 20; ++i) {
    stopped.push_back(startRecorder());
    stopped.back()->signal(SIGSTOP);
    const auto killed = startRecorder();
    killed->signal(SIGKILL);
    ASSERT_EQ(killed->awaitEnd(), 128 + SIGKILL);
  }
  EXPECT_EQ(app.awaitEnd(), 0);
  EXPECT_THAT(app.lines().back(), HasSubstr(R"("sent":3000,"refused":0,"results":3000,"failed":0,"received":3000)"));
  const std::uint64_t before = contended();
  for (const auto& recorder : stopped) {
    recorder->signal(SIGCONT);
    recorder->signal(SIGTERM);
    EXPECT_EQ(recorder->awaitEnd(), 0);
  }
  EXPECT_EQ(contended(), before);
}

// Eight megabytes of the smallest entries, which are many times as large in memory.
TEST_F(Record, of_any_size_is_described_in_little_memory) {
  if (test_support::kSlowness * test_support::slownessOfTool() != 1) {
    GTEST_SKIP() << "sanitizers and tools take memory of their own";
  }
  constexpr std::uint64_t kBytes = std::uint64_t{8} * 1024 * 1024;
  record::Writer writer(file_, kBytes);
  for (std::uint64_t i = 0; i * 34 < kBytes; ++i) {
    writer.add(record::Taken{i, {{4711, i}}});
  }
  writer.flush();
  const Ran ran =
      runProgram(loop_, signals_,
                 {"sh", "-c", R"(ulimit -v 131072; exec "$0" record --info --json "$1" 2>&1)", LINKAPP_TOOL, file_});
  EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
  EXPECT_THAT(ran.lines, Contains(HasSubstr(R"("ended":false)")));
}

// It is no user of the channel: reset does not find it, nor does anybody's table.
TEST_F(Record, maps_nothing_and_is_listed_nowhere) {
  startPhone();
  const auto recorder = startRecorder();
  const inspect::Snapshot snapshot = inspect::takeSnapshot();
  EXPECT_EQ(snapshot.mappings.processes.size(), 1U);
  EXPECT_EQ(snapshot.receivers.size(), 1U);
  for (const auto& lock : snapshot.locks) {
    EXPECT_EQ(lock.holderPid, 0U);
  }
}

}  // namespace
