#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/framework/settings_faults.h"
#include "tests/unit/framework/settings_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(SettingsTest, AMissingFileCountsAsEmpty) {
  const auto sut = access();
  EXPECT_TRUE(sut->FOpen());
  EXPECT_FALSE(sut->Get("key", &value));
  EXPECT_EQ(value, 7U);
}

TEST_F(SettingsTest, OpeningMakesNoFile) {
  const auto sut = access();
  sut->FOpen();
  sut->FClose();
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(SettingsTest, ReadsAValue) {
  write("other=1\nLinkAppDevice=12\n");
  const auto sut = access();
  sut->FOpen();
  EXPECT_TRUE(sut->Get("LinkAppDevice", &value));
  EXPECT_EQ(value, 12U);
}

TEST_F(SettingsTest, ANewValueIsThereAtOnceAndInTheFileAfterTheFlush) {
  const auto sut = access();
  sut->FOpen();
  EXPECT_TRUE(sut->Set("key", 255));
  EXPECT_TRUE(sut->Get("key", &value));
  EXPECT_EQ(value, 255U);
  EXPECT_THAT(files(), IsEmpty());
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(read(), "key=255\n");
}

TEST_F(SettingsTest, AFlushLeavesNoOtherFile) {
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 1);
  sut->Flush();
  EXPECT_THAT(files(), ElementsAre("test.ini"));
}

TEST_F(SettingsTest, AFlushKeepsEveryOtherLine) {
  write("# note\n[section]\nfree text\nkey = 1\nother=2\n");
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 3);
  sut->Flush();
  EXPECT_EQ(read(), "# note\n[section]\nfree text\nkey =3\nother=2\n");
}

TEST_F(SettingsTest, AFlushKeepsWhatOthersWroteMeanwhile) {
  write("a=1\nb=1\n");
  const auto sut = access();
  sut->FOpen();
  sut->Set("a", 2);
  write("a=1\nb=5\nc=6\n");
  sut->Flush();
  EXPECT_EQ(read(), "a=2\nb=5\nc=6\n");
  EXPECT_TRUE(sut->Get("b", &value));
  EXPECT_EQ(value, 5U);
}

TEST_F(SettingsTest, AFlushWithoutChangesWritesNothing) {
  settings_faults::steps().clear();
  const auto sut = access();
  sut->FOpen();
  EXPECT_TRUE(sut->Flush());
  EXPECT_THAT(settings_faults::steps(), IsEmpty());
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(SettingsTest, ClosingDropsWhatWasNotFlushed) {
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 1);
  sut->FClose();
  sut->FOpen();
  EXPECT_FALSE(sut->Get("key", &value));
}

TEST_F(SettingsTest, OpeningReadsTheFileAnew) {
  const auto sut = access();
  sut->FOpen();
  sut->FClose();
  write("key=1\n");
  sut->FOpen();
  EXPECT_TRUE(sut->Get("key", &value));
}

TEST_F(SettingsTest, OpensNestAndTheLastCloseCounts) {
  const auto sut = access();
  EXPECT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->FClose());
  EXPECT_TRUE(sut->Set("key", 1));
  EXPECT_TRUE(sut->FClose());
  EXPECT_FALSE(sut->FClose());
}

TEST_F(SettingsTest, AClosedFileRefusesEverything) {
  write("key=1\n");
  const auto sut = access();
  EXPECT_FALSE(sut->Get("key", &value));
  EXPECT_FALSE(sut->Set("key", 2));
  EXPECT_FALSE(sut->Flush());
  EXPECT_FALSE(sut->FClose());
}

TEST_F(SettingsTest, AFileMadeForReadingRefusesToSet) {
  write("key=1\n");
  const auto sut = access("test.ini", "r");
  EXPECT_TRUE(sut->FOpen());
  EXPECT_TRUE(sut->Get("key", &value));
  EXPECT_FALSE(sut->Set("key", 2));
}

