#include "platform/bluez/uuid.h"

#include <gtest/gtest.h>

namespace {

using vqbluez::canonicalUuid;

constexpr const char* kSerialPort = "00001101-0000-1000-8000-00805f9b34fb";

TEST(Uuid, InItsCanonicalFormStaysAsItIs) {
  EXPECT_EQ(canonicalUuid(kSerialPort), kSerialPort);
}

TEST(Uuid, IsWrittenInLowerCase) {
  EXPECT_EQ(canonicalUuid("35DE0F64-C263-4A4B-ADB6-6B60500D1DBE"), "35de0f64-c263-4a4b-adb6-6b60500d1dbe");
}

TEST(Uuid, WithoutDashesGetsThem) {
  EXPECT_EQ(canonicalUuid("35DE0F64C2634A4BADB66B60500D1DBE"), "35de0f64-c263-4a4b-adb6-6b60500d1dbe");
}

TEST(Uuid, OfFourOrEightDigitsStandsOnTheBluetoothBase) {
  EXPECT_EQ(canonicalUuid("1101"), kSerialPort);
  EXPECT_EQ(canonicalUuid("00001101"), kSerialPort);
  EXPECT_EQ(canonicalUuid("ABCDEF01"), "abcdef01-0000-1000-8000-00805f9b34fb");
}

TEST(Uuid, IsNoneOfAnotherLength) {
  for (const char* const text : {"", "1", "110", "11011", "0000110", "000011010", "35de0f64c2634a4badb66b60500d1db",
                                 "35de0f64c2634a4badb66b60500d1dbe0", "35de0f64-c263-4a4b-adb6-6b60500d1db",
                                 "35de0f64-c263-4a4b-adb6-6b60500d1dbe0"}) {
    EXPECT_EQ(canonicalUuid(text), std::nullopt) << text;
  }
}

// BlueZ takes names too, and would not call "zzzz" wrong.
TEST(Uuid, IsNoneWithOtherCharactersThanDigits) {
  for (const char* const text : {"spp", "zzzz", "110g", " 110", "-110", "+110", "0x11",
                                 "35de0f64 c263 4a4b adb6 6b60500d1dbe", "35de0f64-c263-4a4b-adb6-6b60500d1dbg"}) {
    EXPECT_EQ(canonicalUuid(text), std::nullopt) << text;
  }
}

TEST(Uuid, IsNoneWithDashesInOtherPlaces) {
  EXPECT_EQ(canonicalUuid("35de0f64c-263-4a4b-adb6-6b60500d1dbe"), std::nullopt);
  EXPECT_EQ(canonicalUuid("35de0f64-c263-4a4b-adb6--b60500d1dbe"), std::nullopt);
  EXPECT_EQ(canonicalUuid("35de-f64"), std::nullopt);
}

}  // namespace
