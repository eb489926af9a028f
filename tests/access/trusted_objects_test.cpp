// What is trusted, and what becomes of those who trust: whoever may write lock objects, the log's header, or the size
// of an object, has the processes of the channel in his hand. These tests show it, so that nobody takes it for less.
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "tests/access/access_fixture.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

namespace access_tests {
namespace {

constexpr mode_t kClosed = 0007;
constexpr std::size_t kMutexOfLock = 32;
constexpr std::size_t kHeadOfLog = 128;

// A mutex that survives its holder links itself into a list of the holder's, through pointers that lie in the object.
constexpr std::size_t kLinks = kMutexOfLock + offsetof(pthread_mutex_t, __data.__list);

#if __PTHREAD_MUTEX_HAVE_PREV  // with 64 bits: the list has pointers back

// Two words that the process never writes.
struct Links {
  void* first;
  void* second;
};
Links untouched[2] = {};

// Says "ADDRESS ADDRESS" of them, takes a segment's lock and says "locked". Hears one line: gives it back, and answers
// whether they have changed.
TEST_ROLE(lock_holder) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject lock(args.at(0).c_str());
  test_support::say(std::to_string(reinterpret_cast<std::uintptr_t>(&untouched[0])) + " " +
                    std::to_string(reinterpret_cast<std::uintptr_t>(&untouched[1])));
  lock.lock();
  test_support::say("locked");
  test_support::hear();
  lock.unlock();
  const Links none[2] = {};
  test_support::answer(memcmp(untouched, none, sizeof untouched) == 0 ? "unchanged" : "changed");
  return 0;
}

#else

// Says the address of a page that nobody may touch, takes the locks of two segments and says "locked". Hears one line,
// gives the first lock back, and answers which address it has failed to reach with that, or "alive".
TEST_ROLE(holder_of_two_locks) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject first(args.at(0).c_str());
  const VQSharedSyncObject second(args.at(1).c_str());
  void* const page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  test_support::say(std::to_string(reinterpret_cast<std::uintptr_t>(page)));
  struct sigaction action = {};
  action.sa_flags = SA_SIGINFO;
  action.sa_sigaction = [](int, siginfo_t* info, void*) {
    test_support::answer(std::to_string(reinterpret_cast<std::uintptr_t>(info->si_addr)));
    _exit(0);
  };
  sigaction(SIGSEGV, &action, nullptr);
  first.lock();
  second.lock();
  test_support::say("locked");
  test_support::hear();
  first.unlock();
  test_support::answer("alive");
  second.unlock();
  return 0;
}

#endif

// What a sanitizer makes of a signal is an exit code of its own.
bool isEndBy(std::optional<int> end, int signal) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return end.has_value() && end != 0 && signal != 0;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  return end.has_value() && end != 0 && signal != 0;
#else
  return end == 128 + signal;
#endif
#else
  return end == 128 + signal;
#endif
}

class TrustedObjects : public AccessTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    server_.emplace("as_user", as(kOwner, kClosed, "server", {"phone"}));
    expectReady(*server_);
    client_.emplace("as_user", as(kOwner, kClosed, "client", {"app", "launch"}));
    expectReady(*client_);
    expectServerKnowsApp(*server_, 1, "launch");
    expectServerHasDevice(*server_);
    ASSERT_TRUE(client_->expect(connectedInfo("app")));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_TRUE(client_->expect(sessionInfo("app")));
    raw_.emplace("as_user", as(kMember, kClosed, "raw"));
    expectReady(*raw_);
  }

  void poke(const std::string& object, std::size_t offset, const std::string& hex) {
    ASSERT_EQ(raw_->ask("poke " + test_support::shmFile(object) + " " + std::to_string(offset) + " " + hex), "done");
  }

  std::optional<Child> server_;
  std::optional<Child> client_;
  std::optional<Child> raw_;
};

TEST_F(TrustedObjects, a_lock_that_a_member_keeps_stops_all_who_want_it_until_he_is_gone) {
  Child holder("as_user", as(kMember, kClosed, "endpoint", {kFromHUSegment.name}));
  expectReady(holder);
  ASSERT_EQ(holder.ask("lock"), "ok");

  client_->tell("send 100 1");
  EXPECT_TRUE(test_support::waitUntil([this] { return client_->isAsleep(); }));
  EXPECT_FALSE(client_->hasAnswered());

  holder.kill();
  EXPECT_TRUE(client_->expectAnswer("1"));
}

#if __PTHREAD_MUTEX_HAVE_PREV

TEST_F(TrustedObjects, a_member_who_writes_a_lock_object_makes_its_holder_write_where_he_likes) {
  Child holder("as_user", as(kOwner, kClosed, "lock_holder", {kStatusSegment.name}));
  const std::vector<std::string> addresses = wordsOf(holder.nextLine().value_or("0 0"));
  ASSERT_TRUE(holder.expect("locked"));
  const std::uintptr_t links[] = {std::stoul(addresses.at(0)), std::stoul(addresses.at(1))};

  poke(lockObject(kStatusSegment), kLinks, toHex(links, sizeof links));

  EXPECT_EQ(holder.ask("unlock"), "changed");
}

#else

// There are pointers forward only, and the holder goes along them from the lock that it took last.
TEST_F(TrustedObjects, a_member_who_writes_a_lock_object_of_32_bits_makes_its_holder_read_where_he_likes) {
  Child holder("as_user", as(kOwner, kClosed, "holder_of_two_locks", {kStatusSegment.name, kFromHUSegment.name}));
  const std::string address = holder.nextLine().value_or("0");
  ASSERT_TRUE(holder.expect("locked"));
  const std::uintptr_t link = std::stoul(address);

  poke(lockObject(kFromHUSegment), kLinks, toHex(&link, sizeof link));

  EXPECT_EQ(holder.ask("unlock"), address);
}

