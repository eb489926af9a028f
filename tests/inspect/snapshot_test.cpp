// Everything at once, and what is made of it.
#include "inspect/snapshot.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "inspect/columns.h"
#include "inspect/status_json.h"
#include "inspect/status_text.h"
#include "platform/reference/named_lock.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using hand_made::statusOf;
using inspect::kAppInfoSegment;
using inspect::kFromHUSegment;
using inspect::Snapshot;
using inspect::takeSnapshot;
using nlohmann::json;
using test_support::pokeShmWord;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// A number that no process has.
constexpr std::uint32_t kNobody = 0x3FFFFFFF;

class SnapshotOfTheChannel : public InspectTest {
 public:
  static std::vector<std::string> findings() {
    std::vector<std::string> texts;
    for (const inspect::Finding& finding : takeSnapshot().findings) {
      texts.push_back(finding.text);
    }
    return texts;
  }
  static json jsonOf(const Snapshot& snapshot) { return json::parse(text::toJson(statusFields(snapshot))); }
  static std::uint32_t self() { return static_cast<std::uint32_t>(getpid()); }
};

class SnapshotOfAWholeChannel : public SnapshotOfTheChannel {
 public:
  SnapshotOfAWholeChannel() { hand_made::makeFourSegments(); }
  hand_made::Log log_;
};

TEST_F(SnapshotOfTheChannel, that_is_not_there_says_so_and_makes_nothing) {
  const Snapshot sut = takeSnapshot();
  EXPECT_FALSE(sut.hasChannel());
  EXPECT_THAT(sut.findings, IsEmpty());
  EXPECT_THAT(statusText(sut, false), HasSubstr("there is no channel"));
  EXPECT_EQ(jsonOf(sut)["channel"], false);
  EXPECT_EQ(jsonOf(sut)["ok"], false);
  EXPECT_THAT(test_support::shmNames(), IsEmpty());
}

TEST_F(SnapshotOfAWholeChannel, that_rests_has_nothing_to_complain_about) {
  const Snapshot sut = takeSnapshot();
  EXPECT_TRUE(sut.hasChannel());
  EXPECT_THAT(findings(), IsEmpty());
  EXPECT_EQ(jsonOf(sut)["ok"], true);
  EXPECT_THAT(statusText(sut, false), Not(HasSubstr("\033")));
  EXPECT_THAT(statusText(sut, true), HasSubstr("\033[1m"));
}

TEST_F(SnapshotOfAWholeChannel, names_the_process_of_an_app) {
  hand_made::registerApp(0, "navi", "com.example.navi");
  hand_made::registerApp(1, "music", "com.example.music");
  log_.announcePlace(0, self());
  log_.announcePlace(1, kNobody);
  const Snapshot sut = takeSnapshot();
  ASSERT_EQ(sut.apps.size(), 2U);
  EXPECT_EQ(sut.apps[0].owner->pid, self());
  EXPECT_FALSE(sut.apps[0].isOwnerGone);
  EXPECT_TRUE(sut.apps[1].isOwnerGone);
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("app 2 (music) was registered by process " + std::to_string(kNobody))));
  const json apps = jsonOf(sut)["table"]["apps"];
  EXPECT_EQ(apps[0]["owner"]["pid"], self());
  EXPECT_EQ(apps[0]["owner"]["gone"], false);
  EXPECT_EQ(apps[1]["owner"]["gone"], true);
  EXPECT_TRUE(sut.isFine());  // places are never given back
  EXPECT_EQ(jsonOf(sut)["findings"][0]["fault"], false);
}

TEST_F(SnapshotOfAWholeChannel, knows_a_process_number_that_is_in_use_again) {
  hand_made::registerApp(0, "navi", "com.example.navi");
  log_.announcePlace(0, self());
  log_.slot(0).time.store(1);  // long before this process began
  EXPECT_TRUE(takeSnapshot().apps[0].isOwnerGone);
}

TEST_F(SnapshotOfAWholeChannel, counts_how_far_behind_a_receiver_is) {
  log_.listReceiver(0, self(), 2, {2, 4});
  log_.listReceiver(1, kNobody, 1, {4});
  log_.listReceiver(2, self(), 0, {4});
  for (const std::uint32_t id : {4U, 4U, 4U, 2U, 5U, 1000U}) {
    log_.post(id, "x");
  }
  const Snapshot sut = takeSnapshot();
  ASSERT_EQ(sut.receivers.size(), 3U);
  EXPECT_EQ(sut.receivers[0].behind, 4U);
  EXPECT_EQ(sut.receivers[0].waiting, 2U);
  EXPECT_EQ(sut.receivers[0].overwritten, 0U);
  EXPECT_FALSE(sut.receivers[0].isGone);
  EXPECT_TRUE(sut.receivers[1].isGone);
  EXPECT_FALSE(sut.receivers[2].behind);
}

