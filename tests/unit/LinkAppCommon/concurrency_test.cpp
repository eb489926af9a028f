// What several threads of one process may do at once. ThreadSanitizer sees the races, the assertions the lost updates.
#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <thread>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "channel_events.h"
#include "channel_fixture.h"
#include "tests/conformance/worker.h"
#include "tests/support/wait_until.h"

namespace {

using conformance::Worker;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

using Concurrency = ChannelTest;

// Runs `work` with 0, 1, ... on a thread each, all released at one moment.
void runTogether(unsigned int threadCount, const std::function<void(unsigned int)>& work) {
  std::atomic<unsigned int> ready{0};
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      ++ready;
      while (ready < threadCount) {
        std::this_thread::yield();
      }
      work(i);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

iOSLinkAppInfo appWithId(std::uint16_t appId) {
  iOSLinkAppInfo info;
  info.appId = appId;
  info.appName = "App";
  info.launchString = "launch" + std::to_string(appId);
  return info;
}

TEST_F(Concurrency, EachThreadFindsItsOwnDeviceInTheClientsLists) {
  iOSAppCommonClient sut("", "Radio", "radio://");
  std::atomic<unsigned int> wrong{0};
  runTogether(4, [&](unsigned int thread) {
    const std::uint32_t device = thread + 10;
    for (unsigned int i = 0; i < 300; ++i) {
      iosapp_def_::ConnectInfo connection;
      connection.deviceId = device;
      connection.connectStatus = 1;
      iosapp_def_::SessionInfo session;
      session.deviceId = device;
      session.appId = 1;
      session.status = 1;
      iosapp_def_::BtHfInfo handsFree;
      handsFree.deviceId = device;
      handsFree.btConnected = i;
      sut.addConnectInfoToList(connection);
      sut.addSessionInfoToList(session);
      sut.addBtHfInfoToList(handsFree);
      wrong += sut.isDeviceConnected(device) == 1 ? 0U : 1U;
      wrong += sut.isSessionOpened(device, 1) == 1 ? 0U : 1U;
      wrong += sut.getBtHfInfoToList(device).btConnected == i ? 0U : 1U;
      wrong += sut.getConnectInfoToList(device).deviceId == device ? 0U : 1U;
      sut.removeSessionInfoFromList(device, i % 2);
      sut.removeConnectInfoFromList(device);
      sut.removeBtHfInfoFromList(device);
      wrong += sut.isSessionOpened(device, 1) + sut.isDeviceConnected(device);
    }
  });
  EXPECT_EQ(wrong, 0U);
}

TEST_F(Concurrency, MessagesAreHandledWhileTheAppLaunchesAndSends) {
  iOSAppCommonClient sut("", "Radio", "radio://");
  std::atomic<unsigned int> devicesTold{0};
  std::atomic<bool> done{false};
  ClientEvents events(sut);
  events.during = [&] { ++devicesTold; };
  runTogether(2, [&](unsigned int thread) {
    if (thread == 0) {
      for (unsigned int i = 0; i < 300; ++i) {
        handleStatus(sut, connectMessage(1, 1));
        handleStatus(sut, sessionMessage(1, 1, 1));
        handleStatus(sut, connectMessage(1, 0));
      }
      done = true;
      return;
    }
    const std::uint8_t byte = 1;
    while (!done) {
      sut.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT);
      sut.sendDataFromHU(&byte, 1);
    }
  });
  EXPECT_EQ(devicesTold, 900U);
}

TEST_F(Concurrency, TwoThreadsThatSendGetSlotsOfTheirOwn) {
  iOSAppCommonClient sut("", "Radio", "radio://");
  handleStatus(sut, connectMessage(1, 1));
  handleStatus(sut, sessionMessage(1, 1, 1));
  ASSERT_EQ(sut.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT), 1U);
  PostedSince posted;
  runTogether(4, [&](unsigned int thread) {
    const Bytes bytes(100, static_cast<std::uint8_t>(thread + 1));
    for (unsigned int i = 0; i < 10; ++i) {
      EXPECT_EQ(sut.sendDataFromHU(bytes.data(), 100), 1U);
    }
  });
  const std::vector<vqfake::Message> messages = posted.messages();
  ASSERT_THAT(messages, SizeIs(40));
  SegmentView view(kFromHuSegment);
  const auto& ring = view.record<iOSAppCommonDataList>();
  std::vector<unsigned int> perThread(4);
  for (std::uint32_t i = 0; i < 40; ++i) {
    EXPECT_EQ(payloadAs<iOSAppCommonDataNotify>(messages[i]).slotIndex, i) << "announced in the order of writing";
    const iOSAppCommonDataSlot& slot = ring.slot[i];
    EXPECT_THAT(Bytes(slot.data, slot.data + 100), Each(slot.data[0]));
    ++perThread.at(slot.data[0] - 1U);
  }
  EXPECT_THAT(perThread, Each(10U));
}

