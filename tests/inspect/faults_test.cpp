// Each fault of the table is made on real processes, and found in the table's words.
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

#include "doctor/elf.h"
#include "inspect/snapshot.h"
#include "tests/access/users.h"
#include "tests/inspect/bench.h"
#include "tests/inspect/fault_table.h"
#include "tests/support/wait_until.h"

namespace {

using fault_table::Fault;
using test_support::Child;
using test_support::waitUntil;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kFromHU = "iOSAppMem_Device1_From_HU";
constexpr const char* kFromDevice = "iOSAppMem_Device1_From_Device";
constexpr const char* kLog = "VQSharedMemNotifier.log";
constexpr std::size_t kWordSizeOffset = 8;
constexpr std::size_t kVersionOffset = 4;

class FaultTable : public Bench, public testing::WithParamInterface<Fault> {
 public:
  ~FaultTable() override {
    if (isMounted) {
      EXPECT_EQ(umount2("/dev/shm", MNT_DETACH), 0);
    }
  }

  // The words must come from the fault: without it they are not there.
  void isHealthy() {
    const Ran ran = linkapp(GetParam().command);
    ASSERT_THAT(textOf(ran), Not(HasSubstr(GetParam().words))) << "before the fault was made";
  }
  void startHealthySession() {
    ASSERT_NO_FATAL_FAILURE(startSession());
    ASSERT_NO_FATAL_FAILURE(isHealthy());
  }
  // Server and client of the product, told step by step.
  void startServerAndClient() {
    server = &child("server");
    client = &child("client", {"navi", "com.example.navi"});
    ASSERT_EQ(server->ask("connect 0 1"), "ok");
    ASSERT_TRUE(waitUntil([this] { return client->ask("connected") == "1"; }));
    ASSERT_EQ(client->ask("launch 0"), "1");
  }
  bool canSwitch() {
    const access_tests::Switching switching = access_tests::trySwitching();
    skipReason = switching.isRefused ? "this machine does not let the test become other users: " + switching.error : "";
    EXPECT_TRUE(switching.isRefused || switching.error.empty()) << switching.error;
    return !switching.isRefused;
  }
  void kill(ToolProcess& process) {
    process.signal(SIGKILL);
    ASSERT_EQ(process.awaitEnd(), 128 + SIGKILL);
  }
  void end(ToolProcess& process) {
    process.tell("quit");
    ASSERT_EQ(process.awaitEnd(), 0);
  }