TEST_F(SettingsTest, UnusableKeysAndANullValueAreRefused) {
  const auto sut = access();
  sut->FOpen();
  EXPECT_FALSE(sut->Set(nullptr, 1));
  EXPECT_FALSE(sut->Set("", 1));
  EXPECT_FALSE(sut->Set("a=b", 1));
  EXPECT_FALSE(sut->Set("a\nb", 1));
  EXPECT_FALSE(sut->Get(nullptr, &value));
  EXPECT_FALSE(sut->Get("key", nullptr));
}

TEST_F(SettingsTest, NamesAndModesThatCannotBeAreRefused) {
  for (const char* name : {static_cast<const char*>(nullptr), "", ".", "..", "a/b", "/a"}) {
    EXPECT_EQ(access(name), nullptr) << (name == nullptr ? "null" : name);
  }
  for (const char* mode : {static_cast<const char*>(nullptr), "", "w", "rw", "a"}) {
    EXPECT_EQ(access("test.ini", mode), nullptr) << (mode == nullptr ? "null" : mode);
  }
}

TEST_F(SettingsTest, AnAccessOutlivesTheFactory) {
  const auto sut = access();
  SaveFileAccessFactory::destroy();
  sut->FOpen();
  sut->Set("key", 1);
  EXPECT_TRUE(sut->Flush());
}

TEST_F(SettingsTest, ABinaryFileIsKeptByteForByteAndExtended) {
  std::string bytes;
  for (int i = 0; i < 4096; ++i) {
    bytes += static_cast<char>(i * 7 + i / 256);
  }
  write(bytes);
  const auto sut = access();
  EXPECT_TRUE(sut->FOpen());
  EXPECT_FALSE(sut->Get("key", &value));
  sut->Set("key", 255);
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(read(), bytes + "\nkey=255\n");
}

// Wherever a file may have been cut, the value can be repaired and read again.
TEST_F(SettingsTest, ATruncatedFileIsRepairedWhereverItWasCut) {
  const std::string whole = "other=1\nLinkAppDevice=12\n";
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    write(whole.substr(0, length));
    const auto sut = access();
    EXPECT_TRUE(sut->FOpen());
    sut->Get("LinkAppDevice", &value);
    sut->Set("LinkAppDevice", 255);
    EXPECT_TRUE(sut->Flush());
    const auto again = access();
    again->FOpen();
    EXPECT_TRUE(again->Get("LinkAppDevice", &value)) << "cut at " << length;
    EXPECT_EQ(value, 255U) << "cut at " << length;
  }
}

TEST_F(SettingsTest, AFileWithoutPermissionIsNotOpenedAndNotReplaced) {
  write("key=1\n");
  chmod(path().c_str(), 0);
  const auto sut = access();
  {
    const PermissionsCount permissions;
    EXPECT_FALSE(sut->FOpen());
    EXPECT_FALSE(sut->Set("key", 2));
    EXPECT_FALSE(sut->Flush());
  }
  chmod(path().c_str(), 0644);
  EXPECT_EQ(read(), "key=1\n");
  EXPECT_THAT(log(), ElementsAre("FOpen: " + path() + " cannot be read: Permission denied\n"));
}

TEST_F(SettingsTest, AFolderInTheFilesPlaceIsRefused) {
  mkdir(path().c_str(), 0755);
  EXPECT_FALSE(access()->FOpen());
  EXPECT_THAT(log(), SizeIs(1));
}

TEST_F(SettingsTest, APipeInTheFilesPlaceIsRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo(path().c_str(), 0644), 0);
  EXPECT_FALSE(access()->FOpen());
}

TEST_F(SettingsTest, AHugeFileIsRefused) {
  write("key=1\n");
  ASSERT_EQ(truncate(path().c_str(), 1024L * 1024L * 1024L), 0);
  EXPECT_FALSE(access()->FOpen());
}

TEST_F(SettingsTest, AReadOnlyFolderRefusesTheFlushAndKeepsTheFile) {
  write("key=1\n");
  const auto sut = access();
  chmod(folder.c_str(), 0555);
  {
    const PermissionsCount permissions;
    EXPECT_TRUE(sut->FOpen());
    sut->Set("key", 2);
    EXPECT_FALSE(sut->Flush());
  }
  chmod(folder.c_str(), 0755);
  EXPECT_EQ(read(), "key=1\n");
  EXPECT_THAT(log(), ElementsAre("Flush: " + path() + " cannot be written: Permission denied\n"));
}

