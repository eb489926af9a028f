// Looking at real processes.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "inspect/follower.h"
#include "inspect/ring_contents.h"
#include "inspect/snapshot.h"
#include "tests/access/users.h"
#include "tests/inspect/inspect_fixture.h"
#include "tests/support/child.h"
#include "tests/support/interruption.h"
#include "tests/support/wait_until.h"
#include "tests/tool/tool_process.h"
#include "text/pattern.h"

namespace {

using inspect::Follower;
using inspect::kSharedMemory;
using inspect::Snapshot;
using inspect::takeSnapshot;
using nlohmann::json;
using test_support::Child;
using test_support::waitUntil;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Arguments = std::vector<std::string>;

constexpr const char* kSegment = "iOSAppMem_Device1_From_HU";

class Status : public InspectTest {
 public:
  Ran status(const Arguments& arguments = {}) {
    Arguments all = {LINKAPP_TOOL, "status"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runProgram(loop_, signals_, all);
  }
  json statusJson() {
    const Ran ran = status({"--json"});
    EXPECT_EQ(ran.lines.size(), 1U);
    return ran.lines.empty() ? json() : json::parse(ran.lines.front());
  }
  std::unique_ptr<ToolProcess> start(const Arguments& arguments) {
    auto process = std::make_unique<ToolProcess>(loop_, signals_, arguments);
    EXPECT_TRUE(process->await({R"("event":"ready")"}));
    return process;
  }
  // A phone and an application with an open session that has got one message back.
  void startSession() {
    phone_ = start({"phone", "--json", "--do", "plug usb"});
    app_ = start({"app", "--json", "--commands", "--launch"});
    ASSERT_TRUE(app_->await({R"("event":"onDeviceStatus")", R"("usb.status":2)"}));
    app_->tell("send hello");
    ASSERT_TRUE(app_->await({R"("event":"onReceivedMsg")"}));
  }

  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  std::unique_ptr<ToolProcess> phone_;
  std::unique_ptr<ToolProcess> app_;
};

TEST_F(Status, says_that_there_is_no_channel_and_makes_none) {
  const Ran ran = status();
  EXPECT_EQ(ran.code, 1);
  EXPECT_THAT(ran.lines, ElementsAre(HasSubstr("there is no channel")));
  EXPECT_THAT(test_support::shmNames(), IsEmpty());
}

TEST_F(Status, shows_a_session_with_the_processes_behind_it) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  const json all = statusJson();
  EXPECT_EQ(all["channel"], true);
  EXPECT_EQ(all["state"]["link"]["connected"], true);
  EXPECT_THAT(all["state"]["deviceSide"]["command"].get<std::string>(), HasSubstr("phone --json"));
  ASSERT_EQ(all["table"]["apps"].size(), 1U);
  const json app = all["table"]["apps"][0];
  EXPECT_THAT(app["owner"]["command"].get<std::string>(), HasSubstr("app --json --commands"));
  EXPECT_EQ(app["owner"]["gone"], false);
  EXPECT_EQ(app["session"], true);
  EXPECT_EQ(app["sent"], 1);
  EXPECT_EQ(app["results"], 1);
  EXPECT_EQ(app["received"], 1);
  EXPECT_EQ(all["processes"].size(), 2U);
  EXPECT_EQ(all["receivers"].size(), 2U);
  for (const json& lock : all["locks"]) {
    EXPECT_EQ(lock["exists"], true);
    EXPECT_FALSE(lock.contains("unusable"));
  }
  EXPECT_THAT(status().lines.front(), HasSubstr("phone connected, 1 app, 1 session"));
}

TEST_F(Status, tells_an_app_that_was_killed) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  app_->signal(SIGKILL);
  ASSERT_EQ(app_->awaitEnd(), 128 + SIGKILL);
  const Ran ran = status();
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, Contains(HasSubstr("which has ended; its place stays taken")));
}

