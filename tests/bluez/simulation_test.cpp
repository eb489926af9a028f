// The simulation itself, where people meet it: its command line, its console, its D-Bus interface.
#include <stdlib.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using test_support::Child;
using SimulationTest = SimulatedBluezTest;

// A program on the same bus.
class BusUser {
 public:
  BusUser() {
    sd_bus_new(&bus_);
    sd_bus_set_address(bus_, getenv("DBUS_SYSTEM_BUS_ADDRESS"));
    sd_bus_set_bus_client(bus_, 1);
    EXPECT_GE(sd_bus_start(bus_), 0);
  }
  ~BusUser() { sd_bus_flush_close_unref(bus_); }
  BusUser(const BusUser&) = delete;
  BusUser& operator=(const BusUser&) = delete;

  // The answer, or "NAME: TEXT" of the error.
  std::string ask(const std::string& command) {
    sd_bus_error error = {nullptr, nullptr, 0};
    sd_bus_message* reply = nullptr;
    std::string answer;
    if (sd_bus_call_method(bus_, "org.linkapp.BluezSim", "/org/linkapp/BluezSim", "org.linkapp.BluezSim1", "Do", &error,
                           &reply, "s", command.c_str()) < 0) {
      answer = std::string(error.name) + ": " + error.message;
    } else {
      const char* text = "";
      sd_bus_message_read_basic(reply, 's', &text);
      answer = text;
    }
    sd_bus_message_unref(reply);
    sd_bus_error_free(&error);
    return answer;
  }

  // The error of a call of ProfileManager1, or "done".
  std::string profileManager(const char* method, const char* path, const char* uuid) {
    sd_bus_error error = {nullptr, nullptr, 0};
    const int result = uuid == nullptr
                           ? sd_bus_call_method(bus_, "org.bluez", "/org/bluez", "org.bluez.ProfileManager1", method,
                                                &error, nullptr, "o", path)
                           : sd_bus_call_method(bus_, "org.bluez", "/org/bluez", "org.bluez.ProfileManager1", method,
                                                &error, nullptr, "osa{sv}", path, uuid, 0);
    std::string text = result >= 0 ? "done" : std::string(error.name) + ": " + error.message;
    sd_bus_error_free(&error);
    return text;
  }

 private:
  sd_bus* bus_ = nullptr;
};

TEST_F(SimulationTest, ObeysOverDBusAsOnItsInput) {
  BusUser user;
  EXPECT_EQ(user.ask("phones"), "none");
  EXPECT_EQ(user.ask(std::string("phone ") + kPhone), "ok");
  EXPECT_EQ(user.ask("phones"), kPhone);
  EXPECT_EQ(simulation().ask("phones"), kPhone);
}

TEST_F(SimulationTest, SaysWhatIsWrongWithACommand) {
  for (const auto& [command, error] : std::initializer_list<std::pair<const char*, const char*>>{
           {"nonsense", "error: there is no command 'nonsense'; see help"},
           {"phone", "error: usage: phone ADDRESS [KEY=VALUE...]"},
           {"phone here", "error: 'here' is no address like 00:AA:02:00:00:01"},
           {"phone 00:AA:02:00:00:01 colour=red", "error: there is no setting 'colour'; see help"},
           {"phone 00:AA:02:00:00:01 mode=sing", "error: 'sing' is no mode; there are echo, sink and stall"},
           {"drop 00:AA:02:00:00:01", "error: there is no phone 00:AA:02:00:00:01"},
           {"phone 00:AA:02:00:00:01 name=\"open",
            "error: column 30: the quotes that open here do not end on this line"},
           {"phone \"\\q\"", R"(error: column 8: unknown escape; expected \" \\ \n \t \r or \xHH)"},
           {"adapter on hci7", "error: there is no adapter hci7"}}) {
    EXPECT_EQ(simulation().ask(command), error);
  }
  BusUser user;
  EXPECT_EQ(user.ask("nonsense"), "org.linkapp.BluezSim1.Error: there is no command 'nonsense'; see help");
}

