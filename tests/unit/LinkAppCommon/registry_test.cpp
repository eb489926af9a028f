// iOSAppCommonUtil: mirroring the table, numbering iAP1 apps, the outside-app queries.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "channel_events.h"
#include "channel_fixture.h"
#include "libc_faults.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Registry : public ChannelTest {
 protected:
  // A process that registers an app.
  static void registerApp(const std::string& iAP1Name, const std::string& appName, const std::string& launchString) {
    iOSAppCommonClient client(iAP1Name, appName, launchString);
  }

  static unsigned int announce(iOSAppCommonUtil& sut, std::uint32_t index) {
    return sut.onAppInfoUpdate(5, &index, sizeof(index));
  }

  static iOSLinkAppInfo appNamed(const std::string& appName) {
    iOSLinkAppInfo info;
    info.appId = 1;
    info.appName = appName;
    return info;
  }
};

testing::Matcher<const vqfake::LogLine&> invalidLine() {
  return logLine(kUtilFile, "convertiOSAppInfoToLinkAppInfo", 0, 1, "### Error : iOSAppInfo is invalid.\r\n");
}

// An app as one line of text, all six fields.
std::string describe(const iOSLinkAppInfo& info) {
  return std::to_string(info.appId) + " [" + info.iAP1Name + "] [" + info.appName + "] [" + info.launchString + "] s" +
         std::to_string(info.sessionId) + " i" + std::to_string(info.iAP1Id);
}

std::vector<std::string> tableOf(iOSAppCommonUtil& sut) {
  const SupportiOSLinkAppInfo table = sut.getSupportiOSLinkAppInfo();
  std::vector<std::string> lines;
  for (const iOSLinkAppInfo& info : table.list) {
    lines.push_back(describe(info));
  }
  return lines;
}

constexpr const char* kBlank = "0 [] [] [] s0 i0";

TEST_F(Registry, WithNoRegisteredAppsTheCountIs0AndBothQueriesAreFalse) {
  iOSAppCommonUtil sut;
  EXPECT_EQ(sut.getiAP1AppCount(), 0U);
  EXPECT_FALSE(sut.isSupportediOSLinkAppSpotify());
  EXPECT_FALSE(sut.isSupportediOSLinkAppPandora());
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Registry, ListensForIdentifier5UntilItGoes) {
  auto sut = std::make_unique<iOSAppCommonUtil>();
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(5U)));
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
}

TEST_F(Registry, ThereIsOneInstancePerProcess) {
  EXPECT_EQ(VQSingleton<iOSAppCommonUtil>::getInstance(), VQSingleton<iOSAppCommonUtil>::getInstance());
}

TEST_F(Registry, ReadsTheRegisteredAppsAtConstruction) {
  registerApp("com.radio", "Radio", "radio://");
  registerApp("", "Maps", "");
  iOSAppCommonUtil sut;
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "1 [com.radio] [Radio] [radio://] s0 i1", "2 [] [Maps] [] s0 i0"));
}

TEST_F(Registry, ReadsAllTwentyAppsAtConstruction) {
  for (int i = 0; i < 20; ++i) {
    registerApp("", "App", "");
  }
  iOSAppCommonUtil sut;
  EXPECT_THAT(tableOf(sut), SizeIs(21));
}

TEST_F(Registry, HoldsNoSegmentLockAfterReading) {
  registerApp("", "Radio", "");
  iOSAppCommonUtil sut;
  EXPECT_EQ(vqfake::lockDepth(kAppInfoSegment), 0U);
}

TEST_F(Registry, SkipsAndLogsInvalidEntriesAtConstruction) {
  registerApp("", "Radio", "");
  registerApp("", "Maps", "");
  registerApp("", "News", "");
  SegmentView(kAppInfoSegment).record<iOSAppInfoList>().entry[1].appId = 0;
  iOSAppCommonUtil sut;
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "1 [] [Radio] [] s0 i0", "3 [] [News] [] s0 i0"));
  EXPECT_THAT(vqfake::log(), ElementsAre(invalidLine()));
}

