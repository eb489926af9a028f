// Settings files that several processes use, some of which are killed.
#include <memory>
#include <string>

#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/unit/framework/settings_fixture.h"

namespace {

using test_support::Child;
using test_support::say;

// Writes one number under two keys, again and again, and tells of every tenth.
TEST_ROLE(settings_writer) {
  const std::unique_ptr<SaveFileAccessMetaText> access(
      SaveFileAccessFactory::getInstance()->CreateMetaText("test.ini", "a+"));
  for (unsigned int i = 1;; ++i) {
    if (!access->FOpen() || !access->Set("a", i) || !access->Set("b", i) || !access->Flush() || !access->FClose()) {
      return 1;
    }
    if (i % 10 == 1) {
      say(std::to_string(i));
    }
  }
}

class SettingsCrashTest : public SettingsTest {
 protected:
  // Whether the file holds one number twice.
  bool isWhole() const {
    const auto reader = access("test.ini", "r");
    unsigned int a = 0;
    unsigned int b = 1;
    return reader->FOpen() && reader->Get("a", &a) && reader->Get("b", &b) && a == b;
  }
};

TEST_F(SettingsCrashTest, AReaderSeesTheOldFileOrTheNewOne) {
  Child writer("settings_writer");
  ASSERT_TRUE(writer.expect("1"));
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(isWhole());
  }
}

TEST_F(SettingsCrashTest, AWriterKilledAnywhereLeavesAWholeFileAndBlocksNobody) {
  for (int round = 0; round < 20; ++round) {
    Child writer("settings_writer");
    for (int i = 0; i <= round % 3; ++i) {
      ASSERT_TRUE(writer.nextLine());
    }
    writer.kill();
    ASSERT_TRUE(isWhole());
    const auto sut = access();
    sut->FOpen();
    sut->Set("c", 1);
    ASSERT_TRUE(sut->Flush());
  }
}

TEST_ROLE(settings_collector) {
  const std::unique_ptr<SaveFileAccessMetaText> access(
      SaveFileAccessFactory::getInstance()->CreateMetaText("test.ini", "a+"));
  for (unsigned int i = 0; i < 40; ++i) {
    const std::string key = args[0] + std::to_string(i);
    if (!access->FOpen() || !access->Set(key.c_str(), i) || !access->Flush() || !access->FClose()) {
      return 1;
    }
  }
  return 0;
}

TEST_F(SettingsCrashTest, ProcessesThatWriteAtOnceLoseNothingOfEachOther) {
  Child first("settings_collector", {"first"});
  Child second("settings_collector", {"second"});
  EXPECT_EQ(first.finish(), 0);
  EXPECT_EQ(second.finish(), 0);
  const auto sut = access();
  sut->FOpen();
  for (const std::string name : {"first", "second"}) {
    for (unsigned int i = 0; i < 40; ++i) {
      const std::string key = name + std::to_string(i);
      EXPECT_TRUE(sut->Get(key.c_str(), &value)) << key;
      EXPECT_EQ(value, i);
    }
  }
}

}  // namespace
