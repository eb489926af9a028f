#include "platform/bluez/spp_links.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using platform::Descriptor;
using vqbluez::LinkKey;
using vqbluez::SppLink;
using vqbluez::SppLinks;

const LinkKey kKey{3, "a"};

class SppLinksTest : public testing::Test {
 public:
  SppLinksTest() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) == 0) {
      near_ = Descriptor(ends[0]);
      far_ = Descriptor(ends[1]);
    }
  }

  Descriptor near_;
  Descriptor far_;
  SppLinks sut;
};

TEST_F(SppLinksTest, FindsAnOpenLinkByKeyAndById) {
  SppLink& link = sut.open(kKey, "/device", std::move(near_));
  EXPECT_EQ(sut.find(kKey), &link);
  EXPECT_EQ(sut.find(link.id), &link);
  EXPECT_EQ(sut.find(LinkKey{3, "b"}), nullptr);
  EXPECT_EQ(sut.find(LinkKey{4, "a"}), nullptr);
}

// BlueZ keeps a copy of the socket: the far side would notice nothing.
TEST_F(SppLinksTest, EndsALinkForTheOtherSideThoughACopyOfTheSocketIsOpen) {
  const Descriptor copy(dup(near_.get()));
  sut.open(kKey, "/device", std::move(near_));
  const auto closed = sut.close(kKey);
  ASSERT_NE(closed, nullptr);
  EXPECT_FALSE(closed->socket.isOpen());
  char byte = 0;
  EXPECT_EQ(read(far_.get(), &byte, 1), 0);
}

TEST_F(SppLinksTest, ForgetsAClosedLinkAndGivesItsIdToNobody) {
  const std::uint64_t id = sut.open(kKey, "/device", std::move(near_)).id;
  sut.close(kKey);
  EXPECT_EQ(sut.find(kKey), nullptr);
  EXPECT_EQ(sut.find(id), nullptr);
  EXPECT_EQ(sut.close(kKey), nullptr);
  EXPECT_NE(sut.open(kKey, "/device", std::move(far_)).id, id);
}

TEST_F(SppLinksTest, WatchesALinkOnceObserversKnowItAndForWritingWhileSomethingWaits) {
  SppLink& link = sut.open(kKey, "/device", std::move(near_));
  EXPECT_EQ(link.watched().fd, -1) << "its end would be told before its beginning";
  link.isTold = true;
  EXPECT_EQ(link.watched().fd, link.socket.get());
  EXPECT_EQ(link.watched().events, POLLIN);
  const unsigned char byte = 1;
  ASSERT_TRUE(link.queue.push(&byte, 1));
  EXPECT_EQ(link.watched().events, POLLIN | POLLOUT);
}

}  // namespace
