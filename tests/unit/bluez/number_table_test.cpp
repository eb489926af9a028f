#include "platform/bluez/number_table.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vqbluez::DeviceKey;
using vqbluez::NumberTable;

DeviceKey device(int number) {
  return {"00:AA:01:00:00:00", "11:22:33:44:55:" + std::to_string(100 + number)};
}

NumberTable fullTable() {
  NumberTable table;
  for (int i = 0; i < static_cast<int>(NumberTable::kNumbers); ++i) {
    table.give(device(i), {}, 1000 + i);
  }
  return table;
}

TEST(NumberTable, GivesTheSmallestFreeNumber) {
  NumberTable sut = NumberTable::parse("A B 0 5\nA C 2 5\n");
  EXPECT_EQ(sut.give(device(1), {}, 0), 1);
  EXPECT_EQ(sut.give(device(2), {}, 0), 3);
}

TEST(NumberTable, GivesADeviceItsNumberAgain) {
  NumberTable sut;
  ASSERT_EQ(sut.give(device(1), {}, 0), 0);
  ASSERT_EQ(sut.give(device(2), {}, 0), 1);
  EXPECT_EQ(sut.give(device(1), {}, 0), 0);
  EXPECT_EQ(sut.find(device(2)), 1);
  EXPECT_EQ(sut.find(device(3)), std::nullopt);
}

TEST(NumberTable, TellsDevicesOfTwoAdaptersApart) {
  NumberTable sut;
  EXPECT_EQ(sut.give({"A", "B"}, {}, 0), 0);
  EXPECT_EQ(sut.give({"C", "B"}, {}, 0), 1);
}

TEST(NumberTable, ComesBackFromItsTextAsItWas) {
  NumberTable table;
  table.give(device(5), {}, 17);
  table.give(device(3), {}, 4000000000);
  const NumberTable sut = NumberTable::parse(table.text());
  EXPECT_EQ(sut.find(device(5)), 0);
  EXPECT_EQ(sut.find(device(3)), 1);
  EXPECT_EQ(sut.text(), table.text());
}

TEST(NumberTable, SkipsLinesThatMakeNoSense) {
  const NumberTable sut = NumberTable::parse(
      "\nA\nA B\nA B x 1\nA B 255 1\nA B -1 1\nA B 99999999999 1\nA B 7\n"
      "A C 7 1\n"
      "A D 7 1\n"    // the number is taken
      "A C 8 1\n");  // the device has one
  EXPECT_EQ(sut.text(), "A C 7 1\n");
}

TEST(NumberTable, ThatIsFullTakesTheNumberOfTheLongestUnpaired) {
  NumberTable sut = fullTable();
  ASSERT_TRUE(sut.see(device(0), 9000, 0));
  EXPECT_EQ(sut.give(device(900), {}, 9001), 1);
  EXPECT_EQ(sut.find(device(1)), std::nullopt);
  EXPECT_EQ(sut.find(device(0)), 0);
}

TEST(NumberTable, ThatIsFullLeavesPairedDevicesTheirNumbers) {
  NumberTable sut = fullTable();
  EXPECT_EQ(sut.give(device(900), {device(0), device(1)}, 9000), 2);
}

TEST(NumberTable, RefusesADeviceWhenAllOthersArePaired) {
  NumberTable sut = fullTable();
  std::set<DeviceKey> paired;
  for (int i = 0; i < static_cast<int>(NumberTable::kNumbers); ++i) {
    paired.insert(device(i));
  }
  const std::string before = sut.text();
  EXPECT_EQ(sut.give(device(900), paired, 9000), std::nullopt);
  EXPECT_EQ(sut.text(), before);
}

TEST(NumberTable, ThatIsToldWhoHasANumberGivesItToNobodyElse) {
  NumberTable sut = NumberTable::parse("A B 0 5\nA C 1 5\nA D 2 5\n");
  sut.keep({"A", "B"}, 0, 9);
  sut.keep({"A", "E"}, 1, 9);
  sut.keep({"A", "D"}, 3, 9);
  EXPECT_EQ(sut.text(), "A B 0 5\nA D 3 9\nA E 1 9\n");
  EXPECT_EQ(sut.give({"A", "C"}, {}, 9), 2);
}

TEST(NumberTable, NotesThatADeviceWasSeenNoOftenerThanAsked) {
  NumberTable sut;
  sut.give(device(1), {}, 1000);
  EXPECT_FALSE(sut.see(device(1), 1099, 100));
  EXPECT_TRUE(sut.see(device(1), 1100, 100));
  EXPECT_FALSE(sut.see(device(1), 1101, 100));
  EXPECT_FALSE(sut.see(device(2), 5000, 0));
}

TEST(NumberTable, TakesTheFarthestPastOfADamagedFileForLongAgo) {
  NumberTable sut = NumberTable::parse("A B 0 -9223372036854775808\n");
  EXPECT_TRUE(sut.see({"A", "B"}, 5000, 100));
}

}  // namespace