TEST_F(SnapshotOfAWholeChannel, tells_ring_messages_that_are_overwritten_before_a_receiver_took_them) {
  log_.listReceiver(0, self(), 1, {2});
  log_.post(4, "x");
  for (std::uint32_t i = 0; i < 45; ++i) {
    log_.announce(2, 1, i % 40);
  }
  const Snapshot sut = takeSnapshot();
  EXPECT_EQ(sut.receivers[0].ringOverwritten[0], 5U);
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("has not taken 5 messages of iOSAppMem_Device1_From_HU")));
}

TEST_F(SnapshotOfAWholeChannel, tells_messages_that_a_receiver_cannot_read_any_more) {
  log_.listReceiver(0, self(), 10, {4});
  for (std::uint32_t i = 0; i < vqframework::kSlotCount + 20; ++i) {
    log_.post(4, "x");
  }
  EXPECT_EQ(takeSnapshot().receivers[0].overwritten, 11U);
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("will miss messages: 11")));
}

TEST_F(SnapshotOfAWholeChannel, knows_a_receivers_place_that_another_process_of_that_number_left) {
  log_.listReceiver(0, self(), 1, {4});
  log_.place(0).startTime.store(1);
  EXPECT_TRUE(takeSnapshot().receivers[0].isGone);
}

TEST_F(SnapshotOfAWholeChannel, tells_losses) {
  log_.listReceiver(0, self(), 1, {4});
  log_.place(0).lost.store(7);
  log_.post(4, "x");
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("was too slow and lost 7 messages")));
}

TEST_F(SnapshotOfAWholeChannel, shows_who_holds_a_lock_and_how_often_it_was_contended) {
  const std::string name = std::string(kFromHUSegment) + ".lock";
  ASSERT_TRUE(pokeShmWord(name, offsetof(vqframework::LockObject, holderPid), self()));
  ASSERT_TRUE(pokeShmWord(name, offsetof(vqframework::LockObject, contendedAcquisitions), 5));
  const Snapshot sut = takeSnapshot();
  EXPECT_EQ(sut.locks[1].holderPid, self());
  EXPECT_EQ(sut.locks[1].contended, 5U);
  EXPECT_THAT(statusText(sut, false), HasSubstr("held by " + std::to_string(self())));
  EXPECT_EQ(jsonOf(sut)["locks"][1]["holder"], self());
  EXPECT_THAT(statusText(sut, false), HasSubstr("contended 5 times"));
  EXPECT_THAT(sut.findings, IsEmpty());
}

TEST_F(SnapshotOfAWholeChannel, tells_a_lock_whose_holder_is_no_more) {
  ASSERT_TRUE(
      pokeShmWord(std::string(kFromHUSegment) + ".lock", offsetof(vqframework::LockObject, holderPid), kNobody));
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("was held by " + std::to_string(kNobody) + ", which has ended")));
}

TEST_F(SnapshotOfAWholeChannel, tells_every_way_in_which_an_object_is_not_as_it_should_be) {
  hand_made::makeObject(inspect::kConnectStatusSegment, 5);
  ASSERT_TRUE(pokeShmWord(kFromHUSegment, 0, 99));
  hand_made::writeWord(kFromHUSegment, offsetof(iOSAppCommonDataList, writeIndex), 40);
  hand_made::writeWord(kAppInfoSegment, offsetof(iOSAppInfoList, count), 21);
  test_support::removeShm(std::string(kAppInfoSegment) + ".lock");
  ASSERT_TRUE(pokeShmWord(std::string(kFromHUSegment) + ".lock", 0, 1));
  log_.object().header.layoutVersion = 2;
  const std::vector<std::string> all = findings();
  EXPECT_THAT(all, Contains(HasSubstr("iOSAppCommonLocalMem_ConnectStatus has 5 bytes of 308")));
  EXPECT_THAT(all, Contains("iOSAppMem_Device1_From_HU: its size word says 99, not 164004"));
  EXPECT_THAT(all, Contains(HasSubstr("the write index 40 was written by no channel process")));
  EXPECT_THAT(all, Contains(HasSubstr("the count of registered apps is 21")));
  EXPECT_THAT(all, Contains(HasSubstr("all 20 places of the registration table are taken")));
  EXPECT_THAT(all, Contains(HasSubstr("place 0 holds app id 0 and no name")));
  EXPECT_THAT(all, Contains(HasSubstr("iOSAppCommonLocalMem_AppInfo.lock is not there")));
  EXPECT_THAT(all, Contains("iOSAppMem_Device1_From_HU.lock holds something else"));
  EXPECT_THAT(all, Contains("VQSharedMemNotifier.log has layout version 2, not 3"));
}

