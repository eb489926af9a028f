// Client and server, each as far as its own thread goes.
#include <vector>

#include "benchmarks/micro/channel.h"
#include "benchmarks/micro/steps.h"

namespace bench {
namespace {

void send(benchmark::State& state, unsigned int bytes) {
  iOSAppCommonClient& client = Channel::current().client();
  const std::vector<unsigned char> message(bytes, 0x5A);
  bool isSent = true;
  repeat(state, [&] { isSent = client.sendDataFromHU(message.data(), bytes) == 1 && isSent; });
  mustHold(isSent, "a message was refused");
}

void announceConnection(benchmark::State& state) {
  iOSAppCommonServer& server = Channel::current().serverOf1();
  iosapp_def_::ConnectInfo info = {Channel::kDevice, 1, 2, 1};
  repeat(state, [&] { server.notifyConnectionState(info); });
}

void askWhetherConnected(benchmark::State& state) {
  iOSAppCommonClient& client = Channel::current().client();
  unsigned int connected = 1;
  repeat(state, [&] { connected &= client.isDeviceConnected(Channel::kDevice); });
  mustHold(connected == 1, "the device is not connected");
}

void askWhetherOpen(benchmark::State& state) {
  iOSAppCommonClient& client = Channel::current().client();
  unsigned int opened = 1;
  repeat(state, [&] { opened &= client.isSessionOpened(Channel::kDevice, Channel::kApp); });
  mustHold(opened == 1, "the session is not open");
}

iOSAppCommonServer& serverOf(unsigned int apps) {
  return apps == 1 ? Channel::current().serverOf1() : Channel::current().serverOf20();
}

// The last match wins, so app 1 is the one that takes longest to find.
void findApp(benchmark::State& state, unsigned int apps) {
  iOSAppCommonServer& server = serverOf(apps);
  bool isFound = true;
  repeat(state, [&] { isFound = server.getAppIdFromAppList(Channel::kApp) == Channel::kApp && isFound; });
  mustHold(isFound, "the app was not found");
}

void findSession(benchmark::State& state, unsigned int apps) {
  iOSAppCommonServer& server = serverOf(apps);
  bool isFound = true;
  repeat(state, [&] { isFound = server.getSessionIdFromAppList(Channel::kApp) == Channel::kApp && isFound; });
  mustHold(isFound, "the session was not found");
}

// The first match wins here, so the last app takes longest.
void findLaunchString(benchmark::State& state, unsigned int apps) {
  iOSAppCommonServer& server = serverOf(apps);
  bool isFound = true;
  repeat(state, [&] { isFound = !server.getLaunchStringFromAppList(apps).empty() && isFound; });
  mustHold(isFound, "the launch string was not found");
}

// Bound how fast one application can send, and how long its thread is held up: all that sendDataFromHU does but the
// wake-up. The steps from size to size are the copy into the ring.
BENCHMARK_CAPTURE(send, 1, 1)->Name("send 1 B from the head unit, nobody asleep");
BENCHMARK_CAPTURE(send, 64, 64)->Name("send 64 B from the head unit, nobody asleep");
BENCHMARK_CAPTURE(send, 1024, 1024)->Name("send 1024 B from the head unit, nobody asleep");
BENCHMARK_CAPTURE(send, 4096, 4096)->Name("send 4096 B from the head unit, nobody asleep");
// Bounds what a change of the connection costs the device side's thread, apart from the wake-up.
BENCHMARK(announceConnection)->Name("announce a connection, nobody asleep");
// Bound what each send pays to know that it may.
BENCHMARK(askWhetherConnected)->Name("isDeviceConnected");
BENCHMARK(askWhetherOpen)->Name("isSessionOpened");
// Bound what the device side pays for each message to an app to know whose session it is.
BENCHMARK_CAPTURE(findApp, one, 1)->Name("app by session, of 1 app");
BENCHMARK_CAPTURE(findApp, many, Channel::kApps)->Name("app by session, of 20 apps");
// Bound what it pays for each message from an app to name the session.
BENCHMARK_CAPTURE(findSession, one, 1)->Name("session by app, of 1 app");
BENCHMARK_CAPTURE(findSession, many, Channel::kApps)->Name("session by app, of 20 apps");
// Bound what it pays for each request to launch an app.
BENCHMARK_CAPTURE(findLaunchString, one, 1)->Name("launch string by app, of 1 app");
BENCHMARK_CAPTURE(findLaunchString, many, Channel::kApps)->Name("launch string by app, of 20 apps");

}  // namespace
}  // namespace bench
