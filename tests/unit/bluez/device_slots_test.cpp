#include "platform/bluez/device_slots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "platform/bluez/modalias.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vqbluez::DeviceSlots;
using vqbluez::isApple;
using Entry = DeviceSlots::Entry;
using List = std::vector<Entry>;

constexpr std::uint16_t kApple = 0x004C;

Entry entry(unsigned int number, std::uint16_t vendor = 0x000F, bool isAvailable = true) {
  Entry entry;
  entry.deviceId = static_cast<std::uint8_t>(number);
  entry.deviceName = "phone " + std::to_string(number);
  entry.vendorId = vendor;
  entry.available = isAvailable ? 1 : 0;
  return entry;
}

// "3 4- 5A": device numbers in their places, - = not available, A = Apple.
std::string places(const DeviceSlots& slots) {
  std::string text;
  for (const Entry& e : slots.list()) {
    text += (text.empty() ? "" : " ") + std::to_string(e.deviceId) + (e.available == 0 ? "-" : "") +
            (isApple(e.vendorId) ? "A" : "");
  }
  return text;
}

TEST(DeviceSlots, ListDevicesInTheOrderOfTheirComing) {
  DeviceSlots sut;
  EXPECT_TRUE(sut.put(entry(5)));
  EXPECT_TRUE(sut.put(entry(3)));
  EXPECT_EQ(places(sut), "5 3");
}

TEST(DeviceSlots, DoNotChangeForTheSameEntry) {
  DeviceSlots sut;
  sut.put(entry(5));
  sut.put(entry(6, kApple));
  EXPECT_FALSE(sut.put(entry(5)));
  EXPECT_FALSE(sut.put(entry(6, kApple)));
  EXPECT_FALSE(sut.remove(7));
}

TEST(DeviceSlots, KeepThePlaceOfADeviceThatHasGone) {
  DeviceSlots sut;
  sut.put(entry(5));
  sut.put(entry(3));
  EXPECT_TRUE(sut.remove(5));
  EXPECT_EQ(places(sut), "5- 3");
  EXPECT_FALSE(sut.has(5));
  EXPECT_TRUE(sut.has(3));
  EXPECT_FALSE(sut.remove(5));
}

TEST(DeviceSlots, GiveADeviceItsOldPlaceAgain) {
  DeviceSlots sut;
  sut.put(entry(5));
  sut.put(entry(3));
  sut.put(entry(4));
  sut.remove(5);
  sut.remove(3);
  sut.put(entry(3));
  EXPECT_EQ(places(sut), "5- 3 4");
}

TEST(DeviceSlots, GiveAFreePlaceToANewDevice) {
  DeviceSlots sut;
  sut.put(entry(5));
  sut.put(entry(3));
  sut.remove(5);
  sut.put(entry(9));
  EXPECT_EQ(places(sut), "9 3");
}

TEST(DeviceSlots, KeepThePlaceOfADeviceThatIsOnlyNotAvailable) {
  DeviceSlots sut;
  sut.put(entry(5, 0, false));
  sut.put(entry(9));
  EXPECT_EQ(places(sut), "5- 9");
  EXPECT_TRUE(sut.has(5));
}

TEST(DeviceSlots, HaveAppleLast) {
  DeviceSlots sut;
  sut.put(entry(1, kApple));
  sut.put(entry(2));
  sut.put(entry(3, 0x05AC));
  sut.put(entry(4));
  EXPECT_EQ(places(sut), "2 4 1A 3A");
}

// A shorter list would read as if the iPhone had gone, as an SPP device.
TEST(DeviceSlots, KeepApplesPlacesForApple) {
  DeviceSlots sut;
  sut.put(entry(1, kApple));
  sut.put(entry(2));
  EXPECT_TRUE(sut.remove(1));
  EXPECT_EQ(places(sut), "2 1-A");
  sut.put(entry(3));
  sut.put(entry(4, kApple));
  EXPECT_EQ(places(sut), "2 3 4A");
}