TEST_F(Registry, ASpoiltCountReadsTwentyEntriesAndNoMore) {
  registerApp("", "Radio", "");
  SegmentView(kAppInfoSegment).record<iOSAppInfoList>().count = 0xFFFFFFFF;
  iOSAppCommonUtil sut;
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "1 [] [Radio] [] s0 i0"));
  EXPECT_THAT(vqfake::log(), AllOf(SizeIs(19), Each(invalidLine())));
}

TEST_F(Registry, WithoutAMappedSegmentItReadsNothingAndDropsAnnouncements) {
  registerApp("", "Radio", "");
  LibcFaults faults;
  faults.failShmOpenOf(kAppInfoSegment, EACCES);
  iOSAppCommonUtil sut;
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(122, "shm_open error\n")));
  PlainEvents events(sut);
  EXPECT_EQ(announce(sut, 0), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(122, "shm_open error\n"), invalidLine()));
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank));
  EXPECT_THAT(events.headers, IsEmpty());
}

TEST_F(Registry, AppendsAnAnnouncedAppAndNotifiesIdentifier0WithoutPayload) {
  iOSAppCommonUtil sut;
  PlainEvents events(sut);
  registerApp("com.radio", "Radio", "radio://");
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank));
  vqfake::deliverAll();
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "1 [com.radio] [Radio] [radio://] s0 i1"));
  EXPECT_THAT(events.headers, ElementsAre(EventHeader{0, 0}));
  EXPECT_THAT(events.payloads, ElementsAre(nullptr));
}

TEST_F(Registry, NotifiesWithNoLockHeldAfterTheAppend) {
  registerApp("", "Radio", "");
  iOSAppCommonUtil sut;
  PlainEvents events(sut);
  std::size_t tableSize = 0;
  unsigned int depth = 1;
  events.during = [&] {
    tableSize = sut.getSupportiOSLinkAppInfo().list.size();
    depth = vqfake::lockDepth(kAppInfoSegment);
  };
  announce(sut, 0);
  EXPECT_EQ(tableSize, 3U);
  EXPECT_EQ(depth, 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty()) << "a lock that is taken twice logs";
}

TEST_F(Registry, NoNotificationIsSentAtConstruction) {
  registerApp("", "Radio", "");
  vqfake::deliverAll();
  PostedSince posted;
  iOSAppCommonUtil sut;
  EXPECT_TRUE(posted.none());
}

TEST_F(Registry, AnAnnouncementOfAnEntryThatTheConstructorReadAppendsItASecondTime) {
  registerApp("com.radio", "Radio", "radio://");
  iOSAppCommonUtil sut;
  PlainEvents events(sut);
  announce(sut, 0);
  EXPECT_THAT(tableOf(sut),
              ElementsAre(kBlank, "1 [com.radio] [Radio] [radio://] s0 i1", "1 [com.radio] [Radio] [radio://] s0 i2"));
  EXPECT_EQ(sut.getiAP1AppCount(), 2U);
  EXPECT_THAT(events.headers, SizeIs(1));
}

