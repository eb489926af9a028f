#include <gmock/gmock.h>

#include <memory>

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "tests/conformance/Framework.h"
#include "tests/conformance/log_lines.h"

namespace {

std::unique_ptr<SaveFileAccessMetaText> makeAccess(const char* name = "Conformance.ini", const char* mode = "a+") {
  return std::unique_ptr<SaveFileAccessMetaText>(
      VQSingleton<SaveFileAccessFactory>::getInstance()->CreateMetaText(name, mode));
}

class SettingsTest : public testing::Test {
 protected:
  SettingsTest() { conformance::forgetSettings(); }

  // What another access, made now, finds in the file; 0 where there is no such key.
  static unsigned int stored(const char* key) {
    const auto other = makeAccess();
    unsigned int value = 0;
    EXPECT_TRUE(other->FOpen());
    other->Get(key, &value);
    EXPECT_TRUE(other->FClose());
    return value;
  }
  static void store(const char* key, unsigned int value) {
    const auto other = makeAccess();
    EXPECT_TRUE(other->FOpen() && other->Set(key, value) && other->Flush() && other->FClose());
  }
};

TEST_F(SettingsTest, AreOneFactoryPerProcess) {
  EXPECT_NE(VQSingleton<SaveFileAccessFactory>::getInstance(), nullptr);
  EXPECT_EQ(VQSingleton<SaveFileAccessFactory>::getInstance(), VQSingleton<SaveFileAccessFactory>::peekInstance());
}

TEST_F(SettingsTest, OfAMissingFileAreEmptyAndGetLeavesTheValueAsItWas) {
  const auto sut = makeAccess();
  unsigned int value = 7;
  EXPECT_TRUE(sut->FOpen());
  EXPECT_FALSE(sut->Get("LinkAppDevice", &value));
  EXPECT_EQ(value, 7U);
  EXPECT_TRUE(sut->FClose());
}

TEST_F(SettingsTest, RefuseWhatIsNotOpen) {
  const conformance::LogLines log;  // says so or not
  const auto sut = makeAccess();
  unsigned int value = 7;
  EXPECT_FALSE(sut->Get("key", &value));
  EXPECT_FALSE(sut->Set("key", 1));
  EXPECT_FALSE(sut->Flush());
  EXPECT_FALSE(sut->FClose());
  EXPECT_EQ(value, 7U);
}

TEST_F(SettingsTest, FindWhatWasSetAtOnceAndInTheFileAfterTheFlush) {
  const auto sut = makeAccess();
  unsigned int value = 0;
  ASSERT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->Set("LinkAppDevice", 255));
  EXPECT_TRUE(sut->Get("LinkAppDevice", &value));
  EXPECT_EQ(value, 255U);
  EXPECT_EQ(stored("LinkAppDevice"), 0U);
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(stored("LinkAppDevice"), 255U);
  EXPECT_TRUE(sut->FClose());
}

TEST_F(SettingsTest, KeepTheGreatestNumber) {
  store("key", 0xFFFFFFFFU);
  EXPECT_EQ(stored("key"), 0xFFFFFFFFU);
}

TEST_F(SettingsTest, LeaveOtherKeysOfTheFileAsTheyAre) {
  store("other", 3);
  store("LinkAppDevice", 255);
  EXPECT_EQ(stored("other"), 3U);
  EXPECT_EQ(stored("LinkAppDevice"), 255U);
}

TEST_F(SettingsTest, ForgetWhatWasSetAndNotFlushedWhenTheyAreClosed) {
  const auto sut = makeAccess();
  unsigned int value = 7;
  ASSERT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->Set("key", 1));
  EXPECT_TRUE(sut->FClose());
  EXPECT_EQ(stored("key"), 0U);
  ASSERT_TRUE(sut->FOpen());
  EXPECT_FALSE(sut->Get("key", &value));
  EXPECT_TRUE(sut->FClose());
}

TEST_F(SettingsTest, StayOpenForOneUserWhenAnotherCloses) {
  store("key", 4);
  const auto sut = makeAccess();
  unsigned int value = 0;
  ASSERT_TRUE(sut->FOpen());
  ASSERT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->FClose());
  EXPECT_TRUE(sut->Get("key", &value));
  EXPECT_EQ(value, 4U);
  EXPECT_TRUE(sut->FClose());
  EXPECT_FALSE(sut->Get("key", &value));
}

TEST_F(SettingsTest, WorkWhenTheirFactoryIsGone) {
  const auto sut = makeAccess();
  VQSingleton<SaveFileAccessFactory>::destroy();
  ASSERT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->Set("key", 5) && sut->Flush());
  EXPECT_TRUE(sut->FClose());
  EXPECT_EQ(stored("key"), 5U);
}

}  // namespace