TEST_F(SimulationTest, AnswersRegistrationsAsBluetoothdDoes) {
  BusUser user;
  BusUser other;
  const char* const upper = "35DE0F64-C263-4A4B-ADB6-6B60500D1DBE";
  EXPECT_EQ(user.profileManager("RegisterProfile", "/a", "zzz"),
            "org.bluez.Error.InvalidArguments: Invalid arguments in method call");
  EXPECT_EQ(user.profileManager("RegisterProfile", "/a", kUuid), "done");
  EXPECT_EQ(user.profileManager("RegisterProfile", "/a", kUuid), "org.bluez.Error.AlreadyExists: Already Exists");
  EXPECT_EQ(other.profileManager("RegisterProfile", "/a", kUuid),
            "org.bluez.Error.NotPermitted: UUID already registered");
  EXPECT_EQ(user.profileManager("RegisterProfile", "/b", upper), "done") << "it compares with regard to case";
  EXPECT_EQ(other.profileManager("UnregisterProfile", "/a", nullptr), "org.bluez.Error.DoesNotExist: Does Not Exist");
  EXPECT_EQ(user.profileManager("UnregisterProfile", "/a", nullptr), "done");
}

TEST_F(SimulationTest, APhoneCannotReachAProfileWithoutAChannel) {
  addPhone();
  BusUser user;
  EXPECT_EQ(user.profileManager("RegisterProfile", "/a", kUuid), "done");
  EXPECT_EQ(simulation().ask(std::string("connect ") + kPhone + " " + kUuid),
            "error: nothing listens: the profile was registered without Channel, or as a client");
}

TEST_F(SimulationTest, ASecondOneOnTheSameBusSaysWhyItCannotBe) {
  Child sut("simulation");
  EXPECT_EQ(sut.wait(), 1);
  EXPECT_TRUE(sut.waitForLog("the name org.linkapp.BluezSim is taken on this bus"));
}

TEST_F(SimulationTest, EndsWithItsInput) {
  EXPECT_EQ(simulation().finish(), 0);
}

// Many times as long as what is read at once; the last line has no line break.
TEST_F(BluezTest, TheSimulationObeysAFileToItsEnd) {
  startBus();
  const auto file = std::filesystem::path(getenv("VQ_SETTINGS_DIR")).replace_filename("commands");
  std::ofstream commands(file);
  commands << "phone " << kPhone << "\n";
  for (int i = 0; i < 1000; ++i) {
    commands << "# a line that says nothing\n";
  }
  commands << "phones" << std::flush;
  Child sut("simulation_of_a_file", {file});
  EXPECT_TRUE(sut.expectAnswer("ok"));
  EXPECT_TRUE(sut.expectAnswer(kPhone));
  EXPECT_EQ(sut.wait(), 0);
}

// The next line of this kind, without its time.
std::string nextOf(Child& simulation, const std::string& beginning) {
  for (auto line = simulation.nextLine(); line; line = simulation.nextLine()) {
    if (line->rfind(beginning, 0) == 0) {
      const std::size_t begin = std::min(line->find("\"time\":"), line->size());
      const std::size_t end = std::min(line->find(',', begin), line->size() - 1);
      return line->substr(0, begin) + line->substr(end + 1);
    }
  }
  return "";
}