// Contents and times of everything in /dev/shm.
std::map<std::string, std::string> everything() {
  std::map<std::string, std::string> all;
  for (const std::string& name : test_support::shmNames()) {
    struct stat status = {};
    EXPECT_EQ(stat(test_support::shmFile(name).c_str(), &status), 0);
    const int fd = open(test_support::shmFile(name).c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC);
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    EXPECT_EQ(pread(fd, bytes.data(), bytes.size(), 0), status.st_size);
    close(fd);
    for (const timespec& time : {status.st_atim, status.st_mtim, status.st_ctim}) {
      bytes += " " + std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
    }
    all[name] = bytes + " " + std::to_string(status.st_ino) + " " + std::to_string(status.st_blocks);
  }
  return all;
}

// The channel's processes are stopped meanwhile, so that nothing but this could change anything.
TEST_F(Status, and_a_follower_change_no_byte_no_time_and_no_counter) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  phone_->signal(SIGSTOP);
  app_->signal(SIGSTOP);
  ASSERT_TRUE(waitUntil([] {
    const Snapshot snapshot = takeSnapshot();
    return snapshot.mappings.processes.size() == 2 && snapshot.mappings.processes[0].process.isStopped() &&
           snapshot.mappings.processes[1].process.isStopped();
  }));
  const auto before = everything();
  ASSERT_EQ(before.size(), 9U);
  EXPECT_TRUE(status().code);
  EXPECT_TRUE(status({"--json"}).code);
  Follower follower(kSharedMemory, Follower::Start::kOldest);
  inspect::RingContents contents(kSharedMemory);
  const Follower::Batch batch = follower.poll();
  EXPECT_THAT(batch.messages, Not(IsEmpty()));
  const auto rings = contents.fetch(batch.messages, follower.log(), follower.position());
  EXPECT_EQ(std::count_if(rings.begin(), rings.end(),
                          [](const auto& ring) { return ring.state == inspect::RingContent::State::kCertain; }),
            2);
  const auto after = everything();
  for (const auto& [name, bytes] : before) {
    EXPECT_TRUE(after.at(name) == bytes) << name;
  }
  EXPECT_EQ(after.size(), before.size());
  app_->signal(SIGCONT);
  phone_->signal(SIGCONT);
  app_->tell("send again");
  EXPECT_TRUE(app_->await({R"("event":"onReceivedMsg")"}));
}

TEST_F(Status, is_no_user_of_the_channel_itself) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  ToolProcess watching(loop_, signals_, {"status", "--json", "--watch", "0.1"});
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(watching.await({R"("channel":true)"}));
    const json all = json::parse(watching.lines().back());
    EXPECT_EQ(all["processes"].size(), 2U);
    EXPECT_EQ(all["receivers"].size(), 2U);
  }
  watching.signal(SIGTERM);
  EXPECT_EQ(watching.awaitEnd(), 128 + SIGTERM);
}

TEST_F(Status, that_is_started_stopped_and_killed_under_traffic_disturbs_nobody) {
  phone_ = std::make_unique<ToolProcess>(loop_, signals_,
                                         Arguments{"phone", "--json", "--do", "plug usb", "--do", "events off"});
  ASSERT_TRUE(phone_->await({R"("reply":"events","ok":true)"}));
  ToolProcess app(loop_, signals_,
                  {"app", "--json", "--generate", "3000", "--size", "512", "--expect", "3000", "--quiet"});
  for (int i = 0; i < 20; ++i) {
    ToolProcess stopped(loop_, signals_, {"status", "--watch", "0.1"});
    ToolProcess killed(loop_, signals_, {"status", "--json", "--watch", "0.1"});
    ASSERT_TRUE(stopped.await({"linkapp status"}));
    stopped.signal(SIGSTOP);
    ASSERT_TRUE(killed.await({R"("channel":)"}));
    killed.signal(SIGKILL);
    ASSERT_EQ(killed.awaitEnd(), 128 + SIGKILL);
  }
  EXPECT_EQ(app.awaitEnd(), 0);
  EXPECT_THAT(app.lines().back(), HasSubstr(R"("sent":3000,"refused":0,"results":3000,"failed":0,"received":3000)"));
}

TEST_F(Status, refuses_what_it_does_not_know) {
  EXPECT_EQ(status({"--surprise"}).code, 2);
  EXPECT_EQ(status({"word"}).code, 2);
  EXPECT_EQ(status({"--watch", "0"}).code, 2);
  EXPECT_EQ(status({"--watch", "soon"}).code, 2);
}

