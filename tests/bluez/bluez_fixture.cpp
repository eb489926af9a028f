#include "tests/bluez/bluez_fixture.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace bluez_test {
namespace {

std::string makeFolder() {
  std::string folder = "/dev/shm/bluez-test-XXXXXX";
  return mkdtemp(folder.data()) == nullptr ? "" : folder;
}

std::size_t entriesOf(pid_t pid, const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry :
       std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/" + folder)) {
    ++count;
  }
  return count;
}

}  // namespace

bool HeadUnit::does(const std::string& command) {
  const std::string got = ask(command);
  EXPECT_TRUE(got == "true" || got == "false") << command << ": " << got;
  return got == "true";
}

bool HeadUnit::comesTo(const std::string& command, const std::string& answer) {
  std::string got;
  const bool isReached = test_support::waitUntil([&] { return (got = ask(command)) == answer; });
  EXPECT_TRUE(isReached) << command << " stays at: " << got;
  return isReached;
}

std::size_t HeadUnit::descriptors() const {
  return entriesOf(pid(), "fd");
}

std::size_t HeadUnit::threads() const {
  return entriesOf(pid(), "task");
}

BluezTest::BluezTest() : folder_(makeFolder()) {
  setenv("VQ_SETTINGS_DIR", (folder_ + "/settings").c_str(), 1);
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + folder_ + "/bus").c_str(), 1);
}

BluezTest::~BluezTest() {
  simulation_.reset();
  bus_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void BluezTest::startBus(const std::string& policy) {
  std::ofstream(folder_ + "/bus.conf") << "<busconfig>\n<listen>unix:path=" << folder_
                                       << "/bus</listen>\n<auth>EXTERNAL</auth>\n<policy context=\"default\">\n"
                                          "<allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                                          "<allow eavesdrop=\"true\"/><allow own=\"*\"/>\n"
                                       << policy << "</policy>\n</busconfig>\n";
  bus_ = std::make_unique<test_support::Child>(
      "dbus_daemon",
      std::vector<std::string>{"--config-file=" + folder_ + "/bus.conf", "--nofork", "--print-address=1"});
  ASSERT_TRUE(bus_->nextLine().has_value()) << "dbus-daemon does not start";
}

void BluezTest::startSimulation(const std::vector<std::string>& arguments) {
  simulation_ = std::make_unique<test_support::Child>("simulation", arguments);
  ASSERT_TRUE(simulationSays("ready on " + std::string(getenv("DBUS_SYSTEM_BUS_ADDRESS"))));
}

void BluezTest::order(const std::string& command) {
  EXPECT_EQ(simulation_->ask(command), "ok") << command;
}

void BluezTest::addPhone(const std::string& settings, const char* service, const char* address) {
  order(std::string("phone ") + address + " services=" + service + " " + settings);
}

bool BluezTest::simulationComesTo(const std::string& command, const std::string& answer) {
  std::string got;
  const bool isReached = test_support::waitUntil([&] { return (got = simulation_->ask(command)) == answer; });
  EXPECT_TRUE(isReached) << command << " stays at: " << got;
  return isReached;
}

bool BluezTest::simulationSays(const std::string& line) {
  std::string heard;
  for (auto said = simulation_->nextLine(); said; said = simulation_->nextLine()) {
    if (*said == line) {
      return true;
    }
    heard += *said + "\n";
  }
  ADD_FAILURE() << "the simulation did not say \"" << line << "\" but\n" << heard;
  return false;
}

std::unique_ptr<HeadUnit> BluezTest::linkedHeadUnit(const std::string& devices) {
  auto headUnit = std::make_unique<HeadUnit>();
  EXPECT_TRUE(headUnit->comesTo("devices", devices));
  EXPECT_TRUE(headUnit->does(std::string("register ") + kUuid));
  EXPECT_TRUE(headUnit->does(std::string("connect 0 ") + kUuid));
  EXPECT_TRUE(headUnit->expect(link(0, kUuid, true)));
  return headUnit;
}

std::string link(unsigned int device, const char* uuid, bool isUp) {
  return "link " + std::to_string(device) + " " + uuid + (isUp ? " up" : " down");
}

}  // namespace bluez_test