TEST_F(Concurrency, AppsThatRegisterTogetherNeverShareAnEntryAndNeverOverfillTheTable) {
  iOSAppCommonLocalMem_AppInfo sut;
  constexpr unsigned int kThreads = 4;
  std::vector<std::vector<std::uint32_t>> ids(kThreads);
  runTogether(kThreads, [&](unsigned int thread) {
    iOSAppCommonLocalMem_AppInfo own;
    for (unsigned int i = 0; i < 7; ++i) {
      std::atomic<std::uint32_t> appId{0};
      own.registAppInfo("", "App" + std::to_string(thread), "", appId);
      if (appId != 0) {
        ids[thread].push_back(appId);
      }
    }
  });
  std::set<std::uint32_t> all;
  std::size_t accepted = 0;
  SegmentView view(kAppInfoSegment);
  const auto& table = view.record<iOSAppInfoList>();
  for (unsigned int thread = 0; thread < kThreads; ++thread) {
    accepted += ids[thread].size();
    all.insert(ids[thread].begin(), ids[thread].end());
    for (const std::uint32_t id : ids[thread]) {
      EXPECT_EQ(table.entry[id - 1].appName, "App" + std::to_string(thread));
    }
  }
  EXPECT_EQ(accepted, 20U);
  EXPECT_THAT(all, SizeIs(20));
  EXPECT_EQ(table.count, 20U);
  EXPECT_THAT(vqfake::log(), SizeIs(4U * 7U - 20U));
}

TEST_F(Concurrency, EachThreadFindsItsOwnSessionInTheServersTable) {
  for (std::uint16_t appId = 1; appId <= 4; ++appId) {
    VQSingleton<iOSAppCommonUtil>::getInstance()->pushAppInfo(appWithId(appId));
  }
  iOSAppCommonServer sut(1);
  std::atomic<unsigned int> wrong{0};
  runTogether(4, [&](unsigned int thread) {
    const std::uint32_t appId = thread + 1;
    for (unsigned int i = 1; i <= 300; ++i) {
      const auto session = static_cast<std::uint16_t>(thread * 1000 + i);
      sut.setSessionIdToAppList(appId, session);
      wrong += sut.getSessionIdFromAppList(appId) == session ? 0U : 1U;
      wrong += sut.getAppIdFromAppList(session) == appId ? 0U : 1U;
      wrong += sut.getLaunchStringFromAppList(appId) == "launch" + std::to_string(appId) ? 0U : 1U;
      wrong += sut.getAppIdFromiAP1Id(7) == 0 ? 0U : 1U;
    }
  });
  EXPECT_EQ(wrong, 0U);
}

TEST_F(Concurrency, AnUpdateOfTheTableLosesNoSessionAndAppendsNoAppTwice) {
  iOSAppCommonUtil* const registry = VQSingleton<iOSAppCommonUtil>::getInstance();
  registry->pushAppInfo(appWithId(1));
  iOSAppCommonServer sut(1);
  std::atomic<unsigned int> wrong{0};
  constexpr std::uint16_t kLastApp = 100;
  runTogether(4, [&](unsigned int thread) {
    for (std::uint16_t i = 2; i <= kLastApp; ++i) {
      if (thread == 0) {
        registry->pushAppInfo(appWithId(i));
        sut.onAppUtilUpdate(0, nullptr, 0);
        wrong += sut.getLaunchStringFromAppList(i).empty() ? 1U : 0U;
      } else if (thread == 1) {
        sut.setSessionIdToAppList(1, i);
        wrong += sut.getSessionIdFromAppList(1) == i ? 0U : 1U;
      } else {
        sut.onAppUtilUpdate(0, nullptr, 0);
      }
    }
  });
  EXPECT_EQ(wrong, 0U);
  // An entry that was appended twice would stand for the next app's place and keep that one out.
  for (std::uint16_t i = 2; i <= kLastApp; ++i) {
    EXPECT_FALSE(sut.getLaunchStringFromAppList(i).empty()) << i;
  }
}

