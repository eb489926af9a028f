// The device-side process dies and starts anew while head-unit applications go on. The channel keeps no state for late
// joiners and nobody tells the clients: this is what each side knows then.
#include <optional>

#include "tests/process/channel_fixture.h"
#include "tests/process/message_pattern.h"

namespace {

constexpr const char* kNobody = "00:00:00:00:00:00";

std::string infoLine(const std::string& app, int usbStatus) {
  return "info 1 spp 0 - usb " + std::to_string(usbStatus) + " " + app + " iap 2 hfp 0 " + kNobody;
}

class ServerRestart : public ChannelTest {
 protected:
  // Two applications with an open session each, and a server that is killed.
  void SetUp() override {
    Child former("server");
    expectReady(former);
    one_.emplace("client", std::vector<std::string>{"one", "launch-one"});
    expectReady(*one_);
    two_.emplace("client", std::vector<std::string>{"two", "launch-two"});
    expectReady(*two_);
    ASSERT_EQ(former.ask("connect 0 1"), "ok");
    openSessions(former);
    ASSERT_EQ(former.ask("session-of 1"), "101");
    former.kill();
  }

  void openSessions(Child& server) {
    for (Child* const client : {&*one_, &*two_}) {
      const std::string name = client == &*one_ ? "one" : "two";
      const std::string id = client == &*one_ ? "1" : "2";
      ASSERT_TRUE(client->expect(infoLine(name, 1)));
      ASSERT_EQ(client->ask("launch 0"), "1");
      ASSERT_TRUE(server.expect("launch 1 " + id + " launch-" + name + " 0"));
      ASSERT_EQ(server.ask("open " + id + " 10" + id), "ok");
      ASSERT_TRUE(client->expect(infoLine(name, 2)));
    }
  }

  // Made one after the other, so their app ids are 1 and 2.
  std::optional<Child> one_;
  std::optional<Child> two_;
};

TEST_F(ServerRestart, leaves_clients_with_what_they_knew_and_the_new_server_without_sessions) {
  // Nobody has told the clients: device and session still count as open, and a send succeeds into the void.
  EXPECT_EQ(one_->ask("connected"), "1");
  EXPECT_EQ(one_->ask("session 1"), "1");
  EXPECT_EQ(two_->ask("session 2"), "1");
  EXPECT_EQ(one_->ask("send 10 1"), "1");

  Child server("server");
  expectReady(server);

  // The new server reads the registered apps from the segment, but sessions were in the dead one's memory.
  EXPECT_EQ(server.ask("launch-string-of 1"), "launch-one");
  EXPECT_EQ(server.ask("launch-string-of 2"), "launch-two");
  EXPECT_EQ(server.ask("session-of 1"), "0");
  EXPECT_EQ(server.ask("app-of 101"), "0");

  // What was sent in between is lost; what is sent now arrives with session 0, which the device side cannot route.
  EXPECT_EQ(one_->ask("send 20 2"), "1");
  EXPECT_TRUE(server.expect("data 1 0 " + describePattern(20, 2)));

  // Data and results of the phone's old session find no app.
  EXPECT_EQ(server.ask("data 101 5 1"), "ok");
  EXPECT_TRUE(
      server.waitForLog("[LinkAppCommon/private/iOSApp/iOSAppCommonServer:186 sendDataFromDevice 1] "
                        "##### Error set data from Device : AppId[0] DataSize[5]\n"));
  EXPECT_EQ(server.ask("result 101 1"), "ok");

  // Nor does closing the old session reach its client: it is announced for app 0.
  EXPECT_EQ(server.ask("close 101"), "ok");

  // The announcement of the device reports status 1 although both sessions still count as open.
  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  EXPECT_TRUE(one_->expect(infoLine("one", 1)));
  EXPECT_TRUE(two_->expect(infoLine("two", 1)));
  EXPECT_EQ(one_->ask("session 1"), "1");

  // So a launch is not even sent, and reports success.
  EXPECT_EQ(one_->ask("launch 0"), "1");
  EXPECT_EQ(one_->ask("send 30 3"), "1");
  EXPECT_TRUE(server.expect("data 1 0 " + describePattern(30, 3)));
}

TEST_F(ServerRestart, is_mended_when_the_new_server_announces_disconnected_first) {
  Child server("server");
  expectReady(server);

  EXPECT_EQ(server.ask("disconnect 0 1"), "ok");
  EXPECT_TRUE(one_->expect(infoLine("one", 0)));
  EXPECT_TRUE(two_->expect(infoLine("two", 0)));
  EXPECT_EQ(one_->ask("session 1"), "0");
  EXPECT_EQ(one_->ask("send 10 1"), "0");
  EXPECT_TRUE(
      one_->waitForLog("[LinkAppCommon/private/iOSApp/iOSAppCommonClient:0 sendDataFromHU 1] "
                       "##### Send Error : DeviceId[1]] not opened.\n"));

  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  openSessions(server);
  EXPECT_EQ(one_->ask("send 20 2"), "1");
  EXPECT_TRUE(server.expect("data 1 101 " + describePattern(20, 2)));
  EXPECT_EQ(server.ask("data 102 4096 5"), "ok");
  EXPECT_TRUE(two_->expect("data 1 two " + describePattern(4096, 5) + " 0"));
}

}  // namespace
