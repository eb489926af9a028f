// A test's own bus, simulated Bluetooth daemons and head-unit processes.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/child.h"
#include "tests/support/wait_until.h"

namespace bluez_test {

constexpr const char* kPhone = "00:AA:02:00:00:01";
constexpr const char* kOtherPhone = "00:AA:02:00:00:02";
constexpr const char* kUuid = "35de0f64-c263-4a4b-adb6-6b60500d1dbe";
constexpr const char* kOtherUuid = "85d24e4b-f7b4-462f-9bfd-0345ebd35ff6";

// A process with VQSBtApps and VQSBtManager; head_unit_role.cpp has its commands.
class HeadUnit : public test_support::Child {
 public:
  explicit HeadUnit(const std::string& role = "head_unit") : Child(role) {}

  // Whether the command's answer is "true".
  [[nodiscard]] bool does(const std::string& command);
  // Whether its answer becomes this.
  [[nodiscard]] bool comesTo(const std::string& command, const std::string& answer);
  std::size_t descriptors() const;
  std::size_t threads() const;
};

class BluezTest : public testing::Test {
 public:
  BluezTest();
  ~BluezTest() override;
  BluezTest(const BluezTest&) = delete;
  BluezTest& operator=(const BluezTest&) = delete;

  // The environment names the bus to all children from now on. `policy`: further rules of its configuration.
  void startBus(const std::string& policy = "");
  void killBus() { bus_->kill(); }
  void startSimulation(const std::vector<std::string>& arguments = {});

  test_support::Child& simulation() { return *simulation_; }
  // A command that answers "ok".
  void order(const std::string& command);
  // One phone with `service`, and the settings.
  void addPhone(const std::string& settings = "", const char* service = kUuid, const char* address = kPhone);
  [[nodiscard]] bool simulationComesTo(const std::string& command, const std::string& answer);
  // Whether the simulation has said this line, after those that were waited for before.
  [[nodiscard]] bool simulationSays(const std::string& line);

  // A head unit that has these phones in its list, and has opened the link to number 0.
  std::unique_ptr<HeadUnit> linkedHeadUnit(const std::string& devices = "[0 Phone 000f 1]");

 private:
  const std::string folder_;
  std::unique_ptr<test_support::Child> bus_;
  std::unique_ptr<test_support::Child> simulation_;
};

// With bus and simulation.
class SimulatedBluezTest : public BluezTest {
 public:
  SimulatedBluezTest() {
    startBus();
    startSimulation();
  }
};

std::string link(unsigned int device, const char* uuid, bool isUp);  // as a head unit says it

}  // namespace bluez_test