TEST_F(Concurrency, AServerThatStartsWhileAppsArriveMissesNone) {
  iOSAppCommonUtil* const registry = VQSingleton<iOSAppCommonUtil>::getInstance();
  constexpr std::uint16_t kLastApp = 60;
  std::unique_ptr<iOSAppCommonServer> sut;
  runTogether(2, [&](unsigned int thread) {
    if (thread == 0) {
      sut = std::make_unique<iOSAppCommonServer>(1U);
      return;
    }
    for (std::uint16_t i = 1; i <= kLastApp; ++i) {
      registry->pushAppInfo(appWithId(i));
      registry->NotifyObserver(0, nullptr, 0, 0);
    }
  });
  for (std::uint16_t i = 1; i <= kLastApp; ++i) {
    EXPECT_FALSE(sut->getLaunchStringFromAppList(i).empty()) << i;
  }
}

// An explicit instantiation may name private members: each one here hands its member's address to a function that is
// found by its tag.
template <class Tag, typename Tag::Member kMember>
struct Opened {
  friend typename Tag::Member memberOf(Tag /*tag*/) { return kMember; }
};

struct UtilLock {
  using Member = VQSync iOSAppCommonUtil::*;
  friend Member memberOf(UtilLock tag);
};

struct ListLock {
  using Member = VQSync iOSAppCommonClient::*;
  friend Member memberOf(ListLock tag);
};

struct ServerLock {
  using Member = VQSync iOSAppCommonServer::*;
  friend Member memberOf(ServerLock tag);
};

template struct Opened<UtilLock, &iOSAppCommonUtil::utilLock>;
template struct Opened<ListLock, &iOSAppCommonClient::listLock>;
template struct Opened<ServerLock, &iOSAppCommonServer::serverLock>;

bool isTaken(VQSync& lock) {
  if (lock.Lock(0)) {
    lock.Unlock();
    return false;
  }
  return true;
}

bool isListenedFor(unsigned int id) {
  const std::vector<std::vector<unsigned int>> registrations = vqfake::registrations();
  return std::find(registrations.begin(), registrations.end(), std::vector<unsigned int>{id}) != registrations.end();
}

// An app that is announced between snapshot and assignment would be lost. The test keeps the server at its snapshot.
TEST_F(Concurrency, AServerThatStartsHoldsItsLockWhileItReadsTheRegistry) {
  iOSAppCommonUtil* const registry = VQSingleton<iOSAppCommonUtil>::getInstance();
  std::allocator<iOSAppCommonServer> memory;
  iOSAppCommonServer* const sut = memory.allocate(1);
  VQSync& registryLock = registry->*memberOf(UtilLock());
  std::thread starting;
  {
    VQSyncGuard registryGuard(registryLock);
    starting = std::thread([sut] { new (sut) iOSAppCommonServer(1U); });
    // Its data endpoint comes after its lock was made.
    EXPECT_TRUE(test_support::waitUntil([] { return isListenedFor(2); }));
    EXPECT_TRUE(test_support::waitUntil([sut] { return isTaken(sut->*memberOf(ServerLock())); }));
  }
  starting.join();
  EXPECT_FALSE(isTaken(sut->*memberOf(ServerLock())));
  sut->~iOSAppCommonServer();
  memory.deallocate(sut, 1);
}

// Which of the operations go on although the test holds the lock.
std::vector<std::size_t> thoseThatDoNotWaitFor(VQSync& lock, const std::vector<std::function<void()>>& operations) {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    std::unique_ptr<Worker> caller;
    VQSyncGuard guard(lock);
    caller = std::make_unique<Worker>(operations[i]);
    if (!caller->isHeldUp()) {
      found.push_back(i);
    }
  }
  return found;
}

TEST_F(Concurrency, EveryListOperationOfTheClientWaitsForItsLock) {
  iOSAppCommonClient sut("", "Radio", "radio://");
  const std::vector<std::function<void()>> operations = {
      [&] { sut.getConnectInfoToList(1); },
      [&] { sut.getBtHfInfoToList(1); },
      [&] { sut.isDeviceConnected(1); },
      [&] { sut.isSessionOpened(1, 1); },
      [&] { sut.addConnectInfoToList({}); },
      [&] { sut.addSessionInfoToList({}); },
      [&] { sut.addBtHfInfoToList({}); },
      [&] { sut.removeConnectInfoFromList(1); },
      [&] { sut.removeSessionInfoFromList(1, 1); },
      [&] { sut.removeBtHfInfoFromList(1); },
  };
  EXPECT_THAT(thoseThatDoNotWaitFor(sut.*memberOf(ListLock()), operations), IsEmpty());
}