TEST_F(Registry, IgnoresForeignIdentifiersNullPayloadsAndZeroSizesSilently) {
  registerApp("", "Radio", "");
  iOSAppCommonUtil sut;
  PlainEvents events(sut);
  std::uint32_t index = 0;
  EXPECT_EQ(sut.onAppInfoUpdate(4, &index, 4), 0U);
  EXPECT_EQ(sut.onAppInfoUpdate(0, &index, 4), 0U);
  EXPECT_EQ(sut.onAppInfoUpdate(5, nullptr, 4), 0U);
  EXPECT_EQ(sut.onAppInfoUpdate(5, &index, 0), 0U);
  EXPECT_THAT(tableOf(sut), SizeIs(2));
  EXPECT_THAT(events.headers, IsEmpty());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

// An announcement that must leave one log line and nothing else.
void expectDropped(iOSAppCommonUtil& sut, std::uint32_t index) {
  vqfake::clearLog();
  const std::vector<std::string> before = tableOf(sut);
  const unsigned int countBefore = sut.getiAP1AppCount();
  PlainEvents events(sut);
  EXPECT_EQ(sut.onAppInfoUpdate(5, &index, sizeof(index)), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(invalidLine()));
  EXPECT_EQ(tableOf(sut), before);
  EXPECT_EQ(sut.getiAP1AppCount(), countBefore);
  EXPECT_THAT(events.headers, IsEmpty());
}

TEST_F(Registry, AnEntryWithAppId0IsLoggedAsInvalidAndNotNotified) {
  registerApp("com.radio", "Radio", "radio://");
  iOSAppCommonUtil sut;
  SegmentView(kAppInfoSegment).record<iOSAppInfoList>().entry[0].appId = 0;
  expectDropped(sut, 0);
}

TEST_F(Registry, AnEntryWithAnEmptyAppNameIsLoggedAsInvalidAndNotNotified) {
  registerApp("com.radio", "Radio", "radio://");
  iOSAppCommonUtil sut;
  SegmentView(kAppInfoSegment).record<iOSAppInfoList>().entry[0].appName[0] = '\0';
  expectDropped(sut, 0);
}

TEST_F(Registry, AnIndexOf20OrMoreIsLoggedAsInvalidAndNotNotified) {
  registerApp("", "Radio", "");
  iOSAppCommonUtil sut;
  expectDropped(sut, 20);
  expectDropped(sut, 21);
  expectDropped(sut, 0xFFFFFFFF);
}

// Behind the last entry lies the count, which reads as an app id, and then the rest of the page.
TEST_F(Registry, AnIndexOf20IsInvalidWhateverLiesBehindTheTable) {
  registerApp("", "Radio", "");
  iOSAppCommonUtil sut;
  SegmentView segment(kAppInfoSegment);
  ASSERT_GT(segment.slack().size(), sizeof(iOSAppInfo));
  std::memset(segment.bytes() + segment.size(), 'x', sizeof(iOSAppInfo));
  expectDropped(sut, 20);
}

TEST_F(Registry, AnEntryBehindTheCountIsConvertedWhenItIsAnnounced) {
  iOSAppCommonUtil sut;
  SegmentView view(kAppInfoSegment);
  iOSAppInfo& entry = view.record<iOSAppInfoList>().entry[19];
  entry.appId = 20;
  entry.appName[0] = 'R';
  announce(sut, 19);
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "20 [] [R] [] s0 i0"));
}

TEST_F(Registry, OfAnAppId16BitsAreKept) {
  registerApp("", "Radio", "");
  iOSAppCommonUtil sut;
  SegmentView(kAppInfoSegment).record<iOSAppInfoList>().entry[0].appId = 0x50003;
  announce(sut, 0);
  EXPECT_EQ(tableOf(sut).back(), "3 [] [Radio] [] s0 i0");
}

TEST_F(Registry, AnIAP1NameOf11BytesRunsOnIntoTheAppName) {
  registerApp("ABCDEFGHIJK", "Radio", "");
  iOSAppCommonUtil sut;
  EXPECT_EQ(tableOf(sut).back(), "1 [ABCDEFGHIJKRadio] [Radio] [] s0 i1");
}

TEST_F(Registry, AnAppNameOf128BytesRunsOnIntoTheLaunchString) {
  const std::string name(128, 'a');
  registerApp("", name, "radio://");
  iOSAppCommonUtil sut;
  EXPECT_EQ(tableOf(sut).back(), "1 [] [" + name + "radio://] [radio://] s0 i0");
}

TEST_F(Registry, ALaunchStringOf128BytesIsReadWhole) {
  const std::string launch(128, 'l');
  registerApp("", "Radio", launch);
  iOSAppCommonUtil sut;
  EXPECT_EQ(tableOf(sut).back(), "1 [] [Radio] [" + launch + "] s0 i0");
}

TEST_F(Registry, ALaunchStringBeyondTheEntryIsReadToTheEntrysEnd) {
  registerApp("", "Radio", std::string(300, 'l'));
  iOSAppCommonUtil sut;
  EXPECT_EQ(tableOf(sut).back(), "1 [] [Radio] [" + std::string(129, 'l') + "] s0 i0");
}

TEST_F(Registry, TwoAppsWithIAP1NamesGetIds1And2AndOneWithoutKeeps0AndDoesNotCount) {
  registerApp("com.radio", "Radio", "");
  registerApp("", "Maps", "");
  registerApp("com.news", "News", "");
  iOSAppCommonUtil sut;
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "1 [com.radio] [Radio] [] s0 i1", "2 [] [Maps] [] s0 i0",
                                        "3 [com.news] [News] [] s0 i2"));
  EXPECT_EQ(sut.getiAP1AppCount(), 2U);
}

