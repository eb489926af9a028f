// iOSAppCommonServer's app table: the snapshot, the look-ups, what the registry adds later.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using testing::IsEmpty;

class ServerTable : public ChannelTest {
 protected:
  // Puts an entry of any content into the registry's table.
  static void put(std::uint16_t appId, std::uint16_t sessionId, std::uint16_t iAP1Id, const std::string& launchString) {
    iOSLinkAppInfo info;
    info.appId = appId;
    info.appName = "App";
    info.launchString = launchString;
    info.sessionId = sessionId;
    info.iAP1Id = iAP1Id;
    VQSingleton<iOSAppCommonUtil>::getInstance()->pushAppInfo(info);
  }

  static void registerApp(const std::string& iAP1Name, const std::string& appName, const std::string& launchString) {
    iOSAppCommonClient client(iAP1Name, appName, launchString);
  }
};

TEST_F(ServerTable, HoldsTheAppsThatWereRegisteredBeforeConstruction) {
  registerApp("com.radio", "Radio", "radio://");
  registerApp("", "Maps", "maps://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getLaunchStringFromAppList(1), "radio://");
  EXPECT_EQ(sut.getLaunchStringFromAppList(2), "maps://");
  EXPECT_EQ(sut.getAppIdFromiAP1Id(1), 1U);
}

TEST_F(ServerTable, TakesTheRegistrysWholeListAtConstruction) {
  put(5, 55, 3, "five://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getSessionIdFromAppList(5), 55U);
  EXPECT_EQ(sut.getAppIdFromAppList(55), 5U);
  EXPECT_EQ(sut.getAppIdFromiAP1Id(3), 5U);
  EXPECT_EQ(sut.getLaunchStringFromAppList(5), "five://");
}

TEST_F(ServerTable, LookUpsAnswer0OrAnEmptyTextWhereNothingMatches) {
  put(5, 55, 3, "five://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getSessionIdFromAppList(6), 0U);
  EXPECT_EQ(sut.getAppIdFromAppList(56), 0U);
  EXPECT_EQ(sut.getAppIdFromiAP1Id(4), 0U);
  EXPECT_EQ(sut.getLaunchStringFromAppList(6), "");
}

TEST_F(ServerTable, KeysOfMoreThan16BitsMatchNothing) {
  put(5, 55, 3, "five://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getSessionIdFromAppList(0x10005), 0U);
  EXPECT_EQ(sut.getAppIdFromiAP1Id(0x10003), 0U);
  EXPECT_EQ(sut.getLaunchStringFromAppList(0x10005), "");
}

TEST_F(ServerTable, OfSeveralEntriesOfAnAppTheLastOnesSessionWins) {
  put(5, 51, 0, "");
  put(5, 52, 0, "");
  put(6, 60, 0, "");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getSessionIdFromAppList(5), 52U);
}

TEST_F(ServerTable, OfSeveralAppsWithASessionTheLastWins) {
  put(5, 51, 0, "");
  put(6, 51, 0, "");
  put(7, 52, 0, "");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getAppIdFromAppList(51), 6U);
}

TEST_F(ServerTable, OfSeveralAppsWithAnIAP1IdTheLastWins) {
  put(5, 0, 3, "");
  put(6, 0, 3, "");
  put(7, 0, 4, "");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getAppIdFromiAP1Id(3), 6U);
}

TEST_F(ServerTable, OfSeveralEntriesOfAnAppTheFirstOnesLaunchStringWins) {
  put(5, 0, 0, "first://");
  put(5, 0, 0, "second://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getLaunchStringFromAppList(5), "first://");
}

TEST_F(ServerTable, AnEmptyLaunchStringOfTheFirstEntryWinsToo) {
  put(5, 0, 0, "");
  put(5, 0, 0, "second://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getLaunchStringFromAppList(5), "");
}

TEST_F(ServerTable, GetAppIdFromAppList0MatchesTheBlankEntryAndAppsWithoutASessionAndAnswersTheLast) {
  iOSAppCommonServer empty(1);
  EXPECT_EQ(empty.getAppIdFromAppList(0), 0U) << "only the blank entry is there";
  put(5, 0, 0, "");
  put(6, 0, 0, "");
  put(7, 70, 0, "");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getAppIdFromAppList(0), 6U);
}

TEST_F(ServerTable, GetAppIdFromiAP1Id0AnswersTheLastAppWithoutAnIAP1Name) {
  put(5, 0, 0, "");
  put(6, 0, 0, "");
  put(7, 0, 1, "");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getAppIdFromiAP1Id(0), 6U);
}

TEST_F(ServerTable, AppId0MeetsTheBlankEntryFirst) {
  put(0, 70, 0, "zero://");
  iOSAppCommonServer sut(1);
  EXPECT_EQ(sut.getLaunchStringFromAppList(0), "");
  EXPECT_EQ(sut.getSessionIdFromAppList(0), 70U);
}

TEST_F(ServerTable, ASessionIsSetOnEveryEntryOfTheApp) {
  put(5, 51, 1, "");
  put(6, 60, 0, "");
  put(5, 52, 2, "");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(5, 99);
  EXPECT_EQ(sut.getSessionIdFromAppList(5), 99U);
  EXPECT_EQ(sut.getAppIdFromAppList(51), 0U);
  EXPECT_EQ(sut.getAppIdFromAppList(52), 0U);
  EXPECT_EQ(sut.getSessionIdFromAppList(6), 60U);
}

TEST_F(ServerTable, ASessionOfAnUnknownAppIsSetNowhere) {
  put(5, 51, 0, "");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(6, 99);
  sut.setSessionIdToAppList(0x10005, 99);
  EXPECT_EQ(sut.getAppIdFromAppList(99), 0U);
  EXPECT_EQ(sut.getSessionIdFromAppList(5), 51U);
}

TEST_F(ServerTable, ASessionOfAppId0IsSetOnTheBlankEntry) {
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(0, 99);
  EXPECT_EQ(sut.getSessionIdFromAppList(0), 99U);
}

TEST_F(ServerTable, TheRegistrysTableIsNotTouched) {
  put(5, 51, 0, "");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(5, 99);
  EXPECT_EQ(VQSingleton<iOSAppCommonUtil>::getInstance()->getSupportiOSLinkAppInfo().list[1].sessionId, 51U);
}

TEST_F(ServerTable, AnAppThatRegistersLaterIsAppended) {
  registerApp("", "Maps", "maps://");
  iOSAppCommonServer sut(1);
  registerApp("com.radio", "Radio", "radio://");
  EXPECT_EQ(sut.getLaunchStringFromAppList(2), "");
  vqfake::deliverAll();
  EXPECT_EQ(sut.getLaunchStringFromAppList(2), "radio://");
  EXPECT_EQ(sut.getAppIdFromiAP1Id(1), 2U);
}

TEST_F(ServerTable, EveryNewEntryOfTheRegistryIsAppended) {
  iOSAppCommonServer sut(1);
  put(5, 0, 0, "five://");
  put(6, 0, 0, "six://");
  put(7, 0, 0, "seven://");
  EXPECT_EQ(sut.onAppUtilUpdate(0, nullptr, 0), 0U);
  EXPECT_EQ(sut.getLaunchStringFromAppList(5), "five://");
  EXPECT_EQ(sut.getLaunchStringFromAppList(6), "six://");
  EXPECT_EQ(sut.getLaunchStringFromAppList(7), "seven://");
}

TEST_F(ServerTable, OnAppUtilUpdateWithANonZeroIdentifierChangesNothing) {
  iOSAppCommonServer sut(1);
  put(5, 0, 0, "five://");
  EXPECT_EQ(sut.onAppUtilUpdate(1, nullptr, 0), 0U);
  EXPECT_EQ(sut.onAppUtilUpdate(5, nullptr, 0), 0U);
  EXPECT_EQ(sut.getLaunchStringFromAppList(5), "");
}

TEST_F(ServerTable, OnAppUtilUpdateWithARegistryListNoLongerThanTheTableChangesNothing) {
  put(5, 51, 0, "");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(5, 99);
  EXPECT_EQ(sut.onAppUtilUpdate(0, nullptr, 0), 0U);
  EXPECT_EQ(sut.onAppUtilUpdate(0, nullptr, 0), 0U);
  EXPECT_EQ(sut.getSessionIdFromAppList(5), 99U);
}

TEST_F(ServerTable, SessionIdsSurviveAnUpdate) {
  put(5, 0, 0, "");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(5, 99);
  put(6, 0, 0, "six://");
  sut.onAppUtilUpdate(0, nullptr, 0);
  EXPECT_EQ(sut.getSessionIdFromAppList(5), 99U);
  EXPECT_EQ(sut.getLaunchStringFromAppList(6), "six://");
}

TEST_F(ServerTable, AnAppThatIsAppendedTwiceKeepsItsSessionOnTheFirstEntryOnly) {
  registerApp("com.radio", "Radio", "radio://");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(1, 99);
  const std::uint32_t index = 0;
  vqfake::post(5, &index, sizeof(index));
  vqfake::deliverAll();
  EXPECT_EQ(sut.getAppIdFromAppList(99), 1U);
  EXPECT_EQ(sut.getSessionIdFromAppList(1), 0U) << "the last match wins";
  EXPECT_EQ(sut.getAppIdFromiAP1Id(2), 1U);
}

TEST_F(ServerTable, TwoServersKeepTablesOfTheirOwn) {
  put(5, 0, 0, "");
  iOSAppCommonServer sut(1);
  iOSAppCommonServer other(1);
  sut.setSessionIdToAppList(5, 99);
  EXPECT_EQ(other.getSessionIdFromAppList(5), 0U);
}

TEST_F(ServerTable, NoLockIsTakenTwice) {
  put(5, 51, 3, "five://");
  iOSAppCommonServer sut(1);
  sut.setSessionIdToAppList(5, 99);
  sut.onAppUtilUpdate(0, nullptr, 0);
  sut.notifySessionOpen(5, 98);
  sut.notifySessionClose(98);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

}  // namespace
