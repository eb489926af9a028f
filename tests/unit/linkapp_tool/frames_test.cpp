#include "phone/frames.h"

#include <gtest/gtest.h>

namespace {

using phone::Bytes;
using phone::FrameReader;

TEST(Frames, have_their_length_first_in_four_bytes_big_endian) {
  EXPECT_EQ(phone::frame({'a', 'b'}), std::string("\0\0\0\2ab", 6));
  EXPECT_EQ(phone::frame(Bytes(4096, 'x')).substr(0, 4), std::string("\0\0\x10\0", 4));
}

TEST(Frames, come_whole_however_the_stream_is_cut) {
  const std::string stream = phone::frame({'a'}) + phone::frame(Bytes(300, 'b')) + phone::frame(Bytes(4096, 'c'));
  for (const std::size_t cut : {std::size_t{1}, std::size_t{3}, std::size_t{5}, std::size_t{1000}, stream.size()}) {
    FrameReader sut;
    for (std::size_t at = 0; at < stream.size(); at += cut) {
      ASSERT_TRUE(sut.add(stream.data() + at, std::min(cut, stream.size() - at)));
    }
    ASSERT_EQ(sut.messages().size(), 3U);
    EXPECT_EQ(sut.messages()[0], Bytes{'a'});
    EXPECT_EQ(sut.messages()[1], Bytes(300, 'b'));
    EXPECT_EQ(sut.messages()[2], Bytes(4096, 'c'));
    EXPECT_EQ(sut.leftOver(), 0U);
  }
}

TEST(Frames, that_have_not_ended_are_left_over) {
  FrameReader sut;
  ASSERT_TRUE(sut.add("\0\0\0\5abc", 7));
  EXPECT_TRUE(sut.messages().empty());
  EXPECT_EQ(sut.leftOver(), 7U);
}

TEST(Frames, of_a_wrong_length_end_the_stream_for_good) {
  for (const std::string& header : {std::string("\0\0\0\0", 4), std::string("\0\0\x10\1", 4), std::string("abcd")}) {
    FrameReader sut;
    EXPECT_FALSE(sut.add(header.data(), header.size()));
    EXPECT_FALSE(sut.add("\0\0\0\1a", 5));
    EXPECT_TRUE(sut.messages().empty());
  }
}

TEST(Frames, before_a_wrong_length_are_kept) {
  FrameReader sut;
  const std::string stream = phone::frame({'a'}) + std::string("\xFF\0\0\0", 4);
  EXPECT_FALSE(sut.add(stream.data(), stream.size()));
  EXPECT_EQ(sut.messages().size(), 1U);
  EXPECT_EQ(sut.badLength(), 0xFF000000U);
}

}  // namespace
