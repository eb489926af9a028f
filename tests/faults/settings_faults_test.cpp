// Settings files: read and replaced.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "tests/faults/matrix.h"

namespace {

using faults::kShort;
using faults::Operation;
using faults::Watch;

constexpr const char* kOld = "key=1\nother=5\n";
constexpr const char* kNew = "key=2\nother=5\n";

// The folder's parts carry the same names in every case.
class Settings : public Operation {
 public:
  explicit Settings(bool hasFolder) : hasFolder_(hasFolder) {}

  void prepare() override {
    std::filesystem::create_directories(parent_);
    setenv("VQ_SETTINGS_DIR", folder_.c_str(), 1);
    access_.reset(SaveFileAccessFactory::getInstance()->CreateMetaText("test.ini", "a+"));
  }
  void finish() override {
    access_.reset();
    std::filesystem::remove_all(parent_);
  }

 protected:
  void arrange() const {
    std::filesystem::remove_all(parent_ + "/state");
    if (hasFolder_) {
      std::filesystem::create_directories(folder_);
      std::ofstream(path()) << kOld;
      chmod(path().c_str(), 0640);
    }
  }
  std::string path() const { return folder_ + "/test.ini"; }
  std::string content() const {
    std::ifstream file(path());
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  // Harmless, but of no use: the next flush removes it.
  bool hasLeftOver() const { return std::filesystem::exists(path() + ".new"); }

  const bool hasFolder_;
  const std::string parent_ = "/dev/shm/faults";
  const std::string folder_ = parent_ + "/state/settings";
  std::unique_ptr<SaveFileAccessMetaText> access_;
};

class LoadedSettings : public Settings {
 public:
  LoadedSettings() : Settings(true) {}
  std::string attempt() override {
    arrange();
    const Watch watch;
    if (!access_->FOpen()) {
      return "false";
    }
    unsigned int value = 0;
    const bool isThere = access_->Get("key", &value);
    access_->FClose();
    return isThere && value == 1 ? "true" : "true, and no value";
  }
};

// Lines end with the reason; what stands before it is the test's own folder.
std::vector<std::string> cannotBe(const char* function, const char* what) {
  return {std::string(function) + ":0 FOLDER/test.ini cannot be " + what + ": %m"};
}

TEST(Faults, WhileSettingsAreRead) {
  const std::vector<std::string> line = cannotBe("FOpen", "read");
  faults::run({"settings, FOpen",
               "true",
               [] { return std::make_unique<LoadedSettings>(); },
               {{"open", "", {EINTR}, "true"},
                {"open", "", {}, "false", line},
                {"fstat", "", {}, "false", line},
                {"read", "", {EINTR, kShort}, "true"},
                {"read", "", {}, "false", line},
                {"close", "", {}, "true"},
                {"new", "", {}, "std::bad_alloc"}}});
}

class FlushedSettings : public Settings {
 public:
  using Settings::Settings;
  std::string attempt() override {
    arrange();
    access_->FOpen();
    access_->Set("key", 2);
    bool isFlushed = false;
    std::string outcome;
    try {
      const Watch watch;
      isFlushed = access_->Flush();
      outcome = isFlushed ? "true" : "false";
    } catch (const std::bad_alloc&) {
      outcome = "std::bad_alloc";
    }
    faults::clearPlan();
    outcome +=
        stateOfFile() + stateOfMode() + (outcome != "std::bad_alloc" && hasLeftOver() ? ", aside file left" : "");
    if (!isFlushed && !access_->Flush()) {
      outcome += ", and the next flush fails";
    }
    access_->FClose();
    const std::string wanted = hasFolder_ ? kNew : "key=2\n";
    return content() == wanted ? outcome : outcome + ", and the next flush does not write";
  }

 private:
  std::string stateOfFile() const {
    const std::string text = content();
    if (text == (hasFolder_ ? kNew : "key=2\n")) {
      return "";
    }
    return text == (hasFolder_ ? kOld : "") ? ", file as before" : ", DAMAGED FILE";
  }
  std::string stateOfMode() const {
    struct stat status = {};
    const bool isThere = stat(path().c_str(), &status) == 0;
    return hasFolder_ && isThere && (status.st_mode & 0777U) != 0640 ? ", other access rights" : "";
  }
};

TEST(Faults, WhileSettingsAreReplaced) {
  const std::vector<std::string> line = cannotBe("Flush", "written");
  const std::string asBefore = "false, file as before";
  using faults::Way;
  faults::run({"settings, Flush",
               "true",
               [] { return std::make_unique<FlushedSettings>(true); },
               // Those above the last one are there: whether one could be made does not matter.
               {{"mkdir", "settings", {}, asBefore, line},
                {"mkdir", "", {}, "true", {}, {}, Way::kOnce},
                {"mkdir", "", {}, asBefore, line, {}, Way::kAlways},
                {"open", "", {EINTR}, "true"},
                {"open", "", {}, asBefore, line},
                {"flock", "", {EINTR}, "true"},
                {"flock (unlock)", "", {}, "true"},
                {"flock", "", {}, asBefore, line},
                {"fstat", "", {}, asBefore, line},
                {"stat", "", {}, asBefore, line},
                {"fchown", "", {}, "true", {}, {}, Way::kOnce},
                // Rights that may be another group's now are taken away.
                {"fchown", "", {}, "true, other access rights", {}, {}, Way::kAlways},
                {"fchmod", "", {}, asBefore, line},
                {"read", "", {EINTR, kShort}, "true"},
                {"read", "", {}, asBefore, line},
                {"write", "", {EINTR, kShort}, "true"},
                {"write", "", {}, asBefore, line},
                {"fsync", "test.ini.new", {EINTR}, "true"},
                {"fsync", "test.ini.new", {}, asBefore, line},
                {"fsync", "", {EINTR}, "true"},
                {"fsync", "settings", {}, "false", line},
                {"rename", "", {}, asBefore, line},
                {"unlink", "", {}, "true"},
                {"close", "", {}, "true"},
                {"new", "", {}, "std::bad_alloc, file as before"}}});
}

TEST(Faults, WhileTheSettingsFolderIsMade) {
  const std::vector<std::string> line = cannotBe("Flush", "written");
  const std::string asBefore = "false, file as before";
  using faults::Way;
  faults::run({"settings, Flush, the folder is not there",
               "true",
               [] { return std::make_unique<FlushedSettings>(false); },
               {{"mkdir", "dev", {}, "true", {}, {}, Way::kOnce},
                {"mkdir", "shm", {}, "true", {}, {}, Way::kOnce},
                {"mkdir", "faults", {}, "true", {}, {}, Way::kOnce},
                {"mkdir", "", {}, asBefore, line},
                {"open", "", {EINTR}, "true"},
                {"open", "", {}, asBefore, line},
                {"flock", "", {EINTR}, "true"},
                {"flock (unlock)", "", {}, "true"},
                {"flock", "", {}, asBefore, line},
                {"stat", "", {}, asBefore, line},
                {"write", "", {EINTR, kShort}, "true"},
                {"write", "", {}, asBefore, line},
                {"fsync", "", {EINTR}, "true"},
                {"fsync", "settings", {}, "false", line},
                {"fsync", "", {}, asBefore, line},
                {"rename", "", {}, asBefore, line},
                {"unlink", "", {}, "true"},
                {"close", "", {}, "true"},
                {"new", "", {}, "std::bad_alloc, file as before"}}});
}

}  // namespace
