// A process that may read the objects and not write them: what umask 022 leaves to everybody.
#include <cstddef>

#include "tests/access/access_fixture.h"
#include "tests/process/message_pattern.h"

namespace access_tests {
namespace {

constexpr mode_t kOpenToReaders = 0022;
constexpr std::size_t kPostedWord = 136;  // in the log: the word that receivers sleep on

class Reader : public AccessTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    server_.emplace("as_user", as(kOwner, kOpenToReaders, "server"));
    expectReady(*server_);
    client_.emplace("as_user", as(kOwner, kOpenToReaders, "client", {"app", "launch"}));
    expectReady(*client_);
    expectServerKnowsApp(*server_, 1, "launch");
    raw_.emplace("as_user", as(kStranger, 0022, "raw"));
    expectReady(*raw_);
  }

  std::optional<Child> server_;
  std::optional<Child> client_;
  std::optional<Child> raw_;
};

// The library opens for reading and writing or not at all.
TEST_F(Reader, that_uses_the_library_is_told_and_refused_like_one_without_any_right) {
  Child sut("as_user", as(kStranger, 0022, "client", {"reader", "launch"}));
  expectReady(sut);

  EXPECT_EQ(sut.countInLog(kNoSegment), 4U);
  EXPECT_EQ(sut.countInLog(kNoLock), 4U);
  EXPECT_EQ(sut.countInLog(kNoLog), 1U);
  EXPECT_EQ(sut.countInLog("\n"), 9U);
  expectServerHasDevice(*server_);
  EXPECT_TRUE(client_->expect(connectedInfo("app")));
  EXPECT_EQ(sut.ask("connected"), "0");
  EXPECT_EQ(sut.ask("launch 0"), "0");
  EXPECT_EQ(sut.ask("send 100 1"), "0");
  EXPECT_EQ(sut.finish(), 0);
  EXPECT_EQ(test_support::shmWord(kAppInfoSegment.name, kAppCount), 1U);
}

TEST_F(Reader, that_looks_itself_sees_every_message_and_every_app) {
  constexpr std::size_t kFirstSlot = 9280;
  constexpr std::size_t kSlotBytes = 384;
  constexpr std::size_t kPayload = 32;
  const std::optional<std::uint32_t> next = test_support::shmWord(kLogObject, 128);
  ASSERT_TRUE(next.has_value());

  ASSERT_EQ(server_->ask("playback radio"), "ok");

  const std::size_t name = kFirstSlot + *next * kSlotBytes + kPayload + 42;
  EXPECT_EQ(raw_->ask("bytes " + test_support::shmFile(kLogObject) + " " + std::to_string(name) + " 6"),
            toHex("radio", 6));
  EXPECT_EQ(
      raw_->ask("bytes " + test_support::shmFile(kAppInfoSegment.name) + " " + std::to_string(kRecord + 15) + " 4"),
      toHex("app", 4));
}

TEST_F(Reader, cannot_change_a_byte_or_a_size) {
  for (const std::string& name : channelObjects()) {
    const std::string file = test_support::shmFile(name);
    EXPECT_EQ(raw_->ask("poke " + file + " 0 00"), "Bad file descriptor");
    EXPECT_EQ(raw_->ask("resize " + file + " 0"), "Permission denied");
  }
}

// A file lock for reading needs no more than the right to read, and set-up takes one for writing.
TEST_F(Reader, that_holds_file_locks_on_all_objects_keeps_nobody_from_starting) {
  for (const std::string& name : channelObjects()) {
    ASSERT_EQ(raw_->ask("read-lock " + test_support::shmFile(name)), "done");
  }

  Child server("as_user", as(kOwner, kOpenToReaders, "server"));
  expectReady(server);
  Child late("as_user", as(kOwner, kOpenToReaders, "client", {"late", "launch-late"}));
  expectReady(late);

  expectServerKnowsApp(*server_, 2, "launch-late");
  EXPECT_EQ(server.log() + late.log(), "");
}

// The kernel moves sleepers for whoever can map the word, even for reading only. There is nothing that a receiver could
// do against it: it sleeps. So a channel that must not be disturbed must not be readable.
TEST_F(Reader, can_move_sleeping_receivers_away_so_that_no_message_wakes_them) {
  const std::string move = "move-sleepers " + test_support::shmFile(kLogObject) + " " + std::to_string(kPostedWord);
  int moved = 0;
  ASSERT_TRUE(test_support::waitUntil([&] {
    moved += std::stoi(raw_->ask(move));
    return moved >= 2;  // the receivers of server and client
  }));

  expectServerHasDevice(*server_);

  EXPECT_EQ(std::stoi(raw_->ask("wake-moved")), moved);  // they slept on, although there was a message
  EXPECT_TRUE(client_->expect(connectedInfo("app")));
}

}  // namespace
}  // namespace access_tests