TEST_F(Registry, NumberingGoesOnWithAnnouncedApps) {
  registerApp("com.radio", "Radio", "");
  iOSAppCommonUtil sut;
  registerApp("com.news", "News", "");
  vqfake::deliverAll();
  EXPECT_EQ(tableOf(sut).back(), "2 [com.news] [News] [] s0 i2");
  EXPECT_EQ(sut.getiAP1AppCount(), 2U);
}

TEST_F(Registry, AnInvalidEntryTakesNoIAP1Id) {
  registerApp("com.radio", "Radio", "");
  registerApp("com.news", "News", "");
  SegmentView(kAppInfoSegment).record<iOSAppInfoList>().entry[0].appId = 0;
  iOSAppCommonUtil sut;
  EXPECT_EQ(tableOf(sut).back(), "2 [com.news] [News] [] s0 i1");
  EXPECT_EQ(sut.getiAP1AppCount(), 1U);
}

TEST_F(Registry, TheCountIsTruncatedTo16Bits) {
  registerApp("com.radio", "Radio", "");
  iOSAppCommonUtil sut;
  for (unsigned int i = 1; i < 0xFFFF; ++i) {
    announce(sut, 0);
  }
  EXPECT_EQ(sut.getiAP1AppCount(), 0xFFFFU);
  announce(sut, 0);
  EXPECT_EQ(sut.getiAP1AppCount(), 0U);
}

TEST_F(Registry, PushedAppsAreAppendedUnnumberedAndNobodyIsNotified) {
  iOSAppCommonUtil sut;
  PlainEvents events(sut);
  iOSLinkAppInfo info = appNamed("Radio");
  info.iAP1Name = "com.radio";
  sut.pushAppInfo(info);
  sut.pushAppInfo(info);
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank, "1 [com.radio] [Radio] [] s0 i0", "1 [com.radio] [Radio] [] s0 i0"));
  EXPECT_EQ(sut.getiAP1AppCount(), 0U);
  EXPECT_THAT(events.headers, IsEmpty());
}

TEST_F(Registry, ASnapshotIsACopy) {
  iOSAppCommonUtil sut;
  SupportiOSLinkAppInfo snapshot = sut.getSupportiOSLinkAppInfo();
  snapshot.list.clear();
  EXPECT_THAT(tableOf(sut), ElementsAre(kBlank));
}

TEST_F(Registry, SpotifyWithACapitalSIsNotFoundByTheSpotifyQuery) {
  iOSAppCommonUtil sut;
  sut.pushAppInfo(appNamed("Spotify"));
  EXPECT_FALSE(sut.isSupportediOSLinkAppSpotify());
}

TEST_F(Registry, ANameThatMerelyContainsSpotifyIsFound) {
  iOSAppCommonUtil sut;
  sut.pushAppInfo(appNamed("Radio"));
  sut.pushAppInfo(appNamed("com.spotify.client"));
  EXPECT_TRUE(sut.isSupportediOSLinkAppSpotify());
  EXPECT_FALSE(sut.isSupportediOSLinkAppPandora());
}

TEST_F(Registry, PandoraIsFoundLikewise) {
  iOSAppCommonUtil sut;
  sut.pushAppInfo(appNamed("Pandora"));
  EXPECT_FALSE(sut.isSupportediOSLinkAppPandora());
  sut.pushAppInfo(appNamed("mypandora"));
  EXPECT_TRUE(sut.isSupportediOSLinkAppPandora());
  EXPECT_FALSE(sut.isSupportediOSLinkAppSpotify());
}

TEST_F(Registry, OnlyTheAppNameIsSearched) {
  registerApp("spotify", "Radio", "spotify pandora");
  registerApp("pandora", "Maps", "");
  iOSAppCommonUtil sut;
  EXPECT_FALSE(sut.isSupportediOSLinkAppSpotify());
  EXPECT_FALSE(sut.isSupportediOSLinkAppPandora());
}

TEST_F(Registry, ARegisteredAppIsFoundByTheQueries) {
  registerApp("", "spotify", "");
  iOSAppCommonUtil sut;
  EXPECT_TRUE(sut.isSupportediOSLinkAppSpotify());
}

}  // namespace
