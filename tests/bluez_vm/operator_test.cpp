// Applications on the facade, with the real BlueZ below: the operator, and examples/spp.cpp as it is built.
#include <unistd.h>

#include <optional>

#include "tests/bluez_vm/bluez_fixture.h"
#include "tests/support/roles.h"

namespace {

const std::string kService = kUuid;

TEST_ROLE(spp_example) {
  execl(LINKAPP_SPP_EXAMPLE, LINKAPP_SPP_EXAMPLE, nullptr);
  return 127;
}

class OperatorOnBluez : public BluezTest {
 public:
  static std::string status(const std::string& device, const std::string& spp) {
    return "status 0 " + device + " phone spp " + spp + " - usb 0 - - iap 0";
  }

  static std::string numberOfPhone() {
    Child watcher("spp");
    return phoneNumber(watcher);
  }

  const std::string device_ = numberOfPhone();
};

TEST_F(OperatorOnBluez, ConnectsToAListedPhoneSendsAndDisconnects) {
  Child sut("application", {"head-unit", "com.example.phone", kService});
  ASSERT_TRUE(says(sut, status(device_, "1 -")));
  ASSERT_EQ(sut.ask("spp-connect " + device_), "1");
  EXPECT_TRUE(says(sut, status(device_, "2 " + kService)));

  lab("mode " + kService + " keep");
  EXPECT_EQ(sut.ask("send 100 5"), "1");
  EXPECT_TRUE(says(sut, "result 0"));

  EXPECT_EQ(sut.ask("spp-disconnect " + device_), "1");
  EXPECT_TRUE(says(sut, status(device_, "1 " + kService)));
  EXPECT_TRUE(phoneIsLinked(false));
}

// What bluetoothd says of itself is read about a second after pairing, so the phone is not known as Apple's at first.
TEST_F(OperatorOnBluez, APhoneWhoseDeviceIdIsApplesIsListedByTheServiceAndNeverReportedToAnApplication) {
  lab("bluetoothd stop");
  lab("bluetoothd start apple");
  lab("unpair");
  Child sut("spp");
  ASSERT_TRUE(sut.expect("ready"));
  lab("pair");
  ASSERT_TRUE(answers(sut, "vendor-of " + lab("address phone"), "004c")) << sut.ask("devices");
  // Reports come before what was asked last is answered.
  const std::string report = "status " + sut.ask("number-of " + lab("address phone")) + " ";
  while (const std::optional<std::string> line = sut.nextLine(0)) {
    EXPECT_NE(line->compare(0, report.size(), report), 0) << *line;
  }
}

TEST_F(OperatorOnBluez, TheExampleLinksAPhoneThatIsThereAndSendsBackWhatItSends) {
  Child sut("spp_example");
  ASSERT_TRUE(says(sut, "waiting for phones; Enter ends"));
  ASSERT_TRUE(phoneIsLinked(true));
  lab("mode " + kService + " keep");
  const std::vector<std::uint8_t> sent = patternBytes(300, 6);
  sendFromPhone(sent);
  EXPECT_EQ(takeFromPhone(sent.size()), sent);
  EXPECT_EQ(sut.finish(kPatience), 0);
  EXPECT_TRUE(phoneIsLinked(false));
}

}  // namespace
