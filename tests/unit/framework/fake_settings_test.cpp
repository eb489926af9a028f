#include <gmock/gmock.h>

#include <memory>

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "platform/fake/FakeFramework.h"

namespace {

class FakeSettingsTest : public testing::Test {
 public:
  FakeSettingsTest() { vqfake::reset(); }
  ~FakeSettingsTest() override { vqfake::reset(); }

 protected:
  std::unique_ptr<SaveFileAccessMetaText> sut{SaveFileAccessFactory::getInstance()->CreateMetaText("a.ini", "a+")};
  unsigned int value = 7;
};

TEST_F(FakeSettingsTest, ReadsWhatTheTestWrote) {
  vqfake::setSettingsText("a.ini", "key=3\n");
  EXPECT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->Get("key", &value));
  EXPECT_EQ(value, 3U);
}

TEST_F(FakeSettingsTest, WhatIsFlushedStandsInTheText) {
  sut->FOpen();
  sut->Set("key", 4);
  EXPECT_EQ(vqfake::settingsText("a.ini"), "");
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(vqfake::settingsText("a.ini"), "key=4\n");
  EXPECT_EQ(vqfake::settingsFlushes("a.ini"), 1U);
}

TEST_F(FakeSettingsTest, AnUnreadableFileIsNotOpened) {
  vqfake::setSettingsReadable(false);
  EXPECT_FALSE(sut->FOpen());
  EXPECT_FALSE(sut->Get("key", &value));
  EXPECT_EQ(vqfake::log().size(), 1U);
}

TEST_F(FakeSettingsTest, AnUnwritableFileRefusesTheFlushAndStaysAsItIs) {
  vqfake::setSettingsText("a.ini", "key=3\n");
  vqfake::setSettingsWritable(false);
  sut->FOpen();
  sut->Set("key", 4);
  EXPECT_FALSE(sut->Flush());
  EXPECT_EQ(vqfake::settingsText("a.ini"), "key=3\n");
}

TEST_F(FakeSettingsTest, ResetForgetsFilesAndFaults) {
  vqfake::setSettingsText("a.ini", "key=3\n");
  vqfake::setSettingsReadable(false);
  vqfake::setSettingsWritable(false);
  vqfake::reset();
  EXPECT_TRUE(sut->FOpen());
  EXPECT_FALSE(sut->Get("key", &value));
  sut->Set("key", 1);
  EXPECT_TRUE(sut->Flush());
}

}  // namespace