TEST_F(SnapshotOfAWholeChannel, finds_who_has_mapped_what_and_who_has_mapped_what_was_removed) {
  const int fd = shm_open("/iOSAppMem_Device1_From_HU", O_RDONLY, 0);
  void* const mapping = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0);
  close(fd);
  ASSERT_NE(mapping, MAP_FAILED);
  const auto own = [] {
    const Snapshot snapshot = takeSnapshot();
    for (const inspect::MappingProcess& process : snapshot.mappings.processes) {
      if (process.process.pid == self()) {
        return process;
      }
    }
    return inspect::MappingProcess();
  };
  EXPECT_THAT(own().objects, ElementsAre(vqframework::kMessageLogName, kFromHUSegment));
  EXPECT_THAT(own().removed, IsEmpty());
  hand_made::makeSegment(kFromHUSegment);
  EXPECT_THAT(own().objects, ElementsAre(vqframework::kMessageLogName));
  EXPECT_THAT(own().removed, ElementsAre(kFromHUSegment));
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("uses a removed iOSAppMem_Device1_From_HU")));
  munmap(mapping, 4096);
}

TEST_F(SnapshotOfAWholeChannel, shows_no_control_characters_of_foreign_texts) {
  hand_made::registerApp(0, "\033[2Jnavi\x9B", "\xC2\x9Bm");
  const Snapshot sut = takeSnapshot();
  EXPECT_THAT(statusText(sut, false), HasSubstr(R"("\x1b[2Jnavi\x9b")"));
  EXPECT_THAT(statusText(sut, false), HasSubstr(R"("\xc2\x9bm")"));
  EXPECT_THAT(text::toJson(statusFields(sut)), Not(HasSubstr("\033")));
}

TEST_F(SnapshotOfAWholeChannel, sums_up_in_one_line) {
  auto status = statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
  status.connectStatus = 1;
  log_.postStatus(status);
  hand_made::registerApp(0, "navi", "com.example.navi");
  EXPECT_EQ(summaryOf(takeSnapshot()), "phone connected, 1 app, 0 sessions, nothing wrong");
}

TEST(ColumnsForPeople, are_aligned_by_characters_and_have_no_blanks_at_the_end) {
  inspect::Columns sut({{"name"}, {"bytes", inspect::Columns::Align::kRight}, {"state"}});
  sut.add({"\xC3\xA4", "5"});
  sut.add({"long name", "1234567", "x"});
  EXPECT_EQ(sut.text("  "), "  name         bytes  state\n  \xC3\xA4                5\n  long name  1234567  x\n");
}

TEST(ColumnsForPeople, say_how_long_ago_something_was) {
  EXPECT_EQ(inspect::ageText(999'000'000), "999 ms");
  EXPECT_EQ(inspect::ageText(1'500'000'000), "1.5 s");
  EXPECT_EQ(inspect::ageText(60'000'000'000), "1 min");
  EXPECT_EQ(inspect::ageText(7'200'000'000'000), "2 h");
}

TEST(ProcessOutside, is_described_as_proc_does) {
  const inspect::Process sut = inspect::readProcess(inspect::kProc, static_cast<std::uint32_t>(getpid()));
  EXPECT_TRUE(sut.exists);
  EXPECT_FALSE(sut.isDead());
  EXPECT_EQ(sut.user, getuid());
  EXPECT_NE(sut.startTime, 0U);
  EXPECT_THAT(sut.command, HasSubstr("inspect"));
  EXPECT_TRUE(inspect::readProcess(inspect::kProc, 0).isDead());
  EXPECT_TRUE(inspect::readProcess(inspect::kProc, kNobody).isDead());
}

}  // namespace
