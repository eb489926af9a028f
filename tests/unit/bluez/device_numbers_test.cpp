#include "platform/bluez/device_numbers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "VQFramework/Debug/VQDbgOutput.h"

namespace {

using vqbluez::DeviceKey;
using vqbluez::DeviceNumbers;
using vqbluez::NumberTable;

// In the test's own /dev/shm.
class DeviceNumbersTest : public testing::Test {
 public:
  DeviceNumbersTest() {
    char folder[] = "/dev/shm/numbers.XXXXXX";
    folder_ = mkdtemp(folder);
    VQDbgOutput::SetSink(&countLine, this);
  }
  ~DeviceNumbersTest() override {
    VQDbgOutput::SetSink(nullptr, nullptr);
    makeUnreadable();
    rmdir(file().c_str());
    rmdir(folder_.c_str());
  }

  static void countLine(const VQDbgRecord& /*record*/, void* context) {
    ++static_cast<DeviceNumbersTest*>(context)->lines_;
  }

  static DeviceKey device(int number) {
    return {"00:AA:01:00:00:00", "11:22:33:44:55:" + std::to_string(100 + number)};
  }
  std::string file() const { return folder_ + "/bt-devices"; }
  // A folder takes its place: nobody can read or replace that.
  void makeUnreadable() const {
    unlink(file().c_str());
    mkdir(file().c_str(), 0755);
  }
  std::string text() const {
    std::ostringstream text;
    text << std::ifstream(file()).rdbuf();
    return text.str();
  }