TEST_F(Status, is_not_held_up_by_who_stands_still_with_a_lock) {
  hand_made::makeSegment(kSegment);
  Child holder("hold", {kSegment});
  ASSERT_TRUE(holder.expect("ready"));
  holder.stop();
  const Snapshot sut = takeSnapshot();
  EXPECT_EQ(sut.locks[1].holderPid, static_cast<std::uint32_t>(holder.pid()));
  ASSERT_TRUE(sut.locks[1].word);
  EXPECT_EQ(sut.locks[1].word->thread, static_cast<std::uint32_t>(holder.pid()));
  EXPECT_FALSE(sut.locks[1].word->hasOwnerDied);
  const Ran ran = status();
  EXPECT_EQ(ran.code, 1);
  EXPECT_THAT(ran.lines, Contains(HasSubstr(", which is stopped: whoever wants it waits")));
}

TEST_F(Status, tells_that_the_holder_of_a_lock_has_died) {
  hand_made::makeSegment(kSegment);
  Child holder("hold", {kSegment});
  ASSERT_TRUE(holder.expect("ready"));
  holder.kill();
  const Snapshot sut = takeSnapshot();
  ASSERT_TRUE(sut.locks[1].word);
  EXPECT_TRUE(sut.locks[1].word->hasOwnerDied);
  EXPECT_EQ(sut.locks[1].holderPid, static_cast<std::uint32_t>(holder.pid()));
  EXPECT_THAT(status().lines, Contains(StartsWith("  iOSAppMem_Device1_From_HU.lock: its holder died")));
}

TEST_F(Status, tells_a_receiver_that_is_stopped_and_how_far_behind_it_is) {
  Child receiver("listen", {"4"});
  ASSERT_TRUE(receiver.expect("ready"));
  ASSERT_TRUE(waitUntil([] {
    const Snapshot snapshot = takeSnapshot();
    return snapshot.receivers.size() == 1 && snapshot.receivers[0].behind == 0U;
  }));
  receiver.stop();
  Child poster("post", {"100", "4"});
  ASSERT_TRUE(poster.expect("ready"));
  poster.tell("go");
  ASSERT_TRUE(poster.expect("posted"));
  const Snapshot sut = takeSnapshot();
  ASSERT_EQ(sut.receivers.size(), 1U);
  EXPECT_TRUE(sut.receivers[0].process.isStopped());
  EXPECT_EQ(sut.receivers[0].behind, 100U);
  EXPECT_EQ(sut.receivers[0].waiting, 100U);
  EXPECT_THAT(status().lines, Contains(HasSubstr("is stopped, 100 messages behind, 100 of its own")));
  receiver.proceed();
  EXPECT_TRUE(waitUntil([] { return takeSnapshot().receivers.at(0).behind == 0U; }));
}

// Two senders without any pause, and a receiver of one of them.
TEST_F(Status, follower_sees_every_message_of_real_senders_or_counts_it) {
  constexpr std::uint32_t kCount = 30000;
  Follower sut(kSharedMemory, Follower::Start::kNow);
  Child receiver("listen", {"77"});
  Child first("post", {std::to_string(kCount), "77"});
  Child second("post", {std::to_string(kCount), "78"});
  ASSERT_TRUE(receiver.expect("ready") && first.expect("ready") && second.expect("ready"));
  EXPECT_FALSE(sut.poll().messages.empty());  // the receiver's registration
  first.tell("go");
  second.tell("go");
  std::map<std::uint32_t, std::uint32_t> next;
  std::uint64_t position = 0;
  std::uint64_t seen = 0;
  std::uint64_t overwritten = 0;
  std::uint64_t missed = 0;
  const auto isEverythingTold = [&] {
    const Follower::Batch batch = sut.poll();
    overwritten += batch.overwritten;
    EXPECT_EQ(batch.damaged, 0U);
    for (const auto& entry : batch.missed) {
      missed += entry.second;
    }
    for (const inspect::Message& message : batch.messages) {
      EXPECT_GE(message.sequence, position);
      position = message.sequence + 1;
      seen += message.isForNobody ? 0U : 1U;
      if (message.isForNobody) {
        continue;
      }
      std::uint32_t number = 0;
      std::memcpy(&number, message.payload.data(), sizeof number);
      EXPECT_EQ(number, message.number);
      EXPECT_GE(number, next[message.id]);
      next[message.id] = number + 1;
      EXPECT_EQ(message.pid, static_cast<std::uint32_t>(message.id == 77 ? first.pid() : second.pid()));
    }
    return sut.position() == 1 + 2 * kCount;
  };
  ASSERT_TRUE(waitUntil(isEverythingTold));
  EXPECT_EQ(seen + overwritten, 2 * kCount);
  // What was overwritten behind the last message of its identifier that was seen shows with the next one only.
  EXPECT_EQ(missed + (kCount - next[77]) + (kCount - next[78]), overwritten);
}