TEST_F(SettingsTest, WhatCouldNotBeFlushedIsKeptForTheNextTry) {
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 2);
  settings_faults::failAt("fsync file");
  EXPECT_FALSE(sut->Flush());
  settings_faults::failAt("");
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(read(), "key=2\n");
}

// The limit gives the same short writes and errors as a full disk does.
TEST_F(SettingsTest, AFullDiskRefusesTheFlushAndKeepsTheFile) {
  const std::string before = "note=" + std::string(100, 'x') + "\nkey=1\n";
  write(before);
  const auto sut = access();
  sut->FOpen();
  sut->Set("another key", 2);
  rlimit limit = {};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit full = {50, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  const bool isFlushed = sut->Flush();
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(isFlushed);
  EXPECT_EQ(read(), before);
  EXPECT_THAT(files(), ElementsAre("test.ini"));
  EXPECT_THAT(log(), SizeIs(1));
}

TEST_F(SettingsTest, TheNewFileIsOnTheDiskBeforeItTakesTheOldOnesPlace) {
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 1);
  settings_faults::steps().clear();
  EXPECT_TRUE(sut->Flush());
  EXPECT_THAT(settings_faults::steps(), ElementsAre("fsync file", "rename", "fsync folder"));
}

class SettingsFaultTest : public SettingsTest, public testing::WithParamInterface<const char*> {};

TEST_P(SettingsFaultTest, AFailureBeforeTheReplacementKeepsTheOldFile) {
  write("key=1\n");
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 2);
  settings_faults::failAt(GetParam());
  EXPECT_FALSE(sut->Flush());
  settings_faults::failAt("");
  EXPECT_EQ(read(), "key=1\n");
  EXPECT_THAT(files(), ElementsAre("test.ini"));
  EXPECT_THAT(log(), ElementsAre("Flush: " + path() + " cannot be written: Input/output error\n"));
}

INSTANTIATE_TEST_SUITE_P(Steps, SettingsFaultTest, testing::Values("fsync file", "rename"));

TEST_F(SettingsTest, AFolderThatCannotBeWrittenOutIsAFailureToo) {
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 1);
  settings_faults::failAt("fsync folder");
  EXPECT_FALSE(sut->Flush());
  settings_faults::failAt("");
  EXPECT_THAT(log(), SizeIs(1));
}

TEST_F(SettingsTest, WhatALossOfPowerLeftBehindIsNeitherReadNorInTheWay) {
  write("key=1\n");
  write("key=2\nhal", "test.ini.new");
  const auto sut = access();
  sut->FOpen();
  EXPECT_TRUE(sut->Get("key", &value));
  EXPECT_EQ(value, 1U);
  sut->Set("key", 3);
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(read(), "key=3\n");
  EXPECT_THAT(files(), ElementsAre("test.ini"));
}

TEST_F(SettingsTest, ALinkInTheAsideFilesPlaceIsNotFollowed) {
  write("precious", "victim");
  ASSERT_EQ(symlink(path("victim").c_str(), path("test.ini.new").c_str()), 0);
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 1);
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(read("victim"), "precious");
  EXPECT_EQ(read(), "key=1\n");
}