#endif

TEST_F(TrustedObjects, a_lock_object_of_zeros_is_made_anew_by_the_next_who_attaches) {
  poke(lockObject(kFromHUSegment), 0, std::string(176, '0'));

  Child next("as_user", as(kOwner, kClosed, "endpoint", {kFromHUSegment.name}));
  expectReady(next);

  EXPECT_EQ(next.log(), "");
  EXPECT_EQ(next.ask("lock"), "ok");
  client_->tell("send 100 1");
  EXPECT_TRUE(test_support::waitUntil([this] { return client_->isAsleep(); }));
  EXPECT_FALSE(client_->hasAnswered());
  EXPECT_EQ(next.ask("unlock"), "ok");
  EXPECT_TRUE(client_->expectAnswer("1"));
}

TEST_F(TrustedObjects, a_lock_object_of_garbage_is_refused_by_the_next_who_attaches_with_a_line) {
  poke(lockObject(kFromHUSegment), 0, std::string(176, 'a'));

  Child next("as_user", as(kOwner, kClosed, "client", {"late", "launch"}));
  expectReady(next);

  EXPECT_EQ(next.countInLog("lock \"iOSAppMem_Device1_From_HU\" cannot be shared with other processes: it holds "
                            "something else; stop every process that uses it and remove "
                            "/dev/shm/iOSAppMem_Device1_From_HU.lock\n"),
            1U);
  EXPECT_EQ(next.finish(), 0);
}

TEST_F(TrustedObjects, a_log_header_of_garbage_is_refused_by_the_next_who_attaches_with_a_line) {
  poke(kLogObject, 0, std::string(64, 'a'));

  Child next("as_user", as(kOwner, kClosed, "client", {"late", "launch"}));
  expectReady(next);

  EXPECT_EQ(next.countInLog("notifications are off, the log cannot be shared with other processes: it holds something "
                            "else; stop every process that uses it and remove /dev/shm/VQSharedMemNotifier.log\n"),
            1U);
  EXPECT_EQ(next.finish(), 0);
}

// Those who are attached do not look at the header again.
TEST_F(TrustedObjects, a_log_header_of_garbage_changes_nothing_for_those_who_are_attached) {
  poke(kLogObject, 0, std::string(64, 'a'));

  EXPECT_EQ(client_->ask("exchange 1 20"), "ok");
}

TEST_F(TrustedObjects, a_wrong_count_of_messages_loses_messages_and_stops_nobody_for_good) {
  for (const char* const head : {"0000000000000000", "ffffffffffffff7f", "0100000000000080"}) {
    poke(kLogObject, kHeadOfLog, head);
    // The first messages may go to those who look for others.
    EXPECT_TRUE(test_support::waitUntil([this] {
      server_->ask("playback radio");
      return client_->nextLine(0.1) == "playback 1 radio";
    }));
  }
}

// Sealing against it is not to be had for objects with a name.
TEST_F(TrustedObjects, a_segment_that_a_member_shortens_ends_whoever_touches_it) {
  ASSERT_EQ(raw_->ask("resize " + test_support::shmFile(kFromHUSegment.name) + " 0"), "done");

  client_->tell("send 100 1");

  EXPECT_TRUE(isEndBy(client_->wait(), SIGBUS));
}

TEST_F(TrustedObjects, a_segment_that_was_shortened_is_whole_again_for_the_next_who_attaches) {
  ASSERT_EQ(raw_->ask("resize " + test_support::shmFile(kFromHUSegment.name) + " 0"), "done");

  Child next("as_user", as(kOwner, kClosed, "endpoint", {kFromHUSegment.name}));
  expectReady(next);

  EXPECT_EQ(next.log(), "");
  EXPECT_EQ(client_->ask("exchange 1 20"), "ok");
}

// Nothing in a message tells a real server from a process that plays one.
TEST_F(TrustedObjects, a_member_can_play_the_server) {
  Child forger("as_user", as(kMember, kClosed, "server"));
  expectReady(forger);

  EXPECT_EQ(forger.ask("disconnect 0 1"), "ok");

  EXPECT_TRUE(client_->expect("info 1 spp 0 - usb 0 app iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(client_->ask("send 100 1"), "0");
}

TEST_F(TrustedObjects, a_member_can_ask_for_launches_in_another_apps_name_and_with_any_text) {
  server_.reset();
  Child server("as_user", as(kOwner, kClosed, "server"));
  expectReady(server);
  Child forger("as_user", as(kMember, kClosed, "endpoint", {kStatusSegment.name}));
  expectReady(forger);
  poke(kAppInfoSegment.name, kRecord + 143, toHex("other", 6));  // the launch string of app 1
  Child late("as_user", as(kOwner, kClosed, "server"));          // reads it
  expectReady(late);
  std::vector<std::uint32_t> message(76, 0);
  message[1] = 1;
  message[2] = 1;

  EXPECT_EQ(forger.ask("post 4 " + toHex(message.data(), message.size() * sizeof message[0])), "1");

  EXPECT_TRUE(server.expect("launch 1 1 launch 0"));
  EXPECT_TRUE(late.expect("launch 1 1 other 0"));
}

}  // namespace
}  // namespace access_tests