  std::string skipReason;
  bool isMounted = false;
  Child* server = nullptr;
  Child* client = nullptr;
  std::function<std::string()> asOther;  // the doctor as another user
};

using Injection = void (*)(FaultTable& bench);

void remove(FaultTable& bench, const char* name) {
  ASSERT_NO_FATAL_FAILURE(bench.startHealthySession());
  ASSERT_TRUE(test_support::removeShm(name));
}

void resize(const char* name, off_t size) {
  ASSERT_EQ(truncate(test_support::shmFile(name).c_str(), size), 0);
}

void startAndEndTwentyApps(FaultTable& bench) {
  for (int i = 0; i < 20; ++i) {
    bench.end(bench.app("early" + std::to_string(i)));
  }
}

// A stopped process takes what is under way until the kernel has come to stopping it.
void stopNavi(FaultTable& bench) {
  ASSERT_NO_FATAL_FAILURE(bench.startHealthySession());
  bench.navi->signal(SIGSTOP);
  ASSERT_TRUE(waitUntil([] {
    const auto receivers = inspect::takeSnapshot().receivers;
    return std::any_of(receivers.begin(), receivers.end(),
                       [](const inspect::ReceiverView& receiver) { return receiver.process.isStopped(); });
  }));
}

void stopNaviAndFloodTheLog(FaultTable& bench) {
  ASSERT_NO_FATAL_FAILURE(stopNavi(bench));
  Child& poster = bench.child("post", {"9000", "4"});
  poster.tell("go");
  ASSERT_TRUE(poster.expect("posted"));
}

void makeUnreadable(FaultTable& bench) {
  if (!bench.canSwitch()) {
    return;
  }
  bench.child("as_user", access_tests::as(access_tests::kOwner, 0077, "listen", {"4"}));
  bench.asOther = [] {
    Child stranger("as_user", access_tests::as(access_tests::kStranger, 0022, "ask_doctor"));
    std::string text;
    for (auto line = stranger.nextLine(); line && *line != "that is all"; line = stranger.nextLine()) {
      text += *line + "\n";
    }
    return text;
  };
}

void closeToAProcess(FaultTable& bench) {
  if (!bench.canSwitch()) {
    return;
  }
  bench.child("as_user", access_tests::as(access_tests::kOwner, 0007, "listen", {"4"}));
  bench.child("as_user", access_tests::as(access_tests::kMember, 0007, "listen", {"4"}));
  ASSERT_TRUE(waitUntil([] { return inspect::takeSnapshot().receivers.size() == 2; }));
  ASSERT_NO_FATAL_FAILURE(bench.isHealthy());
  ASSERT_EQ(chmod(test_support::shmFile(kLog).c_str(), 0600), 0);
}

void runWithAClosedUmask(FaultTable& bench) {
  if (!bench.canSwitch()) {
    return;
  }
  bench.child("as_user", access_tests::as(access_tests::kMember, 0007, "listen", {"4"}));
  ASSERT_NO_FATAL_FAILURE(bench.isHealthy());
  bench.child("as_user", access_tests::as(access_tests::kOwner, 0077, "listen", {"4"}));
}

void fillSharedMemory(FaultTable& bench) {
  if (mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=8m,mode=1777") != 0) {
    bench.skipReason = std::string("no file system of its own for this test: ") + strerror(errno);
    return;
  }
  bench.isMounted = true;
  ASSERT_NO_FATAL_FAILURE(bench.startHealthySession());
  ASSERT_TRUE(test_support::removeShm(kFromHU));
  struct statvfs status = {};
  ASSERT_EQ(statvfs("/dev/shm", &status), 0);
  const int fd = open(test_support::shmFile("filler").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_EQ(posix_fallocate(fd, 0, static_cast<off_t>(status.f_bavail * status.f_frsize)), 0);
  close(fd);
}

// The library of this build under another build id.
void runWithAnotherLibrary(FaultTable& bench) {
  ASSERT_NO_FATAL_FAILURE(bench.startHealthySession());
  const std::string library = LINKAPP_FRAMEWORK_LIBRARY;
  const std::string id = doctor::buildIdOf(library);
  if (id.empty()) {
    bench.skipReason = "this build gives its libraries no build id";
    return;
  }
  std::ifstream file(library, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::string raw;
  for (std::size_t i = 0; i < id.size(); i += 2) {
    raw += static_cast<char>(std::stoi(id.substr(i, 2), nullptr, 16));
  }
  const std::size_t at = bytes.find(raw);
  ASSERT_NE(at, std::string::npos);
  bytes[at] = static_cast<char>(bytes[at] ^ 1);
  bench.makeFile("other/" + library.substr(library.rfind('/') + 1), bytes);
  const Environment path("LD_LIBRARY_PATH", bench.folder() + "/other");
  bench.app("music");
}

void logindRemoves(FaultTable& bench) {
  ASSERT_NO_FATAL_FAILURE(bench.startHealthySession());
  bench.root = bench.folder() + "/image";
  std::filesystem::create_directories(bench.root + "/run/systemd/seats");
  bench.makeFile("image/etc/systemd/logind.conf", "[Login]\nRemoveIPC=no\n");
  ASSERT_NO_FATAL_FAILURE(bench.isHealthy());
  bench.makeFile("image/usr/lib/systemd/logind.conf.d/50-image.conf", "[Login]\nRemoveIPC=yes\n");
  if (chown(test_support::shmFile(kFromHU).c_str(), access_tests::kOwner.uid, access_tests::kSharedGroup) != 0) {
    bench.skipReason = std::string("this machine does not let the test give objects away: ") + strerror(errno);
  }
}

void startBlueZ(FaultTable& bench) {
  ASSERT_NO_FATAL_FAILURE(bench.startBlueZ());
  if (!bench.HasFatalFailure()) {
    bench.isHealthy();
  }
}

const std::map<std::string, Injection>& injections() {  // long: a table
  static const auto* const all = new std::map<std::string, Injection>{
      {"no_channel", [](FaultTable&) {}},
      {"segment_missing", [](FaultTable& bench) { remove(bench, kFromHU); }},
      {"lock_missing", [](FaultTable& bench) { remove(bench, "iOSAppMem_Device1_From_HU.lock"); }},
      {"segment_too_short",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.end(*bench.navi);
         bench.end(*bench.device);
         resize(kFromDevice, 1000);
       }},
      {"segment_too_long",
       [](FaultTable& bench) {
         bench.startHealthySession();
         resize(kFromDevice, 200000);
       }},
      {"unreadable", &makeUnreadable},
      {"closed_to_a_process", &closeToAProcess},
      {"wrong_mode",
       [](FaultTable& bench) {
         bench.startHealthySession();
         chmod(test_support::shmFile(kFromHU).c_str(), 0666);
       }},
      {"other_mode",
       [](FaultTable& bench) {
         bench.startHealthySession();
         chmod(test_support::shmFile(kFromHU).c_str(), 0600);
       }},
      {"umask", &runWithAClosedUmask},
      {"shm_full", &fillSharedMemory},
      {"table_full", &startAndEndTwentyApps},
      {"came_after_the_table_was_full",
       [](FaultTable& bench) {
         bench.isHealthy();
         startAndEndTwentyApps(bench);
         bench.app("late");
       }},
      {"dead_app",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.kill(*bench.navi);
       }},
      {"asked_about_a_dead_app",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.kill(*bench.navi);
       }},
      {"dead_holder",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.child("hold", {kFromHU}).kill();
       }},
      {"dead_in_the_middle_of_clearing",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.end(*bench.navi);
         bench.end(*bench.device);
         bench.child("clear_half").kill();
       }},
      {"stopped_holder",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.child("hold", {kFromHU}).stop();
       }},
      {"sender_waits_for_a_stopped_holder",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.child("hold", {kFromHU}).stop();
       }},
      {"receiver_stopped", &stopNavi},
      {"receiver_killed",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.kill(*bench.navi);
       }},
      {"ring_lapped",
       [](FaultTable& bench) {
         ASSERT_NO_FATAL_FAILURE(stopNavi(bench));
         bench.device->tell("burst com.example.navi 60");
       }},
      {"device_side_stopped",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.device->signal(SIGSTOP);
       }},
      {"log_lapped", &stopNaviAndFloodTheLog},
      {"messages_lost",
       [](FaultTable& bench) {
         stopNaviAndFloodTheLog(bench);
         bench.navi->signal(SIGCONT);
       }},
      {"log_of_another_version",
       [](FaultTable& bench) {
         bench.startHealthySession();
         test_support::pokeShmWord(kLog, kVersionOffset, 2);
       }},
      {"log_of_another_word_size",
       [](FaultTable& bench) {
         bench.startHealthySession();
         test_support::pokeShmWord(kLog, kWordSizeOffset, 4);
       }},
      {"lock_of_garbage",
       [](FaultTable& bench) {
         bench.startHealthySession();
         test_support::pokeShmWord("iOSAppMem_Device1_From_HU.lock", 0, 0x12345678);
       }},
      {"removed_object_still_mapped",
       [](FaultTable& bench) {
         remove(bench, kFromHU);
         bench.app("music");
       }},
      {"sends_into_a_removed_ring", [](FaultTable& bench) { remove(bench, kFromHU); }},
      {"mixed_libraries", &runWithAnotherLibrary},
      {"two_device_sides",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.phone();
       }},
      {"device_side_dead",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.kill(*bench.device);
       }},
      {"settings_not_writable",
       [](FaultTable& bench) {
         bench.startHealthySession();
         const Environment folder("VQ_SETTINGS_DIR", bench.makeFile("file", "") + "/settings");
         bench.app("music");
       }},
      {"remove_ipc", &logindRemoves},
      {"no_bus",
       [](FaultTable& bench) {
         startBlueZ(bench);
         setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
       }},
      {"no_bluetoothd",
       [](FaultTable& bench) {
         startBlueZ(bench);
         bench.tellBlueZ("bluetoothd stop");
       }},
      {"no_adapter",
       [](FaultTable& bench) {
         startBlueZ(bench);
         bench.tellBlueZ("adapter remove hci0");
       }},
      {"adapter_off",
       [](FaultTable& bench) {
         startBlueZ(bench);
         bench.tellBlueZ("adapter off hci0");
       }},
      {"bus_policy",
       [](FaultTable& bench) {
         startBlueZ(bench);
         bench.tellBlueZ("fail GetManagedObjects org.freedesktop.DBus.Error.AccessDenied refused 1000");
       }},
      {"spp_phone_not_paired",
       [](FaultTable& bench) {
         startBlueZ(bench);
         bench.tellBlueZ("phone 00:AA:02:00:00:01 paired=no");
       }},
      {"spp_phone_away",
       [](FaultTable& bench) {
         startBlueZ(bench);
         bench.tellBlueZ("phone 00:AA:02:00:00:01");
       }},
      {"device_not_connected",
       [](FaultTable& bench) {
         bench.phone({"state"});
         bench.app("navi", {"--launch"});
       }},
      {"device_unknown", [](FaultTable& bench) { bench.startSession(); }},
      {"never_announced", [](FaultTable& bench) { bench.app("navi", {"--launch"}); }},
      {"not_announced_again",
       [](FaultTable& bench) {
         Child& server = bench.child("server");
         ASSERT_EQ(server.ask("connect 0 1"), "ok");
         bench.child("client", {"navi", "com.example.navi"});
       }},
      {"not_launched",
       [](FaultTable& bench) {
         bench.phone();
         bench.app("navi");
       }},
      {"no_launch_string",
       [](FaultTable& bench) {
         bench.phone();
         bench.app("navi", {"--launch", "--launch-string", ""});
       }},
      {"no_session",
       [](FaultTable& bench) {
         bench.phone({"launches refuse", "plug usb"});
         bench.app("navi", {"--launch"});
       }},
      {"foreign_app_id",
       [](FaultTable& bench) {
         bench.startServerAndClient();
         ASSERT_EQ(bench.server->ask("open 7 100"), "ok");
       }},
      {"data_for_a_foreign_app_id",
       [](FaultTable& bench) {
         bench.startServerAndClient();
         bench.child("client", {"music", "com.example.music"});
         ASSERT_TRUE(waitUntil([&] { return bench.server->ask("launch-string-of 2") == "com.example.music"; }));
         ASSERT_EQ(bench.server->ask("open 1 100"), "ok");
         ASSERT_EQ(bench.server->ask("open 2 101"), "ok");
         ASSERT_EQ(bench.server->ask("data 101 10 1"), "ok");
       }},
      {"session_gone_with_the_link",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.device->tell("unplug");
       }},
      {"no_result",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.device->tell("results none");
         ASSERT_NO_FATAL_FAILURE(bench.sendAndHear());
       }},
      {"failed_result",
       [](FaultTable& bench) {
         bench.startHealthySession();
         bench.device->tell("results failure");
         ASSERT_TRUE(bench.device->await({R"("reply":"results")"}));
         bench.navi->tell("send again");
         ASSERT_TRUE(bench.navi->await({R"("event":"onSendResult")", R"("failed":true)"}));
       }},
      {"nothing_from_the_phone",
       [](FaultTable& bench) {
         bench.phone({"app-sink *", "plug usb"});
         ToolProcess& navi = bench.app("navi", {"--launch"});
         ASSERT_TRUE(navi.await({R"("event":"onDeviceStatus")", R"("usb.status":2)"}));
       }},
  };
  return *all;
}