TEST_F(Concurrency, EveryTableOperationOfTheServerWaitsForItsLock) {
  iOSAppCommonServer sut(1);
  const std::vector<std::function<void()>> operations = {
      [&] { sut.getSessionIdFromAppList(1); },  [&] { sut.getAppIdFromAppList(1); },
      [&] { sut.getAppIdFromiAP1Id(1); },       [&] { sut.getLaunchStringFromAppList(1); },
      [&] { sut.setSessionIdToAppList(1, 1); }, [&] { sut.onAppUtilUpdate(0, nullptr, 0); },
  };
  EXPECT_THAT(thoseThatDoNotWaitFor(sut.*memberOf(ServerLock()), operations), IsEmpty());
}

// Every operation alone beside a writer: beside other operations their locks would hide a race of its own.
TEST_F(Concurrency, EveryListOperationOfTheClientMayRunBesideAWriter) {
  iOSAppCommonClient sut("", "Radio", "radio://");
  const std::function<void()> operations[] = {
      [&] { sut.getConnectInfoToList(1); },
      [&] { sut.getBtHfInfoToList(1); },
      [&] { sut.isDeviceConnected(1); },
      [&] { sut.isSessionOpened(1, 1); },
      [&] { sut.addConnectInfoToList({}); },
      [&] { sut.addSessionInfoToList({}); },
      [&] { sut.addBtHfInfoToList({}); },
      [&] { sut.removeConnectInfoFromList(1); },
      [&] { sut.removeSessionInfoFromList(1, 1); },
      [&] { sut.removeBtHfInfoFromList(1); },
  };
  for (const std::function<void()>& operation : operations) {
    runTogether(2, [&](unsigned int thread) {
      for (std::uint32_t i = 0; i < 100; ++i) {
        if (thread == 1) {
          operation();
          continue;
        }
        iosapp_def_::ConnectInfo connection;
        connection.deviceId = i;
        iosapp_def_::SessionInfo session;
        session.deviceId = i;
        iosapp_def_::BtHfInfo handsFree;
        handsFree.deviceId = i;
        sut.addConnectInfoToList(connection);
        sut.addSessionInfoToList(session);
        sut.addBtHfInfoToList(handsFree);
      }
    });
  }
  EXPECT_EQ(sut.getConnectInfoToList(99).deviceId, 99U);
}

TEST_F(Concurrency, EveryTableOperationOfTheServerMayRunBesideAWriter) {
  iOSAppCommonUtil* const registry = VQSingleton<iOSAppCommonUtil>::getInstance();
  iOSAppCommonServer sut(1);
  const std::function<void()> operations[] = {
      [&] { sut.getSessionIdFromAppList(1); },  [&] { sut.getAppIdFromAppList(1); },
      [&] { sut.getAppIdFromiAP1Id(1); },       [&] { sut.getLaunchStringFromAppList(1); },
      [&] { sut.setSessionIdToAppList(1, 1); }, [&] { sut.onAppUtilUpdate(0, nullptr, 0); },
  };
  std::uint16_t lastApp = 0;
  for (const std::function<void()>& operation : operations) {
    runTogether(2, [&](unsigned int thread) {
      for (unsigned int i = 0; i < 50; ++i) {
        if (thread == 1) {
          operation();
          continue;
        }
        registry->pushAppInfo(appWithId(++lastApp));
        sut.onAppUtilUpdate(0, nullptr, 0);
        sut.setSessionIdToAppList(lastApp, lastApp);
      }
    });
  }
  for (std::uint16_t appId = 2; appId <= lastApp; ++appId) {
    EXPECT_EQ(sut.getSessionIdFromAppList(appId), appId);
  }
}

TEST_F(Concurrency, TheRegistryIsAskedWhileAppsArrive) {
  { iOSAppCommonClient client("com.radio", "spotify", "radio://"); }
  iOSAppCommonUtil sut;
  runTogether(3, [&](unsigned int thread) {
    for (unsigned int i = 0; i < 200; ++i) {
      std::uint32_t index = 0;
      if (thread == 0) {
        sut.onAppInfoUpdate(5, &index, sizeof(index));
      } else {
        EXPECT_TRUE(sut.isSupportediOSLinkAppSpotify());
        EXPECT_FALSE(sut.isSupportediOSLinkAppPandora());
        const std::size_t before = sut.getSupportiOSLinkAppInfo().list.size();
        EXPECT_GE(sut.getiAP1AppCount() + 1U, before);
      }
    }
  });
  EXPECT_EQ(sut.getiAP1AppCount(), 201U);
  EXPECT_THAT(sut.getSupportiOSLinkAppInfo().list, SizeIs(202));
}

}  // namespace
