#include "tests/inspect/bench.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/wait_until.h"

namespace {

// The simulation says its address first, and answers each command with a line that begins with "= ".
class BlueZLines final : public loop::Process::Listener {
 public:
  void onOutput(const char* data, std::size_t size) override {
    lines_.add(data, size, [this](const std::string& line) {
      lines.push_back(line);
      return true;
    });
  }
  void onEnded(const loop::Ending& /*unused*/) override {}

  std::vector<std::string> lines;

 private:
  loop::Lines lines_{std::size_t{1024} * 1024};
};

}  // namespace

Environment::Environment(const std::string& name, const std::string& value) : name_(name) {
  const char* const before = getenv(name.c_str());
  wasSet_ = before != nullptr;
  before_ = wasSet_ ? before : "";
  setenv(name.c_str(), value.c_str(), 1);
}

Environment::~Environment() {
  if (wasSet_) {
    setenv(name_.c_str(), before_.c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

Bench::Bench() {
  char path[] = "/tmp/linkapp_bench_XXXXXX";
  folder_ = mkdtemp(path);
  environment_.push_back(std::make_unique<Environment>("VQ_SETTINGS_DIR", folder_ + "/settings"));
}

Bench::~Bench() {
  tools_.clear();
  children_.clear();
  blueZ_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

Ran Bench::linkapp(const std::string& command) {
  std::istringstream stream(command);
  Arguments words = {LINKAPP_TOOL};
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  if (words.at(1) == "doctor" && !hasBluetooth_ && command.find("--skip") == std::string::npos) {
    words.insert(words.end(), {"--skip", "bluetooth"});
  }
  if (words.at(1) == "doctor" && !root.empty()) {
    words.insert(words.end(), {"--root", root});
  }
  return runProgram(loop_, signals_, words);
}

std::string Bench::textOf(const Ran& ran) const {
  std::string text;
  for (const std::string& line : ran.lines) {
    text += line + "\n";
  }
  return text;
}

ToolProcess& Bench::phone(const Arguments& commands) {
  Arguments arguments = {"phone", "--json"};
  for (const std::string& command : commands) {
    arguments.insert(arguments.end(), {"--do", command});
  }
  tools_.push_back(std::make_unique<ToolProcess>(loop_, signals_, arguments));
  for (std::size_t i = 0; i < commands.size(); ++i) {  // it is ready when it has obeyed
    EXPECT_TRUE(tools_.back()->await({R"("reply":")", R"("ok":true)"}));
  }
  device = tools_.back().get();
  return *device;
}

ToolProcess& Bench::app(const std::string& name, const Arguments& more) {
  Arguments arguments = {"app", "--json", "--commands", "--name", name};
  arguments.insert(arguments.end(), more.begin(), more.end());
  tools_.push_back(std::make_unique<ToolProcess>(loop_, signals_, arguments));
  EXPECT_TRUE(tools_.back()->await({R"("event":"ready")"}));
  return *tools_.back();
}

test_support::Child& Bench::child(const std::string& role, const Arguments& arguments) {
  children_.push_back(std::make_unique<test_support::Child>(role, arguments));
  EXPECT_TRUE(children_.back()->expect("ready"));
  return *children_.back();
}

void Bench::startSession() {
  phone();
  navi = &app("navi", {"--launch"});
  ASSERT_TRUE(navi->await({R"("event":"onDeviceStatus")", R"("usb.status":2)"}));
  ASSERT_NO_FATAL_FAILURE(sendAndHear());
}

void Bench::sendAndHear() {
  navi->tell("send hello");
  ASSERT_TRUE(navi->await({R"("event":"onReceivedMsg")"}));
}

void Bench::startBlueZ() {
#ifdef LINKAPP_BLUEZ_SIM
  auto listener = std::make_unique<BlueZLines>();
  BlueZLines* const lines = listener.get();
  blueZListener_ = std::move(listener);
  blueZ_ = std::make_unique<loop::Process>(
      loop_, signals_, loop::Process::Start{{LINKAPP_BLUEZ_SIM, "--own-bus", "--quiet"}, {}}, *blueZListener_);
  std::string address;
  ASSERT_TRUE(loop_.runUntil(
      [&] {
        for (const std::string& line : lines->lines) {
          const std::size_t at = line.find("unix:");
          address = at == std::string::npos ? address : line.substr(at);
        }
        return !address.empty();
      },
      patience()));
  environment_.push_back(std::make_unique<Environment>("DBUS_SYSTEM_BUS_ADDRESS", address));
  hasBluetooth_ = true;
#else
  FAIL() << "this build has no simulated BlueZ";
#endif
}

void Bench::tellBlueZ(const std::string& command) {
  auto& lines = static_cast<BlueZLines&>(*blueZListener_).lines;
  const std::size_t before = lines.size();
  blueZ_->write(command + "\n");
  ASSERT_TRUE(loop_.runUntil(
      [&] {
        for (std::size_t i = before; i < lines.size(); ++i) {
          if (lines[i].compare(0, 2, "= ") == 0) {
            return true;
          }
        }
        return false;
      },
      patience()))
      << command;
}

std::string Bench::makeFile(const std::string& name, const std::string& content) {
  std::string path = folder_ + "/" + name;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << content;
  return path;
}
