// The checks on facts that are told to them: what a test cannot make on this machine.
#include "doctor/checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "doctor/elf.h"
#include "doctor/report.h"
#include "tests/inspect/hand_made.h"
#include "tests/inspect/inspect_fixture.h"
#include "tests/support/private_shm.h"

namespace {

using doctor::Bus;
using doctor::ChannelProcess;
using doctor::Examination;
using doctor::Findings;
using doctor::Level;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A channel of which nothing is to be said.
class Checks : public InspectTest {
 public:
  Checks() {
    hand_made::makeFourSegments();
    for (const char* const segment : inspect::kSegments) {
      hand_made::makeLock(segment);
    }
    const hand_made::Log log;
    all.snapshot = inspect::takeSnapshot();
    all.system.space = {true, 1 << 20, 1 << 20};
    all.system.bus.state = Bus::State::kReachable;
    all.system.bus.adapters = {{"hci0", "00:AA:01:00:00:00", true}};
  }

  ChannelProcess& addProcess(std::uint32_t pid, uid_t user = 0) {
    ChannelProcess process;
    process.process.pid = pid;
    process.process.exists = true;
    process.process.name = "navi";
    process.isSeen = true;
    process.user = user;
    process.bits = 64;
    all.system.processes.push_back(process);
    return all.system.processes.back();
  }
  Findings find() const { return findingsOf(all); }
  // The one thing that is found.
  std::string found() const {
    const Findings findings = find();
    EXPECT_THAT(findings, SizeIs(1));
    return findings.empty() ? "" : findings[0].what + "; " + findings[0].proof;
  }

  Examination all;
};

TEST_F(Checks, find_nothing_where_nothing_is_wrong) {
  addProcess(1000);
  addProcess(1001);
  EXPECT_THAT(find(), IsEmpty()) << reportText(find(), all, false);
}

TEST_F(Checks, tell_32_bit_processes_beside_64_bit_ones) {
  addProcess(1000);
  addProcess(1001).bits = 32;
  EXPECT_EQ(found(), "32-bit and 64-bit processes use one channel; 32 bits: 1001 (navi); 64 bits: 1000 (navi)");
}

TEST_F(Checks, take_two_files_of_one_build_for_one_version) {
  addProcess(1000).libraries = {{"libVQFramework.so", "/a/libVQFramework.so.0", "abcd", 1, 1, false}};
  addProcess(1001).libraries = {{"libVQFramework.so", "/b/libVQFramework.so.0", "abcd", 1, 2, false}};
  EXPECT_THAT(find(), IsEmpty());
  all.system.processes[1].libraries[0].buildId = "dcba";
  EXPECT_THAT(found(), HasSubstr("/b/libVQFramework.so.0 (build dcba) in 1001 (navi)"));
}

TEST_F(Checks, take_files_without_build_id_by_their_paths) {
  addProcess(1000).libraries = {{"libVQFramework.so", "/a/libVQFramework.so.0", "", 1, 1, false}};
  addProcess(1001).libraries = {{"libVQFramework.so", "/b/libVQFramework.so.0", "", 1, 2, false}};
  EXPECT_THAT(found(), HasSubstr("different versions of libVQFramework.so"));
}

TEST_F(Checks, tell_a_full_shm_only_where_something_has_to_be_made) {
  all.system.space.free = 0;
  ASSERT_THAT(find(), SizeIs(1));
  EXPECT_EQ(find()[0].level, Level::kNote);
  ASSERT_TRUE(test_support::removeShm(inspect::kFromHUSegment));
  all.snapshot = inspect::takeSnapshot();
  const Findings findings = find();
  EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const doctor::Finding& finding) {
    return finding.level == Level::kFault && finding.what == "/dev/shm is full";
  }));
}

TEST_F(Checks, tell_an_umask_only_where_it_shuts_somebody_out) {
  addProcess(1000).umask = 0077;
  EXPECT_THAT(find(), IsEmpty());  // root may open all
  all.system.processes[0].umask = 0777;
  EXPECT_THAT(found(), HasSubstr("cannot open again"));
}

TEST_F(Checks, tell_remove_ipc_only_for_ordinary_users_and_where_logind_runs) {
  all.system.ipcRemoval = {true, true, "/etc/systemd/logind.conf:7"};
  const auto isTold = [this](uid_t user) {
    all.system.processes.clear();
    addProcess(1000, user);
    const Findings findings = find();
    return std::any_of(findings.begin(), findings.end(),
                       [](const doctor::Finding& finding) { return finding.check == "removeipc"; });
  };
  EXPECT_FALSE(isTold(0));
  EXPECT_FALSE(isTold(999));
  EXPECT_TRUE(isTold(1000));
  EXPECT_FALSE(isTold(65534));
  all.system.ipcRemoval.hasLogind = false;
  EXPECT_FALSE(isTold(1000));
}

