// A process ends while its server and client are alive, on whichever thread.
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/support/roles.h"

namespace {

// Reachable to the end, and never destroyed.
struct Live {
  Listener* listener = nullptr;
  iOSAppCommonServer* server = nullptr;
  iOSAppCommonClient* client = nullptr;
};
Live live;

// Destroyed by exit.
std::unique_ptr<Listener> lateListener;
std::unique_ptr<iOSAppCommonServer> lateServer;
std::unique_ptr<iOSAppCommonClient> lateClient;

void exitNow(unsigned int, void*, unsigned int) {
  exit(0);
}

void ignore(unsigned int, void*, unsigned int) {}

void openBoth(Listener::Function onClientNotification) {
  live.listener = new Listener(std::move(onClientNotification));
  live.server = new iOSAppCommonServer(1);
  live.client = new iOSAppCommonClient("", "app", "launch");
  live.client->AddObserver(live.listener->observer());
}

void openBothForExit(Listener::Function onClientNotification) {
  lateListener = std::make_unique<Listener>(std::move(onClientNotification));
  lateServer = std::make_unique<iOSAppCommonServer>(1);
  lateClient = std::make_unique<iOSAppCommonClient>("", "app", "launch");
  lateClient->AddObserver(lateListener->observer());
}

void announceDevice(iOSAppCommonServer& server) {
  iosapp_def_::ConnectInfo info = {1, 1, 0, 1};
  server.notifyConnectionState(info);
}

[[noreturn]] void sleepForEver() {
  for (;;) {
    pause();
  }
}

TEST_ROLE(exits_on_the_main_thread) {
  openBoth(&ignore);
  exit(0);
}

TEST_ROLE(exits_on_the_main_thread_under_traffic) {
  openBoth(&ignore);
  for (int i = 0; i < 1000; ++i) {
    announceDevice(*live.server);
  }
  exit(0);
}

TEST_ROLE(exits_with_objects_of_static_duration) {
  openBothForExit(&ignore);
  for (int i = 0; i < 1000; ++i) {
    announceDevice(*lateServer);
  }
  exit(0);
}

TEST_ROLE(exits_in_a_callback) {
  openBoth(&exitNow);
  announceDevice(*live.server);
  sleepForEver();
}

TEST_ROLE(returns_from_main_with_everything_destroyed) {
  openBothForExit(&ignore);
  announceDevice(*lateServer);
  lateClient.reset();
  lateServer.reset();
  lateListener.reset();
  return 0;
}

std::string nameOf(const testing::TestParamInfo<const char*>& info) {
  return info.param;
}

class Exit : public ChannelTest, public testing::WithParamInterface<const char*> {};

TEST_P(Exit, is_clean) {
  Child sut(GetParam());

  EXPECT_EQ(sut.wait(), 0);
  EXPECT_EQ(sut.log(), "");
}

TEST_P(Exit, leaves_the_channel_usable) {
  Child first(GetParam());
  ASSERT_EQ(first.wait(), 0);

  Child server("server", {"phone"});
  expectReady(server);
  Child client("client", {"app", "launch"});
  expectReady(client);
  ASSERT_EQ(server.ask("connect 0 1"), "ok");
  ASSERT_TRUE(client.expect("info 1 spp 0 - usb 1 app iap 2 hfp 0 00:00:00:00:00:00"));
  ASSERT_EQ(client.ask("launch 0"), "1");
  EXPECT_TRUE(client.expect("info 1 spp 0 - usb 2 app iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(client.ask("exchange 1 10"), "ok");
}

INSTANTIATE_TEST_SUITE_P(Process, Exit,
                         testing::Values("exits_on_the_main_thread", "exits_on_the_main_thread_under_traffic",
                                         "exits_with_objects_of_static_duration", "exits_in_a_callback",
                                         "returns_from_main_with_everything_destroyed"),
                         nameOf);

}  // namespace
