// The three endpoints: registration with the notifier, relaying, the senders of the connection-status channel.
#include <memory>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using iosapp_def_::ConnectStatusNotify;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using Endpoint = ChannelTest;

TEST_F(Endpoint, EachRegistersItsOneIdentifier) {
  iOSAppCommonLocalMem_ConnectStatus connectStatus;
  iOSAppCommonLocalMem_AppInfo appInfo;
  iOSAppCommonLocalMem fromHu(kFromHuSegment, 1, 2);
  iOSAppCommonLocalMem fromDevice(kFromDeviceSegment, 1, 3);
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4U), ElementsAre(5U), ElementsAre(2U), ElementsAre(3U)));
}

TEST_F(Endpoint, ARingKnowsItsDeviceAndIdentifier) {
  iOSAppCommonLocalMem sut(kFromDeviceSegment, 1, 3);
  EXPECT_EQ(sut.deviceId, 1U);
  EXPECT_EQ(sut.notifyId, 3U);
}

TEST_F(Endpoint, DestructionTakesTheRegistrationBack) {
  auto connectStatus = std::make_unique<iOSAppCommonLocalMem_ConnectStatus>();
  auto appInfo = std::make_unique<iOSAppCommonLocalMem_AppInfo>();
  auto ring = std::make_unique<iOSAppCommonLocalMem>(kFromHuSegment, 1U, 2U);
  connectStatus.reset();
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(5U), ElementsAre(2U)));
  appInfo.reset();
  ring.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
}

TEST_F(Endpoint, DestructionThroughTheSubjectLeavesNoRegistration) {
  std::vector<std::unique_ptr<VQSubject>> suts;
  suts.push_back(std::make_unique<iOSAppCommonLocalMem>(kFromHuSegment, 1U, 2U));
  suts.push_back(std::make_unique<iOSAppCommonLocalMem_AppInfo>());
  suts.push_back(std::make_unique<iOSAppCommonLocalMem_ConnectStatus>());
  suts.clear();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
}

TEST_F(Endpoint, AnEndpointWithoutANameIsUnusableAndStillRegistered) {
  iOSAppCommonLocalMem sut("", 2, 0);
  EXPECT_EQ(sut.mapping, MAP_FAILED);
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(0U)));
  EXPECT_THAT(vqfake::log(), ElementsAre(logLine(kSegmentFile, "VQSharedMemory", 86, 1,
                                                 "VQSharedMemory Failed. Error. Name is nothing.\n")));
}

TEST_F(Endpoint, ASecondRingOnASegmentResetsTheWriteIndexAndLeavesTheSlotsAlone) {
  iOSAppCommonLocalMem first(kFromHuSegment, 1, 2);
  SegmentView view(kFromHuSegment);
  std::memset(view.bytes() + 4, 0x5A, sizeof(iOSAppCommonDataList));
  iOSAppCommonLocalMem sut(kFromHuSegment, 1, 2);
  EXPECT_EQ(view.record<iOSAppCommonDataList>().writeIndex, 0U);
  EXPECT_THAT(Bytes(view.bytes() + 4, view.bytes() + 4 + 164000), Each(0x5A));
}

TEST_F(Endpoint, TheWriteIndexIsResetWithoutTheLock) {
  iOSAppCommonLocalMem sut(kFromHuSegment, 1, 2);
  EXPECT_EQ(vqfake::lockCount(kFromHuSegment), 1U) << "the segment's own construction takes it once";
}

TEST_F(Endpoint, OtherEndpointsKeepTheirRecords) {
  iOSAppCommonLocalMem_AppInfo firstInfo;
  iOSAppCommonLocalMem_ConnectStatus firstStatus;
  SegmentView info(kAppInfoSegment);
  SegmentView status(kConnectStatusSegment);
  std::memset(info.bytes() + 4, 0x5A, 5444);
  std::memset(status.bytes() + 4, 0x5A, 304);
  iOSAppCommonLocalMem_AppInfo secondInfo;
  iOSAppCommonLocalMem_ConnectStatus secondStatus;
  EXPECT_THAT(Bytes(info.bytes() + 4, info.bytes() + info.size()), Each(0x5A));
  EXPECT_THAT(Bytes(status.bytes() + 4, status.bytes() + status.size()), Each(0x5A));
}

