// `linkapp bundle`: what is in the archive, and what is not.
#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/inspect/bench.h"

namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* kSecret = "SECRETPAYLOAD0815";
constexpr const char* kSong = "SecretPlayer4711";

std::map<std::string, std::string> unpack(const std::string& path) {
  std::map<std::string, std::string> files;  // names without their folder
  archive* const reader = archive_read_new();
  archive_read_support_filter_gzip(reader);
  archive_read_support_format_tar(reader);
  EXPECT_EQ(archive_read_open_filename(reader, path.c_str(), 10240), ARCHIVE_OK) << path;
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader, &entry) == ARCHIVE_OK) {
    const std::string name = archive_entry_pathname(entry);
    EXPECT_THAT(name, StartsWith("linkapp-bundle-"));
    std::string content(static_cast<std::size_t>(archive_entry_size(entry)), '\0');
    EXPECT_EQ(archive_read_data(reader, content.data(), content.size()), static_cast<la_ssize_t>(content.size()));
    files[name.substr(name.find('/') + 1)] = content;
  }
  archive_read_free(reader);
  return files;
}

std::string hexadecimal(const std::string& text) {
  std::string digits;
  char two[3];
  for (const char c : text) {
    snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(c));
    digits += two;
  }
  return digits;
}

class Bundle : public Bench {
 public:
  // A session in which secrets went both ways: in messages, on a command line, as the app that plays.
  void startSecretSession() {
    phone({"plug usb", std::string("play ") + kSong});
    navi = &app("navi", {"--launch", "--do", std::string("echo off")});
    ASSERT_TRUE(navi->await({R"("event":"onDeviceStatus")", R"("usb.status":2)"}));
    navi->tell(std::string("send ") + kSecret);
    ASSERT_TRUE(navi->await({R"("event":"onReceivedMsg")", kSecret}));
  }
  std::map<std::string, std::string> bundle(const std::string& options = "") {
    const std::string path = folder() + "/bundle.tar.gz";
    const Ran ran = linkapp("bundle -o " + path + " " + options);
    EXPECT_EQ(ran.code, 0);
    EXPECT_EQ(ran.lines.at(0), path);
    return unpack(path);
  }
};

TEST_F(Bundle, holds_versions_status_report_notifications_and_maps) {
  ASSERT_NO_FATAL_FAILURE(startSecretSession());
  const auto files = bundle();
  EXPECT_THAT(files.at("versions.txt"), HasSubstr("linkapp "));
  EXPECT_THAT(files.at("versions.txt"), HasSubstr("kernel Linux "));
  EXPECT_THAT(files.at("versions.txt"), HasSubstr("libVQFramework.so"));
  EXPECT_THAT(files.at("status.txt"), HasSubstr("phone connected, 1 app, 1 session"));
  EXPECT_EQ(json::parse(files.at("status.json"))["state"]["link"]["connected"], true);
  EXPECT_THAT(files.at("doctor.txt"), StartsWith("linkapp doctor  14 checks, 2 processes"));
  EXPECT_THAT(json::parse(files.at("doctor.json"))["findings"], testing::Not(testing::IsNull()));
  std::istringstream lines(files.at("notifications.jsonl"));
  std::map<std::string, int> names;
  for (std::string line; std::getline(lines, line);) {
    ++names[json::parse(line)["name"].get<std::string>()];
  }
  for (const char* const name : {"NOTIFYID_APPLAUNCH", "NOTIFYID_CONNECTSTATUS", "NOTIFYID_SESSIONSTATUS", "FromHU",
                                 "FromDevice", "NOTIFYID_SENDRESULT", "AppInfo"}) {
    EXPECT_THAT(names, Contains(Key(name)));
  }
  EXPECT_EQ(std::count_if(files.begin(), files.end(),
                          [](const auto& file) {
                            return file.first.compare(0, 5, "maps/") == 0 &&
                                   file.second.find("/dev/shm/VQSharedMemNotifier.log") != std::string::npos;
                          }),
            2);
}

TEST_F(Bundle, holds_no_payload_unless_asked_for) {
  ASSERT_NO_FATAL_FAILURE(startSecretSession());
  const std::string onCommandLine = "SECRETARGUMENT0815";
  ToolProcess& music = app("music", {"--do", "send " + onCommandLine});
  music.tell("state");
  ASSERT_TRUE(music.await({R"("reply":"state")"}));
  for (const auto& [name, content] : bundle()) {
    for (const std::string& secret : {std::string(kSecret), std::string(kSong), onCommandLine}) {
      EXPECT_THAT(content, Not(HasSubstr(secret))) << name;
      EXPECT_THAT(content, Not(HasSubstr(hexadecimal(secret)))) << name;
    }
  }
}

TEST_F(Bundle, holds_messages_and_texts_where_they_are_asked_for) {
  ASSERT_NO_FATAL_FAILURE(startSecretSession());
  const auto files = bundle("--with-payloads");
  EXPECT_THAT(files.at("rings.jsonl"), HasSubstr(hexadecimal(kSecret)));
  EXPECT_THAT(files.at("notifications.jsonl"), HasSubstr(kSong));
  EXPECT_THAT(files.at("README.txt"), HasSubstr("Payloads are in it"));
}

TEST_F(Bundle, can_be_made_where_there_is_no_channel) {
  const auto files = bundle();
  EXPECT_THAT(files.at("doctor.txt"), HasSubstr("there is no channel"));
  EXPECT_THAT(files.at("notifications.jsonl"), IsEmpty());
  EXPECT_THAT(files, SizeIs(7));
}

TEST_F(Bundle, is_for_its_user_alone_and_whole_or_not_there) {
  bundle();
  struct stat status = {};
  ASSERT_EQ(stat((folder() + "/bundle.tar.gz").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_FALSE(std::filesystem::exists(folder() + "/bundle.tar.gz.part"));
  EXPECT_EQ(linkapp("bundle -o " + folder() + "/nowhere/bundle.tar.gz").code, 1);
  EXPECT_EQ(linkapp("bundle --surprise").code, 2);
}

}  // namespace
