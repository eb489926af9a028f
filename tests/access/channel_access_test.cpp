// What processes of three users can do with a channel that its owner made under each umask. The table that comes of it
// stands in docs/security.md; a row that is not measured so any more fails here.
#include <fstream>
#include <iterator>

#include "tests/access/access_fixture.h"
#include "tests/process/message_pattern.h"

namespace access_tests {
namespace {

constexpr std::size_t kPayloadBytes = 64;
constexpr std::uint32_t kPayloadSeed = 3;

struct Abilities {
  std::string rights;  // which every object grants, "-" instead where they differ
  bool attaches = false;
  bool registers = false;
  bool receives = false;
  bool sends = false;
  bool readsPayloads = false;
};

std::string yesNo(bool value) {
  return value ? "yes" : "no";
}

std::string rowOf(mode_t mask, const User& user, const Abilities& found) {
  char masks[32];
  snprintf(masks, sizeof masks, "| %04o | %04o", mask, 0664U & ~mask);
  return std::string(masks) + " | " + user.name + " | " + yesNo(found.rights[0] == 'r') + " | " +
         yesNo(found.rights[1] == 'w') + " | " + yesNo(found.attaches) + " | " + yesNo(found.registers) + " | " +
         yesNo(found.sends) + " | " + yesNo(found.receives) + " | " + yesNo(found.readsPayloads) + " |";
}

std::string securityPage() {
  std::ifstream file(LINKAPP_SECURITY_DOC);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A server, and a client with app id 1 and session 7, of the owner.
class ChannelAccess : public AccessTest, public testing::WithParamInterface<std::tuple<mode_t, User>> {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    server_.emplace("as_user", as(kOwner, mask(), "server"));
    expectReady(*server_);
    witness_.emplace("as_user", as(kOwner, mask(), "client", {"witness", "launch-witness"}));
    expectReady(*witness_);
    expectServerKnowsApp(*server_, 1, "launch-witness");
  }

  static mode_t mask() { return std::get<0>(GetParam()); }
  static const User& user() { return std::get<1>(GetParam()); }

  Abilities measure() {
    Abilities found;
    Child sut("as_user", as(user(), 0022, "client", {"sut", "launch-sut"}));
    expectReady(sut);
    Child raw("as_user", as(user(), 0022, "raw"));
    expectReady(raw);
    found.rights = rightsOf(raw);
    found.attaches = sut.log().empty();
    found.registers = test_support::shmWord(kAppInfoSegment.name, kAppCount) == 2U;
    found.receives = hearsOfTheDevice(sut, found.attaches);
    found.sends = found.receives && sendsData(sut);
    found.readsPayloads = readsPayload(raw);
    EXPECT_EQ(sut.finish(), 0);
    EXPECT_EQ(raw.finish(), 0);
    return found;
  }

  static std::string rightsOf(Child& raw) {
    std::string common;
    for (const std::string& name : channelObjects()) {
      const std::string rights = raw.ask("may " + test_support::shmFile(name));
      common = common.empty() || common == rights ? rights : "??";
    }
    return common;
  }

  bool hearsOfTheDevice(Child& sut, bool isExpected) {
    expectServerHasDevice(*server_);
    EXPECT_TRUE(witness_->expect(connectedInfo("witness")));
    return isExpected ? sut.expect(connectedInfo("sut")) : sut.ask("connected") == "1";
  }

  bool sendsData(Child& sut) {
    EXPECT_EQ(sut.ask("launch 0"), "1");
    EXPECT_TRUE(server_->expect("launch 1 2 launch-sut 0"));
    EXPECT_EQ(server_->ask("open 2 9"), "ok");
    EXPECT_TRUE(sut.expect(sessionInfo("sut")));
    return sut.ask("send 100 1") == "1" && server_->expect("data 1 9 " + describePattern(100, 1));
  }

  // That of a message to the witness.
  bool readsPayload(Child& raw) {
    EXPECT_EQ(witness_->ask("launch 0"), "1");
    EXPECT_TRUE(server_->expect("launch 1 1 launch-witness 0"));
    EXPECT_EQ(server_->ask("open 1 7"), "ok");
    EXPECT_TRUE(witness_->expect(sessionInfo("witness")));
    const std::string data = "data 7 " + std::to_string(kPayloadBytes) + " " + std::to_string(kPayloadSeed);
    EXPECT_EQ(server_->ask(data), "ok");
    EXPECT_TRUE(witness_->expect("data 1 witness " + describePattern(kPayloadBytes, kPayloadSeed) + " 0"));
    const std::vector<std::uint8_t> sent = patternBytes(kPayloadBytes, kPayloadSeed);
    return raw.ask("bytes " + test_support::shmFile(kFromDeviceSegment.name) + " " + std::to_string(kRecord) + " " +
                   std::to_string(kPayloadBytes)) == toHex(sent.data(), sent.size());
  }

  std::optional<Child> server_;
  std::optional<Child> witness_;
};

TEST_P(ChannelAccess, is_all_or_nothing_and_as_the_security_page_says) {
  const Abilities found = measure();

  const bool isUser = found.rights == "rw";
  EXPECT_EQ(found.attaches, isUser);
  EXPECT_EQ(found.registers, isUser);
  EXPECT_EQ(found.sends, isUser);
  EXPECT_EQ(found.receives, isUser);
  EXPECT_EQ(found.readsPayloads, found.rights[0] == 'r');
  const std::string row = rowOf(mask(), user(), found);
  EXPECT_NE(securityPage().find("\n" + row + "\n"), std::string::npos) << "not in docs/security.md:\n" << row;
}

INSTANTIATE_TEST_SUITE_P(Of, ChannelAccess,
                         testing::Combine(testing::Values(0022U, 0002U, 0007U, 0077U), testing::ValuesIn(kEverybody)),
                         [](const auto& tested) {
                           char name[32];
                           snprintf(name, sizeof name, "umask_%04o_%s", std::get<0>(tested.param),
                                    std::get<1>(tested.param).name);
                           return std::string(name);
                         });

}  // namespace
}  // namespace access_tests