TEST_F(BluezTest, TheSimulationTalksJsonWhereItIsAskedTo) {
  startBus();
  Child sut("simulation", {"--json"});
  EXPECT_EQ(nextOf(sut, R"({"event":"ready")"),
            std::string(R"({"event":"ready","bus":")") + getenv("DBUS_SYSTEM_BUS_ADDRESS") + "\"}");
  sut.tell(std::string("phone ") + kPhone + " \"name=A \\\\ B\" hands-free=yes");
  EXPECT_EQ(nextOf(sut, R"({"reply":)"), R"({"reply":"phone","ok":true,"text":"ok"})");
  sut.tell(std::string("hands-free ") + kPhone + " up");
  EXPECT_EQ(nextOf(sut, R"({"event":"phone")"), R"({"event":"phone","address":"00:AA:02:00:00:01","up":true,)"
                                                R"("text":"phone 00:AA:02:00:00:01 connected"})");
  EXPECT_EQ(nextOf(sut, R"({"event":"hands-free")"), R"({"event":"hands-free","address":"00:AA:02:00:00:01","up":true,)"
                                                     R"("text":"hands-free 00:AA:02:00:00:01 up"})");
  sut.tell("state");
  EXPECT_EQ(nextOf(sut, R"({"reply":"state")").substr(0, 77),
            R"({"reply":"state","ok":true,"phones":"1","connected":"1","links":"0","hands-fr)");
  sut.tell("bluetoothd stop");
  EXPECT_EQ(nextOf(sut, R"({"event":"bluetoothd")"), R"({"event":"bluetoothd","up":false,"text":"bluetoothd ended"})");
  sut.tell("nonsense");
  EXPECT_EQ(nextOf(sut, R"({"reply":"nonsense")"),
            R"({"reply":"nonsense","ok":false,"error":"there is no command 'nonsense'; see help"})");
  EXPECT_EQ(sut.finish(), 0);
}

bool canBeReached(const std::string& address) {
  sd_bus* bus = nullptr;
  sd_bus_new(&bus);
  sd_bus_set_address(bus, address.c_str());
  const bool isReached = sd_bus_start(bus) >= 0;
  sd_bus_close_unref(bus);
  return isReached;
}

// Empty where it ends before it has said it.
std::string ownBusOf(Child& simulation) {
  const std::string ready = "ready on ";
  for (auto said = simulation.nextLine(); said; said = simulation.nextLine()) {
    if (said->rfind(ready, 0) == 0) {
      return said->substr(ready.size());
    }
  }
  return "";
}

TEST_F(BluezTest, TheSimulationStartsABusOfItsOwn) {
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  Child sut("simulation", {"--own-bus"});
  const std::string bus = ownBusOf(sut);
  ASSERT_NE(bus, "");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.c_str(), 1);
  EXPECT_EQ(BusUser().ask("phones"), "none");
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(BluezTest, ASimulationThatIsKilledLeavesNeitherItsBusNorFiles) {
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  const auto folder = std::filesystem::path(getenv("VQ_SETTINGS_DIR")).replace_filename("temporary");
  std::filesystem::create_directory(folder);
  setenv("TMPDIR", folder.c_str(), 1);
  Child sut("simulation", {"--own-bus"});
  const std::string bus = ownBusOf(sut);
  ASSERT_NE(bus, "");
  EXPECT_TRUE(canBeReached(bus));
  sut.kill();
  EXPECT_TRUE(test_support::waitUntil([&] { return !canBeReached(bus); }));
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  unsetenv("TMPDIR");
}

TEST_F(BluezTest, TheSimulationSaysThatItHasNoBus) {
  {
    Child sut("simulation");
    EXPECT_EQ(sut.wait(), 1);
    EXPECT_TRUE(sut.waitForLog("cannot reach a bus at 'unix:path="));
  }
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  Child sut("simulation");
  EXPECT_EQ(sut.wait(), 2);
  EXPECT_TRUE(sut.waitForLog("no bus: give --own-bus, --bus=ADDRESS or DBUS_SYSTEM_BUS_ADDRESS; see --help"));
}

TEST_F(BluezTest, TheSimulationRefusesASizeThatIsNone) {
  for (const char* const size : {"", "0", "-1", "12k", "99999999999"}) {
    Child sut("simulation", {std::string("--send-buffer=") + size});
    EXPECT_EQ(sut.wait(), 2) << size;
    EXPECT_TRUE(sut.waitForLog(std::string("'") + size + "' is no size of a send buffer"));
  }
}

}  // namespace
}  // namespace bluez_test