TEST_P(FaultTable, is_found_by_its_command_in_its_words) {
  const Fault& fault = GetParam();
  const std::string words = fault.words;
  if (fault.needsBlueZ && !LINKAPP_HAS_BLUEZ) {
    GTEST_SKIP() << "this build has no D-Bus";
  }
  const auto injection = injections().find(fault.test);
  ASSERT_NE(injection, injections().end());
  injection->second(*this);
  if (HasFailure()) {
    return;
  }
  if (!skipReason.empty()) {
    GTEST_SKIP() << skipReason;
  }
  std::string text;
  std::optional<int> code;
  const bool isFound = waitUntil([&] {
    if (asOther) {
      text = asOther();
      code = 1;
    } else {
      const Ran ran = linkapp(fault.command);
      text = textOf(ran);
      code = ran.code;
    }
    return text.find(words) != std::string::npos;
  });
  EXPECT_TRUE(isFound) << text;
  EXPECT_EQ(code, fault.isNote ? 0 : 1) << text;
}

INSTANTIATE_TEST_SUITE_P(Each, FaultTable, testing::ValuesIn(fault_table::faults()),
                         [](const auto& row) { return std::string(row.param.test); });

TEST(FaultTableItself, has_at_least_twenty_rows_and_a_test_for_each) {
  EXPECT_GE(fault_table::faults().size(), 20U);
  for (const auto& injection : injections()) {
    EXPECT_TRUE(std::any_of(fault_table::faults().begin(), fault_table::faults().end(), [&](const Fault& fault) {
      return injection.first == fault.test;
    })) << injection.first;
  }
}

