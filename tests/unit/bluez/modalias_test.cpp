#include "platform/bluez/modalias.h"

#include <gtest/gtest.h>

namespace {

using vqbluez::isApple;
using vqbluez::vendorOf;

TEST(Modalias, NamesTheVendorOfBothSources) {
  EXPECT_EQ(vendorOf("bluetooth:v004Cp7203d0102"), 0x004C);
  EXPECT_EQ(vendorOf("usb:v05ACp12A8d0A00"), 0x05AC);
}

TEST(Modalias, MayBeWrittenInLowerCase) {
  EXPECT_EQ(vendorOf("usb:v05acp12a8d0a00"), 0x05AC);
}

TEST(Modalias, OfAnotherShapeNamesNobody) {
  for (const char* const text :
       {"", "bluetooth", "bluetooth:", "bluetooth:v004", "bluetooth:p004Cv7203", "pci:v004Cp7203",
        "bluetooth:v0g4Cp7203d0102", "bluetooth:v-04Cp7203d0102", "v004Cp7203d0102"}) {
    EXPECT_EQ(vendorOf(text), std::nullopt) << text;
  }
}

TEST(Modalias, OfAppleIsEitherOfItsTwoVendorNumbers) {
  EXPECT_TRUE(isApple(0x004C));
  EXPECT_TRUE(isApple(0x05AC));
  EXPECT_FALSE(isApple(0));
  EXPECT_FALSE(isApple(0x4C00));
}

}  // namespace
