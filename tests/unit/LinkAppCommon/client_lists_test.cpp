// iOSAppCommonClient's three lists: replace-then-append, removal, look-up.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "channel_fixture.h"

namespace {

using testing::Each;
using testing::IsEmpty;

class ClientLists : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    sut = std::make_unique<iOSAppCommonClient>("", "Radio", "radio://");
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  void connect(std::uint32_t deviceId, std::uint32_t connectStatus, std::uint32_t connectType = 0,
               std::uint32_t iapType = 0) {
    iosapp_def_::ConnectInfo info;
    info.deviceId = deviceId;
    info.connectStatus = connectStatus;
    info.connectType = connectType;
    info.iapType = iapType;
    sut->addConnectInfoToList(info);
  }

  void openSession(std::uint32_t deviceId, std::uint32_t appId, std::uint32_t status = 1) {
    iosapp_def_::SessionInfo info;
    info.deviceId = deviceId;
    info.appId = appId;
    info.status = status;
    sut->addSessionInfoToList(info);
  }

  void addHandsFree(std::uint32_t deviceId, std::uint32_t btConnected, std::uint8_t addressByte = 0) {
    iosapp_def_::BtHfInfo info;
    info.deviceId = deviceId;
    info.btConnected = btConnected;
    std::memset(info.btAddress, addressByte, sizeof(info.btAddress));
    sut->addBtHfInfoToList(info);
  }

  void expectNoConnectInfo(std::uint32_t deviceId) {
    const iosapp_def_::ConnectInfo info = sut->getConnectInfoToList(deviceId);
    EXPECT_EQ(info.deviceId, 0U);
    EXPECT_EQ(info.connectStatus, 0U);
    EXPECT_EQ(info.connectType, 0U);
    EXPECT_EQ(info.iapType, 0U);
  }

  void expectNoHandsFree(std::uint32_t deviceId) {
    const iosapp_def_::BtHfInfo info = sut->getBtHfInfoToList(deviceId);
    EXPECT_EQ(info.deviceId, 0U);
    EXPECT_EQ(info.btConnected, 0U);
    EXPECT_THAT(info.btAddress, Each(0));
  }

  std::unique_ptr<iOSAppCommonClient> sut;
};

TEST_F(ClientLists, AnAbsentDeviceIsAllZero) {
  expectNoConnectInfo(1);
  expectNoHandsFree(1);
  EXPECT_EQ(sut->isDeviceConnected(1), 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 1), 0U);
}

TEST_F(ClientLists, AConnectionIsFoundByItsDevice) {
  connect(1, 1, 2, 3);
  connect(9, 8, 7, 6);
  const iosapp_def_::ConnectInfo info = sut->getConnectInfoToList(9);
  EXPECT_EQ(info.deviceId, 9U);
  EXPECT_EQ(info.connectStatus, 8U);
  EXPECT_EQ(info.connectType, 7U);
  EXPECT_EQ(info.iapType, 6U);
  EXPECT_EQ(sut->getConnectInfoToList(1).connectType, 2U);
}

TEST_F(ClientLists, ANewConnectionReplacesTheDevicesFormerOne) {
  connect(1, 1, 2, 3);
  connect(1, 1, 5, 6);
  EXPECT_EQ(sut->getConnectInfoToList(1).connectType, 5U);
  sut->removeConnectInfoFromList(1);
  expectNoConnectInfo(1);
}

TEST_F(ClientLists, ARemovedConnectionLeavesOtherDevicesAlone) {
  connect(1, 1);
  connect(2, 1);
  sut->removeConnectInfoFromList(1);
  sut->removeConnectInfoFromList(3);
  expectNoConnectInfo(1);
  EXPECT_EQ(sut->isDeviceConnected(2), 1U);
}

TEST_F(ClientLists, OnlyConnectStatus1IsConnected) {
  for (const std::uint32_t connectStatus : {0U, 2U, 0xFFFFFFFFU}) {
    connect(1, connectStatus);
    EXPECT_EQ(sut->isDeviceConnected(1), 0U) << connectStatus;
  }
  connect(1, 1);
  EXPECT_EQ(sut->isDeviceConnected(1), 1U);
  EXPECT_EQ(sut->isDeviceConnected(0x101), 0U);
}