class Healthy : public Bench {};

TEST_F(Healthy, channel_has_no_fault_for_doctor_and_why) {
#ifdef LINKAPP_BLUEZ_SIM
  ASSERT_NO_FATAL_FAILURE(startBlueZ());
#endif
  ASSERT_NO_FATAL_FAILURE(startSession());
  ToolProcess& music = app("music", {"--launch"});
  ASSERT_TRUE(music.await({R"("event":"onDeviceStatus")", R"("usb.status":2)"}));
  music.tell("send hello");
  ASSERT_TRUE(music.await({R"("event":"onReceivedMsg")"}));
  const Ran doctor = linkapp("doctor");
  EXPECT_EQ(doctor.code, 0);
  EXPECT_EQ(doctor.lines.at(0), "linkapp doctor  14 checks, 3 processes: nothing wrong");
  EXPECT_THAT(textOf(doctor), Not(HasSubstr("proof")));
  for (const char* const question : {"launch navi", "message navi", "launch music", "message music", "send 1"}) {
    const Ran why = linkapp("why " + std::string(question));
    EXPECT_EQ(why.code, 0) << textOf(why);
    EXPECT_THAT(textOf(why), Not(HasSubstr("  NO  ")));
  }
}

TEST_F(Healthy, channel_under_traffic_has_no_fault_for_doctor) {
  phone({"plug usb", "events off"});
  ToolProcess& traffic = app("navi", {"--launch", "--quiet", "--do", "burst 1000000 size 100"});
  ASSERT_TRUE(waitUntil([] { return inspect::takeSnapshot().state.ringMessages[1] > 500; }));
  for (int i = 0; i < 10; ++i) {
    const Ran ran = linkapp("doctor");
    EXPECT_EQ(ran.code, 0) << textOf(ran);
  }
  traffic.signal(SIGKILL);
}

TEST_F(Healthy, channel_under_traffic_has_nothing_in_the_way_for_why) {
  phone({"plug usb", "events off"});
  ToolProcess& traffic = app("navi", {"--launch", "--quiet", "--do", "burst 1000000 size 100"});
  ASSERT_TRUE(waitUntil([] { return inspect::takeSnapshot().state.ringMessages[1] > 500; }));
  for (int i = 0; i < 10; ++i) {
    const Ran ran = linkapp("why message navi");
    EXPECT_EQ(ran.code, 0) << textOf(ran);
  }
  traffic.signal(SIGKILL);
}

}  // namespace
