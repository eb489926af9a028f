#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using CyclesTest = SimulatedBluezTest;

constexpr unsigned int kCycles = 1000;
const std::string kConnect = std::string("connect 0 ") + kUuid;
const std::string kDisconnect = std::string("disconnect 0 ") + kUuid;

TEST_F(CyclesTest, AThousandLinksLeaveNoDescriptorAndNoThreadBehind) {
  addPhone();
  const auto sut = linkedHeadUnit();
  ASSERT_TRUE(sut->does(kDisconnect));
  ASSERT_TRUE(sut->expect(link(0, kUuid, false)));
  const std::size_t descriptors = sut->descriptors();
  const std::size_t threads = sut->threads();

  for (unsigned int i = 0; i < kCycles; ++i) {
    ASSERT_TRUE(sut->does(kConnect));
    ASSERT_TRUE(sut->expect(link(0, kUuid, true))) << "cycle " << i;
    if (i % 2 == 0) {
      ASSERT_TRUE(sut->does(kDisconnect));
    } else {
      ASSERT_EQ(simulation().ask(std::string("drop ") + kPhone + (i % 4 == 1 ? "" : " reset")), "1");
    }
    ASSERT_TRUE(sut->expect(link(0, kUuid, false))) << "cycle " << i;
  }
  EXPECT_EQ(sut->descriptors(), descriptors);
  EXPECT_EQ(sut->threads(), threads);
  EXPECT_EQ(sut->ask("problems"), "none");
}

TEST_F(CyclesTest, ManyRegistrationsLeaveNothingBehind) {
  HeadUnit sut;
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_TRUE(sut.does(std::string("unregister ") + kUuid));
  const std::size_t descriptors = sut.descriptors();
  for (unsigned int i = 0; i < kCycles; ++i) {
    ASSERT_TRUE(sut.does(std::string("register ") + kUuid));
    ASSERT_EQ(simulation().ask("profiles"), kUuid);
    ASSERT_TRUE(sut.does(std::string("unregister ") + kUuid));
  }
  EXPECT_EQ(sut.descriptors(), descriptors);
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
}

TEST_F(CyclesTest, ManyRestartsOfBluetoothdLeaveNothingBehind) {
  addPhone();
  const auto sut = linkedHeadUnit();
  const std::size_t descriptors = sut->descriptors();
  const std::size_t threads = sut->threads();
  for (unsigned int i = 0; i < 50; ++i) {
    order("bluetoothd restart");
    ASSERT_TRUE(simulationComesTo("profiles", kUuid));
  }
  EXPECT_EQ(sut->descriptors(), descriptors);
  EXPECT_EQ(sut->threads(), threads);
  EXPECT_TRUE(sut->does(std::string("send 0 ") + kUuid + " 10"));
  EXPECT_TRUE(sut->comesTo(std::string("received 0 ") + kUuid, "10 wrong-at=none"));
}

}  // namespace
}  // namespace bluez_test