TEST_F(Checks, say_what_was_not_looked_at) {
  all.system.bus = {};
  ASSERT_THAT(find(), SizeIs(1));
  EXPECT_EQ(find()[0].level, Level::kUnchecked);
  EXPECT_EQ(doctor::faults(find()), 0U);
  EXPECT_THAT(reportText(find(), all, false), HasSubstr("not everything could be looked at"));
}

TEST_F(Checks, tell_a_missing_bus_policy_to_users_that_are_not_root) {
  addProcess(1000).libraries = {{"libVQBluetooth.so", "/a/libVQBluetooth.so.0", "abcd", 1, 1, false}};
  EXPECT_THAT(find(), IsEmpty());
  all.system.bus.hasPolicy = true;
  all.system.processes[0].user = 990;
  const auto hasNote = [this] {
    const Findings findings = find();
    return std::any_of(findings.begin(), findings.end(), [](const doctor::Finding& finding) {
      return finding.check == "bluetooth" && finding.level == Level::kNote;
    });
  };
  EXPECT_FALSE(hasNote());
  all.system.bus.hasPolicy = false;
  EXPECT_TRUE(hasNote());
}

TEST_F(Checks, do_not_take_a_holder_of_another_pid_namespace_for_dead) {
  all.snapshot.locks[1].holderPid = 4711;
  all.snapshot.holders[1].pid = 4711;  // not in /proc
  all.snapshot.locks[1].word = inspect::LockWord{4711, false, false};
  EXPECT_THAT(found(), HasSubstr("is held by a process that cannot be found"));
  EXPECT_EQ(find()[0].level, Level::kNote);
  all.snapshot.locks[1].word->hasOwnerDied = true;
  EXPECT_THAT(found(), HasSubstr("the holder of iOSAppMem_Device1_From_HU.lock has died"));
  all.snapshot.locks[1].word.reset();
  EXPECT_THAT(found(), HasSubstr("the holder of iOSAppMem_Device1_From_HU.lock has died"));
}

TEST_F(Checks, run_without_those_that_are_left_out) {
  all.system.bus.state = Bus::State::kNoBus;
  EXPECT_THAT(find(), SizeIs(1));
  EXPECT_THAT(findingsOf(all, {"bluetooth"}), IsEmpty());
}

class Logind : public testing::Test {
 public:
  Logind() {
    char path[] = "/tmp/linkapp_logind_XXXXXX";
    root = mkdtemp(path);
  }
  ~Logind() override {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
  void write(const std::string& path, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(root + path).parent_path());
    std::ofstream(root + path) << content;
  }
  bool isOn() const { return doctor::readIpcRemoval(root).isOn; }

  std::string root;
};

TEST_F(Logind, removes_ipc_unless_told_otherwise) {
  EXPECT_TRUE(isOn());
  EXPECT_FALSE(doctor::readIpcRemoval(root).hasLogind);
  std::filesystem::create_directories(root + "/run/systemd/seats");
  EXPECT_TRUE(doctor::readIpcRemoval(root).hasLogind);
}

TEST_F(Logind, is_told_by_its_own_file_in_its_own_section) {
  write("/etc/systemd/logind.conf", "# RemoveIPC=no\n[Other]\nRemoveIPC=no\n");
  EXPECT_TRUE(isOn());
  write("/etc/systemd/logind.conf", "[Login]\n#RemoveIPC=yes\n RemoveIPC = No \n");
  EXPECT_FALSE(isOn());
  EXPECT_EQ(doctor::readIpcRemoval(root).said, "/etc/systemd/logind.conf:3");
}

TEST_F(Logind, passes_over_what_is_no_truth_value) {
  write("/etc/systemd/logind.conf", "[Login]\nRemoveIPC=no\nRemoveIPC=perhaps\n");
  EXPECT_FALSE(isOn());
}

TEST_F(Logind, takes_drop_ins_by_name_whatever_folder_they_lie_in) {
  write("/etc/systemd/logind.conf", "[Login]\nRemoveIPC=no\n");
  write("/etc/systemd/logind.conf.d/10-a.conf", "[Login]\nRemoveIPC=no\n");
  write("/usr/lib/systemd/logind.conf.d/20-b.conf", "[Login]\nRemoveIPC=yes\n");
  EXPECT_TRUE(isOn());
  write("/run/systemd/logind.conf.d/30-c.conf", "[Login]\nRemoveIPC=off\n");
  write("/run/systemd/logind.conf.d/40-d.txt", "[Login]\nRemoveIPC=yes\n");
  EXPECT_FALSE(isOn());
}

TEST_F(Logind, lets_a_drop_in_hide_one_of_the_same_name_below_it) {
  write("/usr/lib/systemd/logind.conf.d/20-b.conf", "[Login]\nRemoveIPC=no\n");
  EXPECT_FALSE(isOn());
  write("/etc/systemd/logind.conf.d/20-b.conf", "");
  EXPECT_TRUE(isOn());
}

