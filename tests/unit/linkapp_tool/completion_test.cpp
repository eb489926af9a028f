#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "phone/commands.h"
#include "scenario/source.h"

namespace {

using Texts = std::vector<std::string>;

Texts complete(const std::string& line) {
  return phone::commands().complete(line, [](const std::string& source) {
    return source == "app" ? Texts{"com.example.navi", "com.example.music"} : Texts{"com.example.navi"};
  });
}

TEST(Completion, offers_commands_that_begin_so) {
  EXPECT_EQ(complete("st"), (Texts{"state", "stop-playing"}));
  EXPECT_EQ(complete("sessions"), Texts{"sessions"});
  EXPECT_EQ(complete("x"), Texts{});
}

TEST(Completion, offers_all_commands_on_an_empty_line) {
  EXPECT_EQ(complete("").size(), phone::commands().commands().size());
}

TEST(Completion, offers_choices) {
  EXPECT_EQ(complete("plug "), (Texts{"bluetooth", "usb"}));
  EXPECT_EQ(complete("plug u"), Texts{"usb"});
  EXPECT_EQ(complete("plug usb "), (Texts{"iap1", "iap2"}));
  EXPECT_EQ(complete("plug usb iap1 "), Texts{});
}

TEST(Completion, offers_names_that_the_process_knows) {
  EXPECT_EQ(complete("open com.example.m"), Texts{"com.example.music"});
  EXPECT_EQ(complete("close "), Texts{"com.example.navi"});
}

TEST(Completion, offers_keywords_that_are_not_given_yet) {
  EXPECT_EQ(complete("launches slow "), (Texts{"after", "for"}));
  EXPECT_EQ(complete("launches slow after 2s "), Texts{"for"});
  EXPECT_EQ(complete("launches slow for "), (Texts{"com.example.music", "com.example.navi"}));
}

TEST(Completion, offers_files_and_folders) {
  const scenario::TemporaryFolder folder;
  for (const char* const name : {"/answers.txt", "/answers.old", "/.hidden", "/other"}) {
    std::ofstream(folder.path() + name) << "x";
  }
  std::filesystem::create_directory(folder.path() + "/ancient");
  const std::string line = "app-script com.example.navi " + folder.path() + "/";
  EXPECT_EQ(complete(line + "answers."), (Texts{folder.path() + "/answers.old", folder.path() + "/answers.txt"}));
  EXPECT_EQ(complete(line + "anc"), Texts{folder.path() + "/ancient/"});
  EXPECT_EQ(complete(line).size(), 4U);
  EXPECT_EQ(complete(line + ".h"), Texts{folder.path() + "/.hidden"});
  EXPECT_EQ(complete(line + "none/"), Texts{});
}

TEST(Completion, offers_commands_to_be_explained) {
  EXPECT_THAT(phone::commands().names(), testing::Contains("unplug"));
  EXPECT_EQ(complete("help "), Texts{"com.example.navi"}) << "the process is asked";
}

TEST(Completion, has_nothing_for_what_is_wrong_already) {
  EXPECT_EQ(complete("send \"a"), Texts{});
  EXPECT_EQ(complete("teleport "), Texts{});
}

}  // namespace
