#include "text/file.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <fstream>

#include "scenario/source.h"

namespace {

TEST(File, is_read_whole) {
  const scenario::TemporaryFolder folder;
  const std::string name = folder.path() + "/file";
  const std::string content = std::string(100000, 'x') + '\0' + "\nend";
  std::ofstream(name, std::ios::binary) << content;
  std::string read = "what was there before";
  EXPECT_TRUE(text::readFile(name, read));
  EXPECT_EQ(read, content);
}

TEST(File, that_is_missing_or_a_folder_is_not_read_and_errno_says_why) {
  std::string read;
  EXPECT_FALSE(text::readFile("/there/is/none", read));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(text::readFile("/", read));
  EXPECT_EQ(errno, EISDIR);
}

// As /proc/PID/stat does of a process that ends meanwhile.
TEST(File, that_opens_and_then_fails_throws_nothing) {
  std::string read;
  EXPECT_FALSE(text::readFile("/proc/self/mem", read));
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(read, "");
}

}  // namespace
