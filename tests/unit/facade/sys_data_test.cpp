// The process-wide access to "LinkAppDevice" in "BtSetting.ini".
#include "LinkAppCommon/private/SysDataFactory.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "VQFramework/Singleton/VQSingleton.h"
#include "platform/fake/FakeFramework.h"

namespace {

class SysDataTest : public testing::Test {
 public:
  SysDataTest() { vqfake::reset(); }
  ~SysDataTest() override { vqfake::reset(); }

 protected:
  static unsigned int value() { return VQSingleton<SysDataBtSetting>::getInstance()->getLinkAppDevice(); }
  static std::string file() { return vqfake::settingsText("BtSetting.ini"); }
};

TEST_F(SysDataTest, ReadsTheSavedDevice) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=12\n");
  EXPECT_EQ(value(), 12U);
  EXPECT_EQ(vqfake::settingsFlushes("BtSetting.ini"), 0U);
}

TEST_F(SysDataTest, GivesTheNumberAsItStandsHoweverLargeItIs) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=4294967295\n");
  EXPECT_EQ(value(), 4294967295U);
}

TEST_F(SysDataTest, RepairsAMissingValueTo255WithOneFlush) {
  EXPECT_EQ(value(), 255U);
  EXPECT_EQ(file(), "LinkAppDevice=255\n");
  EXPECT_EQ(vqfake::settingsFlushes("BtSetting.ini"), 1U);
  EXPECT_EQ(value(), 255U);
  EXPECT_EQ(vqfake::settingsFlushes("BtSetting.ini"), 1U);
}

TEST_F(SysDataTest, RepairsAValueThatIsNoNumber) {
  for (const std::string text :
       {"LinkAppDevice=\n", "LinkAppDevice=-1\n", "LinkAppDevice=4294967296\n", "LinkAppDevice=7 of them\n"}) {
    vqfake::setSettingsText("BtSetting.ini", text);
    EXPECT_EQ(value(), 255U) << text;
    EXPECT_EQ(file(), "LinkAppDevice=255\n") << text;
  }
}

TEST_F(SysDataTest, SeesWhatAnotherProgramSavedSinceTheLastLook) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=1\n");
  EXPECT_EQ(value(), 1U);
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=2\n");
  EXPECT_EQ(value(), 2U);
}

TEST_F(SysDataTest, OneHandleServesTheWholeProcess) {
  const auto first = VQSingleton<SysDataFactory>::getInstance()->getBtSettingFile();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(VQSingleton<SysDataFactory>::getInstance()->getBtSettingFile(), first);
}

TEST_F(SysDataTest, TheHandleOutlivesTheFactoryThatHoldsIt) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=3\n");
  const auto handle = VQSingleton<SysDataFactory>::getInstance()->getBtSettingFile();
  VQSingleton<SysDataFactory>::destroy();
  unsigned int found = 0;
  ASSERT_TRUE(handle->FOpen());
  EXPECT_TRUE(handle->Get("LinkAppDevice", &found));
  handle->FClose();
  EXPECT_EQ(found, 3U);
}

TEST_F(SysDataTest, ThreadsMayLookAtTheSameTime) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=9\n");
  std::vector<std::thread> readers;
  readers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([] {
      for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(value(), 9U);
      }
    });
  }
  for (std::thread& reader : readers) {
    reader.join();
  }
}

}  // namespace