TEST_F(ClientLists, ASessionIsKnownByDeviceAndApp) {
  openSession(1, 5);
  EXPECT_EQ(sut->isSessionOpened(1, 5), 1U);
  EXPECT_EQ(sut->isSessionOpened(1, 6), 0U);
  EXPECT_EQ(sut->isSessionOpened(2, 5), 0U);
}

TEST_F(ClientLists, ANewSessionReplacesTheOneOfSameDeviceAndAppOnly) {
  openSession(1, 5);
  openSession(1, 6);
  openSession(2, 5);
  openSession(1, 5, 0);
  EXPECT_EQ(sut->isSessionOpened(1, 5), 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 6), 1U);
  EXPECT_EQ(sut->isSessionOpened(2, 5), 1U);
}

TEST_F(ClientLists, OnlySessionStatus1IsOpen) {
  for (const std::uint32_t status : {0U, 2U, 0xFFFFFFFFU}) {
    openSession(1, 5, status);
    EXPECT_EQ(sut->isSessionOpened(1, 5), 0U) << status;
  }
}

TEST_F(ClientLists, RemovingASessionNeedsDeviceAndApp) {
  openSession(1, 5);
  openSession(1, 6);
  openSession(2, 5);
  sut->removeSessionInfoFromList(1, 5);
  EXPECT_EQ(sut->isSessionOpened(1, 5), 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 6), 1U);
  EXPECT_EQ(sut->isSessionOpened(2, 5), 1U);
}

TEST_F(ClientLists, RemovingAppId0RemovesEverySessionOfTheDevice) {
  openSession(1, 5);
  openSession(1, 6);
  openSession(2, 5);
  sut->removeSessionInfoFromList(1, 0);
  EXPECT_EQ(sut->isSessionOpened(1, 5), 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 6), 0U);
  EXPECT_EQ(sut->isSessionOpened(2, 5), 1U);
}

TEST_F(ClientLists, AHandsFreeStateIsFoundByItsDevice) {
  addHandsFree(1, 2, 3);
  addHandsFree(9, 8, 7);
  const iosapp_def_::BtHfInfo info = sut->getBtHfInfoToList(9);
  EXPECT_EQ(info.deviceId, 9U);
  EXPECT_EQ(info.btConnected, 8U);
  EXPECT_THAT(info.btAddress, Each(7));
}

TEST_F(ClientLists, ANewHandsFreeStateReplacesTheDevicesFormerOne) {
  addHandsFree(1, 1, 3);
  addHandsFree(1, 0, 4);
  EXPECT_EQ(sut->getBtHfInfoToList(1).btConnected, 0U);
  EXPECT_THAT(sut->getBtHfInfoToList(1).btAddress, Each(4));
  sut->removeBtHfInfoFromList(1);
  expectNoHandsFree(1);
}

TEST_F(ClientLists, ARemovedHandsFreeStateLeavesOtherDevicesAlone) {
  addHandsFree(1, 1);
  addHandsFree(2, 1);
  sut->removeBtHfInfoFromList(1);
  expectNoHandsFree(1);
  EXPECT_EQ(sut->getBtHfInfoToList(2).btConnected, 1U);
}

TEST_F(ClientLists, HaveNoSizeLimit) {
  for (std::uint32_t deviceId = 0; deviceId < 1000; ++deviceId) {
    connect(deviceId, 1);
    openSession(deviceId, 5);
    addHandsFree(deviceId, 1);
  }
  for (std::uint32_t deviceId = 0; deviceId < 1000; ++deviceId) {
    ASSERT_EQ(sut->isDeviceConnected(deviceId), 1U);
    ASSERT_EQ(sut->isSessionOpened(deviceId, 5), 1U);
    ASSERT_EQ(sut->getBtHfInfoToList(deviceId).btConnected, 1U);
  }
}

TEST_F(ClientLists, AreIndependentOfEachOther) {
  openSession(1, 5);
  addHandsFree(1, 1);
  connect(1, 1);
  sut->removeConnectInfoFromList(1);
  EXPECT_EQ(sut->isSessionOpened(1, 5), 1U);
  EXPECT_EQ(sut->getBtHfInfoToList(1).btConnected, 1U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

}  // namespace
