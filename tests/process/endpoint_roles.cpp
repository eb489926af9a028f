// Roles on single endpoints.
//
// "endpoint SEGMENT": one endpoint of the channel, by its segment's name. It says "ready", then for every message
//   message ID SIZE HEX
// and hears
//   post ID HEX        posts the bytes ("-" = none) under any identifier; answered by the notifier's result
//   lock | unlock      its segment's lock; answered by "ok"
//   wait               says "waiting", then takes the lock; answered by "ok"
//
// "registry": a server and the process's registry. It says "ready", and whenever the registry changes, once from an
// observer that was added before the server's and once from one that was added after it,
//   first APPS LAUNCHSTRING | second APPS LAUNCHSTRING
// with the number of apps in the registry and what the server's table has for the newest ("-" = nothing).
#include <memory>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

template <class Endpoint>
std::string obey(Endpoint& endpoint, const std::vector<std::string>& words) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const std::string command = words.empty() ? "" : words[0];
  if (command == "post") {
    const std::vector<std::uint8_t> bytes = fromHex(words.at(2));
    const auto size = static_cast<unsigned int>(bytes.size());
    return endpoint.notifier.NotifyDataUpdate(numberOf(words.at(1)), bytes.data(), size) ? "1" : "0";
  }
  if (command == "wait") {
    say("waiting");
  }
  if (command == "lock" || command == "wait") {
    endpoint.lock();
    return "ok";
  }
  if (command == "unlock") {
    endpoint.unlock();
    return "ok";
  }
  return "unknown command";
}

template <class Endpoint, class... Arguments>
int runEndpoint(Arguments... arguments) {
  Listener listener([](unsigned int id, void* data, unsigned int size) {
    say("message " + std::to_string(id) + " " + std::to_string(size) + " " + toHex(data, size));
  });
  Endpoint endpoint(arguments...);
  endpoint.AddObserver(listener.observer());
  say("ready");
  while (const auto line = hear()) {
    answer(obey(endpoint, wordsOf(*line)));
  }
  endpoint.RemoveObserver(listener.observer());
  return 0;
}

TEST_ROLE(endpoint) {
  const std::string& name = args.at(0);
  if (name == kStatusSegment.name) {
    return runEndpoint<iOSAppCommonLocalMem_ConnectStatus>();
  }
  if (name == kAppInfoSegment.name) {
    return runEndpoint<iOSAppCommonLocalMem_AppInfo>();
  }
  return runEndpoint<iOSAppCommonLocalMem>(name.c_str(), 1U, name == kFromHUSegment.name ? 2U : 3U);
}

TEST_ROLE(registry) {
  iOSAppCommonUtil* const registry = VQSingleton<iOSAppCommonUtil>::getInstance();
  std::unique_ptr<iOSAppCommonServer> server;
  const auto report = [&](const std::string& who) {
    const std::size_t apps = registry->getSupportiOSLinkAppInfo().list.size() - 1;
    const std::string launchString = server->getLaunchStringFromAppList(static_cast<unsigned int>(apps));
    say(who + " " + std::to_string(apps) + " " + (launchString.empty() ? "-" : launchString));
  };
  Listener first([&](unsigned int, void*, unsigned int) { report("first"); });
  Listener second([&](unsigned int, void*, unsigned int) { report("second"); });

  registry->AddObserver(first.observer());
  server = std::make_unique<iOSAppCommonServer>(1);
  registry->AddObserver(second.observer());
  say("ready");
  test_support::waitForParent();

  registry->RemoveObserver(first.observer());
  registry->RemoveObserver(second.observer());
  return 0;
}

}  // namespace
