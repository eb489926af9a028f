// A channel of real processes on which one thing goes wrong, and the tool that is asked about it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/inspect/inspect_fixture.h"
#include "tests/support/child.h"
#include "tests/support/interruption.h"
#include "tests/tool/tool_process.h"

// An environment variable as long as it lives.
class Environment {
 public:
  Environment(const std::string& name, const std::string& value);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const std::string name_;
  std::string before_;
  bool wasSet_ = false;
};

class Bench : public InspectTest {
 public:
  using Arguments = std::vector<std::string>;

  Bench();
  ~Bench() override;

  // `linkapp` to its end; Bluetooth is left out by the doctor where the test has none.
  Ran linkapp(const std::string& command);
  std::string textOf(const Ran& ran) const;

  // Parts of the channel. They end with the bench.
  ToolProcess& phone(const Arguments& commands = {"plug usb"});
  ToolProcess& app(const std::string& name, const Arguments& more = {});
  test_support::Child& child(const std::string& role, const Arguments& arguments = {});
  // A phone, and `navi` with an open session that has got one message back.
  void startSession();
  void sendAndHear();

  // A BlueZ of its own with one adapter, from now on.
  void startBlueZ();
  void tellBlueZ(const std::string& command);

  // A folder that goes with the bench.
  const std::string& folder() const { return folder_; }
  std::string makeFile(const std::string& name, const std::string& content);

  ToolProcess* navi = nullptr;
  ToolProcess* device = nullptr;
  std::string root;  // for the doctor's --root

 private:
  std::string folder_;
  std::vector<std::unique_ptr<Environment>> environment_;
  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  std::vector<std::unique_ptr<ToolProcess>> tools_;
  std::vector<std::unique_ptr<test_support::Child>> children_;
  std::unique_ptr<loop::Process::Listener> blueZListener_;
  std::unique_ptr<loop::Process> blueZ_;
  bool hasBluetooth_ = false;
};