TEST(Elf, tells_word_size_and_build_id_or_nothing) {
  const std::string self = test_support::pathOfThisProgram();
  EXPECT_EQ(doctor::wordBitsOf(self), 8 * sizeof(void*));
  EXPECT_EQ(doctor::buildIdOf(self).size() % 2, 0U);
  EXPECT_EQ(doctor::wordBitsOf("/proc/self/status"), 0U);
  EXPECT_EQ(doctor::buildIdOf("/nonexistent"), "");
}

// Headers that lead anywhere.
TEST(Elf, of_garbage_is_read_unharmed) {
  char path[] = "/tmp/linkapp_elf_XXXXXX";
  const int fd = mkstemp(path);
  std::string bytes =
      "\x7f"
      "ELF";
  for (std::uint32_t i = 0; i < 2000; ++i) {
    bytes += static_cast<char>(i * 2654435761U >> 24);
  }
  for (const char kind : {'\1', '\2'}) {
    bytes[4] = kind;
    bytes[kind == 1 ? 42 : 54] = kind == 1 ? 32 : 56;  // size of a program header
    bytes[kind == 1 ? 43 : 55] = 0;
    ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(doctor::wordBitsOf(path), kind == 1 ? 32U : 64U);
    doctor::buildIdOf(path);
  }
  close(fd);
  unlink(path);
}

TEST_F(Checks, tell_an_own_umask_that_would_shut_processes_out) {
  addProcess(1000, 500);
  all.system.umask = 0022;
  for (ChannelProcess& process : all.system.processes) {
    process.groups = {0};
  }
  const auto isTold = [this] {
    const Findings findings = find();
    return std::any_of(findings.begin(), findings.end(), [](const doctor::Finding& finding) {
      return finding.check == "umask" && finding.level == Level::kNote;
    });
  };
  EXPECT_TRUE(isTold());
  all.system.umask = 0007;
  EXPECT_FALSE(isTold());
}

TEST_F(Checks, tell_settings_of_the_processes_and_own_ones_only_where_there_is_none) {
  all.system.settings = {"/own", "/own: Permission denied"};
  EXPECT_THAT(found(), HasSubstr("settings cannot be written; /own: Permission denied"));
  addProcess(1000).settings = doctor::SettingsFolder{"/a", ""};
  EXPECT_THAT(find(), IsEmpty());
  addProcess(1001).settings = doctor::SettingsFolder{"/b", "/b: Read-only file system"};
  EXPECT_THAT(found(), HasSubstr("settings cannot be written by 1001 (navi); /b: Read-only file system"));
}

class SettingsFolder : public Logind {
 public:
  ~SettingsFolder() override { unsetenv("VQ_SETTINGS_DIR"); }
  std::string problemOf(const std::string& folder) {
    setenv("VQ_SETTINGS_DIR", folder.c_str(), 1);
    return doctor::readSettingsFolder().problem;
  }
};

TEST_F(SettingsFolder, is_fine_where_it_is_or_can_be_made) {
  EXPECT_EQ(problemOf(root), "");
  EXPECT_EQ(problemOf(root + "/not/yet/there"), "");
  EXPECT_FALSE(std::filesystem::exists(root + "/not"));
}

TEST_F(SettingsFolder, of_a_process_is_that_of_its_environment_and_user) {
  using std::string_literals::operator""s;
  ChannelProcess process;
  process.user = 500;
  const auto folderOf = [&](const std::string& environment) {
    return doctor::readSettingsFolder(process, environment, root);
  };
  std::filesystem::create_directories(root + "/home/navi");
  EXPECT_EQ(folderOf("A=1\0HOME=/home/navi\0"s).path, "/home/navi/.local/state/vqframework");
  EXPECT_EQ(folderOf("HOME=/home/navi\0VQ_SETTINGS_DIR=/home\0"s).path, "/home");
  EXPECT_THAT(folderOf("XHOME=/home/navi\0"s).problem, HasSubstr("is set"));
  std::filesystem::permissions(root + "/home/navi", std::filesystem::perms(0755));
  EXPECT_EQ(folderOf("HOME=/home/navi\0"s).problem, "/home/navi: Permission denied");
  std::filesystem::permissions(root + "/home/navi", std::filesystem::perms(0777));
  EXPECT_EQ(folderOf("HOME=/home/navi\0"s).problem, "");
}

TEST_F(SettingsFolder, is_told_where_it_cannot_be_one) {
  write("/file", "");
  EXPECT_THAT(problemOf(root + "/file"), HasSubstr("Not a directory"));
  EXPECT_THAT(problemOf(root + "/file/below"), HasSubstr("Not a directory"));
  std::filesystem::create_directories(root + "/taken/BtSetting.ini");
  EXPECT_THAT(problemOf(root + "/taken"), HasSubstr("is no file"));
}

}  // namespace