  std::string folder_;
  int lines_ = 0;
};

TEST_F(DeviceNumbersTest, StayWithADeviceInTheNextProcess) {
  {
    DeviceNumbers first(folder_);
    ASSERT_EQ(first.numberOf(device(1)), 0);
    ASSERT_EQ(first.numberOf(device(2)), 1);
  }
  DeviceNumbers sut(folder_);
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  EXPECT_EQ(sut.numberOf(device(3)), 2);
  EXPECT_EQ(sut.numberOf(device(1)), 0);
}

TEST_F(DeviceNumbersTest, StayWithADeviceThatIsPairedAnew) {
  DeviceNumbers sut(folder_);
  ASSERT_EQ(sut.numberOf(device(1)), 0);
  sut.noteUnpaired(device(1));
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  EXPECT_EQ(sut.numberOf(device(1)), 0);
}

TEST_F(DeviceNumbersTest, AreTheSameInAllProcesses) {
  DeviceNumbers one(folder_);
  DeviceNumbers other(folder_);
  EXPECT_EQ(one.numberOf(device(1)), 0);
  EXPECT_EQ(other.numberOf(device(2)), 1);
  EXPECT_EQ(other.numberOf(device(1)), 0);
  EXPECT_EQ(one.numberOf(device(2)), 1);
}

TEST_F(DeviceNumbersTest, AreGivenOnceThoughManyAskAtTheSameTime) {
  constexpr int kAskers = 6;
  constexpr int kDevices = 20;
  std::vector<std::vector<std::uint8_t>> given(kAskers);
  std::vector<std::thread> askers;
  askers.reserve(kAskers);
  for (int i = 0; i < kAskers; ++i) {
    askers.emplace_back([this, i, &given] {
      DeviceNumbers sut(folder_);
      for (int k = 0; k < kDevices; ++k) {
        given[static_cast<std::size_t>(i)].push_back(*sut.numberOf(device((k + i) % kDevices)));
      }
    });
  }
  for (std::thread& asker : askers) {
    asker.join();
  }
  const NumberTable table = NumberTable::parse(text());
  std::set<std::uint8_t> numbers;
  for (int k = 0; k < kDevices; ++k) {
    const auto number = table.find(device(k));
    ASSERT_TRUE(number.has_value());
    numbers.insert(*number);
    for (int i = 0; i < kAskers; ++i) {
      EXPECT_EQ(given[static_cast<std::size_t>(i)][static_cast<std::size_t>((k - i + kDevices) % kDevices)], *number);
    }
  }
  EXPECT_EQ(numbers.size(), static_cast<std::size_t>(kDevices));
  EXPECT_EQ(*numbers.rbegin(), kDevices - 1);
}

TEST_F(DeviceNumbersTest, OfDevicesThatThisProcessHasPairedAreTakenOverByNobody) {
  DeviceNumbers sut(folder_);
  ASSERT_EQ(sut.numberOf(device(0)), 0);
  std::ofstream(file(), std::ios::app) << [] {
    std::ostringstream lines;
    for (int i = 1; i < static_cast<int>(NumberTable::kNumbers); ++i) {
      lines << device(i).first << ' ' << device(i).second << ' ' << i << " 2000000000\n";
    }
    return lines.str();
  }();
  EXPECT_EQ(sut.numberOf(device(900)), 1);
  EXPECT_EQ(NumberTable::parse(text()).find(device(0)), 0);
}

TEST_F(DeviceNumbersTest, AreNotGivenASecondTimeWhereSomebodyDeletesTheFile) {
  DeviceNumbers sut(folder_);
  ASSERT_EQ(sut.numberOf(device(1)), 0);
  unlink(file().c_str());
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  EXPECT_EQ(NumberTable::parse(text()).find(device(1)), 0) << "other processes need it, too";
  EXPECT_EQ(lines_, 0);
}

TEST_F(DeviceNumbersTest, AreNotGivenASecondTimeWhereTheFileCannotBeReadAnyMore) {
  DeviceNumbers sut(folder_);
  ASSERT_EQ(sut.numberOf(device(1)), 0);
  makeUnreadable();
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  EXPECT_EQ(lines_, 1);
}

TEST_F(DeviceNumbersTest, AreNotGivenASecondTimeWhereTheFileCannotBeReadWhenADeviceIsUnpaired) {
  DeviceNumbers sut(folder_);
  ASSERT_EQ(sut.numberOf(device(1)), 0);
  ASSERT_EQ(sut.numberOf(device(2)), 1);
  makeUnreadable();
  sut.noteUnpaired(device(1));
  EXPECT_EQ(sut.numberOf(device(3)), 2);
  EXPECT_EQ(sut.numberOf(device(1)), 0) << "it comes back";
}

TEST_F(DeviceNumbersTest, ThatThisProcessHasGivenStayThoughTheFileSaysSomethingElse) {
  DeviceNumbers sut(folder_);
  ASSERT_EQ(sut.numberOf(device(1)), 0);
  std::ofstream(file()) << device(2).first << ' ' << device(2).second << " 0 2000000000\n";
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  EXPECT_EQ(NumberTable::parse(text()).find(device(1)), 0);
}

TEST_F(DeviceNumbersTest, MakeTheirFolder) {
  const std::string deep = folder_ + "/a/b";
  DeviceNumbers sut(deep);
  EXPECT_EQ(sut.numberOf(device(1)), 0);
  EXPECT_EQ(access((deep + "/bt-devices").c_str(), R_OK), 0);
  unlink((deep + "/bt-devices").c_str());
  rmdir(deep.c_str());
  rmdir((folder_ + "/a").c_str());
}

TEST_F(DeviceNumbersTest, HoldForThisProcessWhereThereCanBeNoFileAndSaySoOnce) {
  const std::string noFolder = folder_ + "/file";
  std::ofstream(noFolder) << "x";
  DeviceNumbers sut(noFolder);
  EXPECT_EQ(sut.numberOf(device(1)), 0);
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  sut.noteUnpaired(device(1));
  EXPECT_EQ(sut.numberOf(device(1)), 0);
  EXPECT_EQ(lines_, 1);
  unlink(noFolder.c_str());
}

// Opened for reading, it would make the caller wait for a writer.
TEST_F(DeviceNumbersTest, HoldForThisProcessWhereAPipeStandsInPlaceOfTheFile) {
  ASSERT_EQ(mkfifo(file().c_str(), 0644), 0);
  DeviceNumbers sut(folder_);
  EXPECT_EQ(sut.numberOf(device(1)), 0);
  EXPECT_EQ(sut.numberOf(device(2)), 1);
  EXPECT_EQ(lines_, 1);
}

TEST_F(DeviceNumbersTest, AreWrittenThoughAPipeStandsWhereTheNewFileIsMade) {
  ASSERT_EQ(mkfifo((folder_ + "/bt-devices.new").c_str(), 0644), 0);
  DeviceNumbers sut(folder_);
  EXPECT_EQ(sut.numberOf(device(1)), 0);
  EXPECT_EQ(NumberTable::parse(text()).find(device(1)), 0);
  EXPECT_EQ(lines_, 0);
}

TEST_F(DeviceNumbersTest, KeepWhatTheFileHasWhereItCannotBeReplaced) {
  std::ofstream(file()) << device(7).first << ' ' << device(7).second << " 0 1\n";
  const std::string aside = folder_ + "/bt-devices.new";
  ASSERT_EQ(mkdir(aside.c_str(), 0755), 0);
  DeviceNumbers sut(folder_);
  EXPECT_EQ(sut.numberOf(device(1)), 1);
  EXPECT_EQ(sut.numberOf(device(7)), 0);
  EXPECT_EQ(sut.numberOf(device(2)), 2);
  EXPECT_EQ(lines_, 1);
  rmdir(aside.c_str());
}

}  // namespace