// In the place that was an iPhone's it would read as if that had gone.
TEST(DeviceSlots, LetANewDeviceBeforeAppleWaitUntilItIsAvailable) {
  DeviceSlots sut;
  sut.put(entry(1, kApple));
  EXPECT_FALSE(sut.put(entry(2, 7, false)));
  EXPECT_FALSE(sut.has(2));
  EXPECT_TRUE(sut.put(entry(2, 7)));
  EXPECT_TRUE(sut.put(entry(2, 7, false)));
  EXPECT_EQ(places(sut), "2- 1A");
}

TEST(DeviceSlots, MoveADeviceThatTurnsOutToBeApplesAndKeepItsPlace) {
  DeviceSlots sut;
  sut.put(entry(1, 0));
  sut.put(entry(2));
  EXPECT_TRUE(sut.put(entry(1, kApple)));
  EXPECT_EQ(places(sut), "1- 2 1A");
  EXPECT_TRUE(sut.put(entry(1, 0)));
  EXPECT_EQ(places(sut), "1 2 1-A");
}

TEST(DeviceSlots, HoldAllDevicesThatThereCanBe) {
  DeviceSlots sut;
  for (unsigned int i = 0; i < 255; ++i) {
    EXPECT_TRUE(sut.put(entry(i)));
  }
  EXPECT_EQ(sut.list().size(), 255U);
}

TEST(DeviceSlots, NeverMakeAListThatCannotBeCountedWithEightBits) {
  DeviceSlots sut;
  for (unsigned int i = 0; i < 200; ++i) {
    sut.put(entry(i));
  }
  for (unsigned int i = 0; i < 200; ++i) {
    sut.put(entry(i, kApple));
  }
  EXPECT_EQ(sut.list().size(), DeviceSlots::kMostEntries);
}

// How the product reads a list: place by place against the one before, up to the first device of Apple's, and what it
// reports after an entry that has gone carries the same status.
class Reader {
 public:
  std::vector<std::string> read(const List& list) {
    std::vector<std::string> reports;
    bool hasGone = false;
    for (std::size_t i = 0; i < std::max(list.size(), last_.size()); ++i) {
      const Entry* const now = i < list.size() ? &list[i] : nullptr;
      const Entry* const before = i < last_.size() ? &last_[i] : nullptr;
      if (now != nullptr && isApple(now->vendorId)) {
        break;
      }
      const bool isGone = now == nullptr || (before != nullptr && now->available == 0);
      const bool isSame = now != nullptr && before != nullptr && before->available != 0 &&
                          before->deviceId == now->deviceId && before->deviceName == now->deviceName &&
                          before->vendorId == now->vendorId;
      if (isGone && before != nullptr && before->available != 0) {
        hasGone = true;
        reports.push_back("gone " + std::to_string(before->deviceId));
      } else if (!isGone && !isSame && now->available != 0) {
        reports.push_back((hasGone ? "gone " : "there ") + std::to_string(now->deviceId));
      }
    }
    last_ = list;
    return reports;
  }

 private:
  List last_;
};

TEST(DeviceSlots, LetAReaderSeeOneChangeAtATimeAndNeverAnApple) {
  std::minstd_rand random(11);
  DeviceSlots sut;
  Reader reader;
  std::map<unsigned int, Entry> there;  // what a reader may know: available, and not Apple's
  for (int step = 0; step < 20000; ++step) {
    const auto number = static_cast<unsigned int>(random() % 12);
    const bool isKnown = there.count(number) != 0;
    const auto what = static_cast<unsigned int>(random() % 4);
    const Entry next = entry(number, what == 1 ? kApple : std::uint16_t{7}, what != 2);
    if (what == 3) {
      sut.remove(number & 0xFF);
    } else {
      sut.put(next);
    }
    const bool isThere = what == 0;
    const std::vector<std::string> reports = reader.read(sut.list());
    if (isThere && !isKnown) {
      EXPECT_THAT(reports, ElementsAre("there " + std::to_string(number)));
      there[number] = next;
    } else if (!isThere && isKnown) {
      EXPECT_THAT(reports, ElementsAre("gone " + std::to_string(number)));
      there.erase(number);
    } else {
      EXPECT_THAT(reports, IsEmpty());
    }
    ASSERT_FALSE(testing::Test::HasFailure()) << "step " << step << ": " << places(sut);
  }
}

}  // namespace