template <class Sut>
void expectRelaysAnything(Sut& sut) {
  PlainEvents events(sut);
  int something = 0;
  EXPECT_EQ(sut.update(77, &something, 1234), 0U);
  EXPECT_EQ(sut.update(0, nullptr, 0), 0U);
  EXPECT_THAT(events.headers, ElementsAre(EventHeader{77, 1234}, EventHeader{0, 0}));
  EXPECT_THAT(events.payloads, ElementsAre(&something, nullptr));
}

TEST_F(Endpoint, UpdateRelaysWhateverComesUnchangedAndReturnsZero) {
  iOSAppCommonLocalMem_ConnectStatus connectStatus;
  iOSAppCommonLocalMem_AppInfo appInfo;
  iOSAppCommonLocalMem ring(kFromHuSegment, 1, 2);
  expectRelaysAnything(connectStatus);
  expectRelaysAnything(appInfo);
  expectRelaysAnything(ring);
}

TEST_F(Endpoint, AConnectionStatusMessageReachesTheObserversAsIdentifier4With304BytesUnchanged) {
  iOSAppCommonLocalMem_ConnectStatus sut;
  PlainEvents events(sut);
  events.copyPayload = true;
  const Bytes message = patternOf(304);
  vqfake::post(4, message.data(), 304);
  EXPECT_EQ(vqfake::deliverAll(), 1U);
  EXPECT_THAT(events.headers, ElementsAre(EventHeader{4, 304}));
  EXPECT_THAT(events.copies, ElementsAre(message));
}

TEST_F(Endpoint, ForeignIdentifiersAreNotHeard) {
  iOSAppCommonLocalMem_ConnectStatus sut;
  PlainEvents events(sut);
  const std::uint32_t word = 1;
  for (const unsigned int id : {0U, 1U, 2U, 3U, 5U, 6U}) {
    vqfake::post(id, &word, sizeof(word));
  }
  vqfake::deliverAll();
  EXPECT_THAT(events.headers, IsEmpty());
}

TEST_F(Endpoint, HearsItsOwnMessages) {
  iOSAppCommonLocalMem_ConnectStatus sut;
  iOSAppCommonLocalMem_ConnectStatus other;
  PlainEvents events(sut);
  PlainEvents otherEvents(other);
  sut.setAppSessionInfo({});
  EXPECT_THAT(events.headers, IsEmpty()) << "never delivered from within the sender";
  vqfake::deliverAll();
  EXPECT_THAT(events.headers, ElementsAre(EventHeader{4, 304}));
  EXPECT_THAT(otherEvents.headers, ElementsAre(EventHeader{4, 304}));
}

// Senders of the connection-status channel.
class StatusSender : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    sut = std::make_unique<iOSAppCommonLocalMem_ConnectStatus>();
    locksTaken = vqfake::lockCount(kConnectStatusSegment);
    posted = std::make_unique<PostedSince>();
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  // The one message sent; asserts what is common to all senders.
  ConnectStatusNotify sent() const {
    const vqfake::Message message = posted->single();
    EXPECT_EQ(message.id, 4U);
    EXPECT_THAT(message.locksHeld, IsEmpty());
    EXPECT_EQ(vqfake::lockCount(kConnectStatusSegment), locksTaken) << "senders take no lock";
    SegmentView view(kConnectStatusSegment);
    EXPECT_THAT(Bytes(view.bytes() + 4, view.bytes() + 308), Each(0)) << "senders leave the segment alone";
    EXPECT_THAT(vqfake::log(), IsEmpty());
    return payloadAs<ConnectStatusNotify>(message);
  }

  static void expectEqual(const ConnectStatusNotify& actual, const ConnectStatusNotify& expected) {
    const auto* const a = reinterpret_cast<const std::uint8_t*>(&actual);
    const auto* const e = reinterpret_cast<const std::uint8_t*>(&expected);
    EXPECT_EQ(Bytes(a, a + 304), Bytes(e, e + 304));
  }

  std::string sentPlaybackName(const std::string& name) {
    iosapp_def_::PlaybackAppInfo info;
    info.deviceId = 0x01020304;
    info.appName = name;
    sut->setPlaybackAppInfo(info);
    const ConnectStatusNotify message = sent();
    EXPECT_EQ(message.notifyType, 5U);
    EXPECT_EQ(message.deviceId, 0x01020304U);
    const std::string field(message.playbackAppName, 256);
    std::string text = field.substr(0, field.find('\0'));
    EXPECT_THAT(field.substr(text.size()), Each('\0'));
    ConnectStatusNotify rest = message;
    std::memset(rest.playbackAppName, 0, 256);
    ConnectStatusNotify expected = statusMessage(5, 0x01020304);
    expectEqual(rest, expected);
    return text;
  }

  std::unique_ptr<iOSAppCommonLocalMem_ConnectStatus> sut;
  std::unique_ptr<PostedSince> posted;
  unsigned int locksTaken = 0;
};