TEST_F(SettingsTest, AFlushKeepsTheFilesPermissions) {
  write("key=1\n");
  chmod(path().c_str(), 0640);
  const auto sut = access();
  sut->FOpen();
  sut->Set("key", 2);
  sut->Flush();
  struct stat status = {};
  ASSERT_EQ(stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(SettingsTest, ThreadsMayShareOneAccess) {
  constexpr unsigned int kThreads = 4;
  constexpr unsigned int kRounds = 25;
  const auto sut = access();
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&sut, i] {
      const std::string key = "key" + std::to_string(i);
      for (unsigned int round = 1; round <= kRounds; ++round) {
        EXPECT_TRUE(sut->FOpen());
        EXPECT_TRUE(sut->Set(key.c_str(), round));
        EXPECT_TRUE(sut->Flush());
        unsigned int found = 0;
        EXPECT_TRUE(sut->Get(key.c_str(), &found));
        EXPECT_EQ(found, round);
        EXPECT_TRUE(sut->FClose());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_FALSE(sut->FClose());
}

// Where the files lie.

class SettingsFolderTest : public SettingsTest {
 public:
  SettingsFolderTest() {
    unsetenv("VQ_SETTINGS_DIR");
    for (const char* name : {"XDG_STATE_HOME", "HOME"}) {
      const char* const before = getenv(name);
      if (before != nullptr) {
        before_[name] = before;
      }
      unsetenv(name);
    }
  }
  ~SettingsFolderTest() override {
    for (const char* name : {"XDG_STATE_HOME", "HOME"}) {
      unsetenv(name);
    }
    for (const auto& entry : before_) {
      setenv(entry.first.c_str(), entry.second.c_str(), 1);
    }
  }

 protected:
  void choose(const char* name, const std::string& place) const { setenv(name, (folder + place).c_str(), 1); }
  // Writes a value and tells whether it lies there, folders included.
  bool liesAt(const std::string& place) const {
    const auto sut = access();
    return sut->FOpen() && sut->Set("key", 1) && sut->Flush() && read(place + "/test.ini") == "key=1\n";
  }

 private:
  std::map<std::string, std::string> before_;
};

TEST_F(SettingsFolderTest, TheirOwnVariableComesFirst) {
  choose("VQ_SETTINGS_DIR", "/own");
  choose("XDG_STATE_HOME", "/state");
  choose("HOME", "/home");
  EXPECT_TRUE(liesAt("own"));
}

TEST_F(SettingsFolderTest, TheUsersStateFolderComesNext) {
  choose("XDG_STATE_HOME", "/state");
  choose("HOME", "/home");
  EXPECT_TRUE(liesAt("state/vqframework"));
}

TEST_F(SettingsFolderTest, WithoutAStateFolderTheUsualPlaceAtHomeIsUsed) {
  choose("HOME", "/home");
  EXPECT_TRUE(liesAt("home/.local/state/vqframework"));
}

TEST_F(SettingsFolderTest, ARelativeStateFolderIsIgnored) {
  setenv("XDG_STATE_HOME", "state", 1);
  choose("HOME", "/home");
  EXPECT_TRUE(liesAt("home/.local/state/vqframework"));
}

TEST_F(SettingsFolderTest, EmptyVariablesCountAsUnset) {
  setenv("VQ_SETTINGS_DIR", "", 1);
  setenv("XDG_STATE_HOME", "", 1);
  choose("HOME", "/home");
  EXPECT_TRUE(liesAt("home/.local/state/vqframework"));
}

TEST_F(SettingsFolderTest, TheEnvironmentCountsWhenTheAccessIsMade) {
  choose("HOME", "/first");
  const auto sut = access();
  choose("HOME", "/second");
  sut->FOpen();
  sut->Set("key", 1);
  EXPECT_TRUE(sut->Flush());
  EXPECT_EQ(read("first/.local/state/vqframework/test.ini"), "key=1\n");
}

// The folder itself is left alone here: where it could be used, this would write to it.
TEST_F(SettingsFolderTest, WithoutAHomeTheSystemsFolderIsRootsAndNobodyElses) {
  const std::string name = "no-such-file-of-" + std::to_string(getpid());
  const auto sut = access(name.c_str());
  const bool isOpened = sut->FOpen();
  EXPECT_EQ(isOpened, geteuid() == 0);
}

TEST_F(SettingsFolderTest, ANewFoldersNameIsOnTheDiskToo) {
  choose("VQ_SETTINGS_DIR", "/a/b");
  settings_faults::steps().clear();
  EXPECT_TRUE(liesAt("a/b"));
  EXPECT_THAT(settings_faults::steps(),
              ElementsAre("fsync folder", "fsync folder", "fsync file", "rename", "fsync folder"));
}

TEST_F(SettingsFolderTest, AFileInTheFoldersPlaceIsRefused) {
  choose("VQ_SETTINGS_DIR", "/a");
  write("", "a");
  const auto sut = access();
  EXPECT_FALSE(sut->FOpen());
  EXPECT_THAT(log(), SizeIs(1));
}

}  // namespace
