#include "tests/bluez_vm/bluez_fixture.h"

#include <time.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

#include "tests/support/wait_until.h"

using test_support::monotonicSeconds;
using test_support::waitUntil;

namespace {

const std::string kService = kUuid;

// As waitUntil, with pauses between the questions: each is a line in the child's or the lab's log.
bool comesTrue(const std::function<bool()>& condition) {
  const auto askSeldom = [&condition] {
    if (condition()) {
      return true;
    }
    const timespec pause = {0, 50000000};
    nanosleep(&pause, nullptr);
    return false;
  };
  return waitUntil(askSeldom, kPatience);
}

// A file for the lab to read or to write.
constexpr const char* kParcel = "/tmp/bluez-parcel";

std::vector<std::uint8_t> takeOnce() {
  lab("take " + kService + " " + kParcel);
  std::ifstream file(kParcel, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

BluezTest::BluezTest() {
  test_support::clearShm();
  lab("ready " + kService);
}

std::string BluezTest::phoneNumber(Child& headUnit) {
  const std::string question = "number-of " + lab("address phone");
  EXPECT_TRUE(comesTrue([&] { return headUnit.ask(question) != "none"; })) << headUnit.ask("devices");
  return headUnit.ask(question);
}

testing::AssertionResult BluezTest::says(Child& child, const std::string& line) {
  const double end = monotonicSeconds() + kPatience;
  std::string passed;
  while (const std::optional<std::string> said = child.nextLine(std::max(0.0, end - monotonicSeconds()))) {
    if (*said == line) {
      return testing::AssertionSuccess();
    }
    passed += "\n  " + *said;
  }
  return testing::AssertionFailure() << "it did not say \"" << line << "\", but:" << passed;
}

testing::AssertionResult BluezTest::answers(Child& child, const std::string& question, const std::string& expected) {
  std::string got;
  const auto isRight = [&] {
    got = child.ask(question);
    return got == expected;
  };
  if (comesTrue(isRight)) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "to \"" << question << "\" it answers \"" << got << "\"";
}

void BluezTest::sendFromPhone(const std::vector<std::uint8_t>& bytes) {
  std::ofstream file(kParcel, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  lab("send " + kService + " " + kParcel);
}

std::vector<std::uint8_t> BluezTest::takeFromPhone(std::size_t size) {
  std::vector<std::uint8_t> all;
  EXPECT_TRUE(comesTrue([&] {
    const std::vector<std::uint8_t> some = takeOnce();
    all.insert(all.end(), some.begin(), some.end());
    return all.size() >= size;
  })) << all.size()
      << " of " << size << " bytes came";
  return all;
}

testing::AssertionResult BluezTest::phoneIsLinked(bool linked) {
  const std::string expected = linked ? "1" : "0";
  if (comesTrue([&] { return lab("linked " + kService) == expected; })) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "the phone's app " << (linked ? "has no link" : "still has its link");
}

std::string BluezTest::openLink(Child& headUnit) {
  std::string device = phoneNumber(headUnit);
  EXPECT_EQ(headUnit.ask("register " + kService), "1");
  EXPECT_EQ(headUnit.ask("connect " + device + " " + kService), "1");
  EXPECT_TRUE(says(headUnit, link(device, 1)));
  EXPECT_TRUE(phoneIsLinked(true));
  return device;
}

testing::AssertionResult BluezTest::echoes(Child& headUnit, const std::string& device) {
  if (headUnit.ask("send " + device + " " + kService + " 300 7") != "1") {
    return testing::AssertionFailure() << "the send is refused";
  }
  std::vector<std::uint8_t> bytes = patternBytes(300, 7);
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(~byte);
  }
  const testing::AssertionResult isBack = answers(headUnit, "received", describe(bytes));
  headUnit.ask("forget");
  return isBack;
}
