// The four segments as they lie in /dev/shm when nobody uses them any more.
#include <sys/stat.h>

#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "tests/process/channel_fixture.h"
#include "tests/support/roles.h"

namespace {

TEST_ROLE(open_all_with_umask) {
  umask(static_cast<mode_t>(std::stoul(args.at(0), nullptr, 8)));
  const auto server = std::make_unique<iOSAppCommonServer>(1);
  const auto client = std::make_unique<iOSAppCommonClient>("", "app", "");
  return 0;
}

class SegmentFiles : public ChannelTest, public testing::WithParamInterface<Segment> {
 protected:
  static void runWithUmask(const char* mask) {
    Child child("open_all_with_umask", {mask});
    ASSERT_EQ(child.wait(), 0);
  }
};

TEST_P(SegmentFiles, outlive_their_users_with_their_exact_size) {
  runWithUmask("0022");

  EXPECT_EQ(test_support::shmSize(GetParam().name), GetParam().size);
  EXPECT_EQ(test_support::shmWord(GetParam().name, 0), GetParam().recordBytes);
}

TEST_P(SegmentFiles, have_the_mode_0664_less_the_umask_and_so_have_locks_and_log) {
  for (const auto& [mask, mode] : {std::pair{"0002", 0664U}, std::pair{"0022", 0644U}}) {
    test_support::clearShm();

    runWithUmask(mask);

    EXPECT_EQ(test_support::shmMode(GetParam().name), mode);
    EXPECT_EQ(test_support::shmMode(lockObject(GetParam())), mode);
    EXPECT_EQ(test_support::shmMode(kLogObject), mode);
  }
}

TEST_P(SegmentFiles, keep_size_mode_and_contents_when_a_process_with_another_umask_attaches) {
  runWithUmask("0022");
  // Bytes that no process writes while it starts: the status record, the first slot, the last registered app.
  const std::size_t untouched =
      GetParam().recordBytes == kAppInfoSegment.recordBytes ? kRecord + 19 * kEntryStride : kRecord + 100;
  ASSERT_TRUE(test_support::pokeShmWord(GetParam().name, untouched, 0x12345678));

  runWithUmask("0000");

  EXPECT_EQ(test_support::shmSize(GetParam().name), GetParam().size);
  EXPECT_EQ(test_support::shmMode(GetParam().name), 0644U);
  EXPECT_EQ(test_support::shmWord(GetParam().name, untouched), 0x12345678U);
}

TEST_P(SegmentFiles, get_their_size_word_back_from_whoever_attaches) {
  runWithUmask("0022");
  ASSERT_TRUE(test_support::pokeShmWord(GetParam().name, 0, 1));

  runWithUmask("0022");

  EXPECT_EQ(test_support::shmWord(GetParam().name, 0), GetParam().recordBytes);
}

INSTANTIATE_TEST_SUITE_P(Channel, SegmentFiles, testing::ValuesIn(kSegments), testNameOf);

}  // namespace
