// A stranger who makes objects of these names before the channel's own processes start.
#include <unistd.h>

#include "tests/access/access_fixture.h"
#include "tests/process/message_pattern.h"

namespace access_tests {
namespace {

class FirstComer : public AccessTest {
 public:
  ~FirstComer() override {
    for (const std::string& name : channelObjects()) {
      rmdir(test_support::shmFile(name).c_str());
    }
  }

 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    raw_.emplace("as_user", as(kStranger, 0022, "raw"));
    expectReady(*raw_);
  }

  void makeAll(const std::string& modeAndBytes) {
    for (const std::string& name : channelObjects()) {
      ASSERT_EQ(raw_->ask("make " + test_support::shmFile(name) + " " + modeAndBytes), "done");
    }
  }

  void makeAllOther(const std::string& kind) {
    for (const std::string& name : channelObjects()) {
      ASSERT_EQ(raw_->ask("make-other " + test_support::shmFile(name) + " " + kind), "done");
    }
  }

  // Neither ends nor hangs, says so in the log, and refuses.
  static void expectHarmless() {
    Child server("as_user", as(kOwner, 0007, "server"));
    expectReady(server);
    Child client("as_user", as(kOwner, 0007, "client", {"app", "launch"}));
    expectReady(client);

    for (const Child* const child : {&server, &client}) {
      EXPECT_EQ(child->countInLog("[VQFramework/SharedMemory/VQSharedMemory:"), 4U);
      EXPECT_EQ(child->countInLog("\" cannot be shared with other processes: "), 4U);
      EXPECT_EQ(child->countInLog("notifications are off, "), 1U);
    }
    EXPECT_EQ(server.ask("connect 0 1"), "ok");
    EXPECT_EQ(server.ask("open 1 9"), "ok");
    EXPECT_EQ(server.ask("data 9 100 1"), "ok");
    EXPECT_EQ(client.ask("launch 0"), "0");
    EXPECT_EQ(client.ask("send 100 1"), "0");
    EXPECT_EQ(client.finish(), 0);
    EXPECT_EQ(server.finish(), 0);
  }

  std::optional<Child> raw_;
};

TEST_F(FirstComer, with_objects_of_his_own_shuts_the_channel_and_harms_no_process) {
  makeAll("0600 0");
  expectHarmless();
}

TEST_F(FirstComer, with_pipes_shuts_the_channel_and_harms_no_process) {
  makeAllOther("pipe");
  expectHarmless();
}

TEST_F(FirstComer, with_folders_shuts_the_channel_and_harms_no_process) {
  makeAllOther("folder");
  expectHarmless();
}

TEST_F(FirstComer, with_links_shuts_the_channel_and_leads_no_process_elsewhere) {
  makeAllOther("link");
  expectHarmless();
}

// Nobody looks at the owner. Whoever comes first decides who may take part: so the channel's own processes must, or the
// folder must be theirs alone.
TEST_F(FirstComer, with_open_objects_of_his_own_reads_the_whole_channel) {
  makeAll("0666 0");

  Child server("as_user", as(kOwner, 0007, "server", {"phone"}));
  expectReady(server);
  Child client("as_user", as(kMember, 0007, "client", {"app", "launch"}));
  expectReady(client);
  expectServerHasDevice(server);
  ASSERT_TRUE(client.expect(connectedInfo("app")));
  ASSERT_EQ(client.ask("launch 0"), "1");
  ASSERT_TRUE(client.expect(sessionInfo("app")));
  ASSERT_EQ(client.ask("exchange 100 100"), "ok");

  EXPECT_EQ(server.log() + client.log(), "");
  const std::vector<std::uint8_t> sent = patternBytes(100, 300);
  EXPECT_EQ(raw_->ask("bytes " + test_support::shmFile(kFromHUSegment.name) + " " + std::to_string(kRecord) + " 100"),
            toHex(sent.data(), sent.size()));
}

}  // namespace
}  // namespace access_tests