TEST_F(StatusSender, ALaunchRequestFillsDeviceAppAndMethod) {
  sut->requestAppLAunch(11, 22, static_cast<iosapp_def_::AppLaunchMethod>(0xFEDCBA98));
  ConnectStatusNotify expected = statusMessage(0, 11);
  expected.appId = 22;
  expected.launchMethod = 0xFEDCBA98;
  expectEqual(sent(), expected);
}

TEST_F(StatusSender, AConnectionMessageFillsTheFourWords) {
  iosapp_def_::ConnectInfo info;
  info.deviceId = 11;
  info.connectStatus = 22;
  info.connectType = 33;
  info.iapType = 44;
  sut->setDeviceConnectionStatus(info);
  expectEqual(sent(), connectMessage(11, 22, 33, 44));
}

TEST_F(StatusSender, ASessionMessageFillsDeviceAppAndStatus) {
  iosapp_def_::SessionInfo info;
  info.deviceId = 11;
  info.appId = 22;
  info.status = 33;
  sut->setAppSessionInfo(info);
  expectEqual(sent(), sessionMessage(11, 22, 33));
}

TEST_F(StatusSender, AHandsFreeMessageFillsBtConnectedAndAddressAndLeavesStatusZero) {
  iosapp_def_::BtHfInfo info;
  info.deviceId = 11;
  info.btConnected = 22;
  const Bytes address = {1, 2, 3, 4, 5, 6};
  std::memcpy(info.btAddress, address.data(), 6);
  sut->setBtHfInfo(info);
  ConnectStatusNotify expected = statusMessage(4, 11);
  expected.btConnected = 22;
  std::memcpy(expected.btAddress, address.data(), 6);
  expectEqual(sent(), expected);
}

TEST_F(StatusSender, AnEmptyPlaybackNameSendsAFieldOfZeros) {
  EXPECT_EQ(sentPlaybackName(""), "");
}

TEST_F(StatusSender, AShortPlaybackNameArrivesWholeAndPadded) {
  EXPECT_EQ(sentPlaybackName("Music"), "Music");
}

TEST_F(StatusSender, APlaybackNameOf255CharactersArrivesWhole) {
  EXPECT_EQ(sentPlaybackName(std::string(255, 'p')), std::string(255, 'p'));
}

TEST_F(StatusSender, APlaybackNameOf256CharactersIsCutTo255) {
  EXPECT_EQ(sentPlaybackName(std::string(256, 'p')), std::string(255, 'p'));
}

TEST_F(StatusSender, APlaybackNameOf257CharactersIsCutTo255) {
  EXPECT_EQ(sentPlaybackName(std::string(257, 'p')), std::string(255, 'p'));
}

TEST_F(StatusSender, AnUnusableNotifierIsNoTroubleForTheCaller) {
  vqfake::setNotifierUsable(false);
  sut->setAppSessionInfo({});
  EXPECT_EQ(vqfake::pendingCount(), 0U);
}

}  // namespace