// Messages are numbered, and so are their announcements.
TEST_F(Status, ring_contents_are_the_announced_messages_where_they_are_certain) {
  const Arguments phone = {"phone", "--json", "--do", "plug usb", "--do", "events off"};
  phone_ = std::make_unique<ToolProcess>(loop_, signals_, phone);
  ASSERT_TRUE(phone_->await({R"("reply":"events","ok":true)"}));
  std::atomic<bool> isOver{false};
  std::map<inspect::RingContent::State, std::uint64_t> states;
  std::uint64_t wrong = 0;
  Follower follower(kSharedMemory, Follower::Start::kNow);
  std::thread onlooker([&] {
    inspect::RingContents sut(kSharedMemory);
    for (bool isLast = false; !isLast;) {
      isLast = isOver.load();
      const Follower::Batch batch = follower.poll();
      const auto contents = sut.fetch(batch.messages, follower.log(), follower.position());
      for (std::size_t i = 0; i < contents.size(); ++i) {
        ++states[contents[i].state];
        const bool isCertain = contents[i].state == inspect::RingContent::State::kCertain;
        wrong += isCertain && text::patternNumber(contents[i].bytes) != batch.messages[i].number ? 1U : 0U;
      }
    }
  });
  const Ran app =
      runProgram(loop_, signals_,
                 {LINKAPP_TOOL, "app", "--json", "--generate", "3000", "--size", "512", "--expect", "3000", "--quiet"});
  isOver.store(true);
  onlooker.join();
  EXPECT_EQ(app.code, 0);
  EXPECT_EQ(wrong, 0U);
  EXPECT_GT(states[inspect::RingContent::State::kCertain], 0U);
  EXPECT_EQ(states[inspect::RingContent::State::kUnreadable], 0U);
  RecordProperty("certain", std::to_string(states[inspect::RingContent::State::kCertain]));
  RecordProperty("overwritten", std::to_string(states[inspect::RingContent::State::kOverwritten]));
  RecordProperty("unsure", std::to_string(states[inspect::RingContent::State::kUnsure]));
}

// Who is not root sees other users' processes by the notifier's table alone, and says how many he could not look into.
TEST_F(Status, of_another_user_says_what_he_cannot_see) {
  const access_tests::Switching switching = access_tests::trySwitching();
  if (switching.isRefused) {
    GTEST_SKIP() << "this machine does not let the test become other users: " << switching.error;
  }
  ASSERT_EQ(switching.error, "");
  Child owner("as_user", access_tests::as(access_tests::kOwner, 0007, "listen", {"4"}));
  ASSERT_TRUE(owner.expect("ready"));
  // It enters itself in the table a little later.
  ASSERT_TRUE(waitUntil([] { return takeSnapshot().receivers.size() == 1; }));
  Child member("as_user", access_tests::as(access_tests::kMember, 0007, "look"));
  const json seen = json::parse(member.nextLine().value_or("{}"));
  EXPECT_GE(seen["unseenProcesses"], 1);
  EXPECT_EQ(seen["receivers"].size(), 1U);
  EXPECT_EQ(seen["receivers"][0]["process"]["pid"], owner.pid());
  EXPECT_THAT(seen["processes"], IsEmpty());
  Child stranger("as_user", access_tests::as(access_tests::kStranger, 0007, "look"));
  const json closed = json::parse(stranger.nextLine().value_or("{}"));
  EXPECT_EQ(closed["log"]["exists"], true);
  EXPECT_EQ(closed["log"]["problem"], "Permission denied");
  EXPECT_EQ(closed["ok"], false);
}

}  // namespace
