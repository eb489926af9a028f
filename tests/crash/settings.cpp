// A process that dies while it writes a settings file.
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "tests/crash/operation.h"
#include "tests/crash/settings.h"
#include "tests/support/shm_files.h"

namespace crash {
namespace {

constexpr const char* kFile = "Crash.ini";

std::string path(const char* suffix) {
  return test_support::shmFile(kSettingsFolder) + "/" + kFile + suffix;
}

std::string contentOf(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

bool isThere(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0;
}

// Two numbers that belong together, with text between them that must stay.
std::string textWith(const std::string& number) {
  std::string text = "first=" + number + "\n";
  for (int line = 0; line < 40; ++line) {
    text += "# a line that means nothing and must stay, number " + std::to_string(line) + "\n";
  }
  return text + "second=" + number + "\n";
}

using Access = std::unique_ptr<SaveFileAccessMetaText>;

Access openSettings() {
  Access access(SaveFileAccessFactory::getInstance()->CreateMetaText(kFile, "a+"));
  if (access == nullptr || !access->FOpen()) {
    throw NotAllowed("the settings cannot be opened");
  }
  return access;
}

std::string outcomeOfFlush(const Aftermath& /*aftermath*/) {
  const std::string text = contentOf(path(""));
  const bool isAside = isThere(path(".new"));
  if (text == textWith("1")) {
    return isAside ? "old file, a new one aside" : "old file";
  }
  if (text != textWith("2") || isAside) {
    throw NotAllowed("a file that is neither the old nor the new one");
  }
  return "new file";
}

// Reads, changes and writes the file.
void useSettings() {
  const Access access = openSettings();
  unsigned int first = 0;
  unsigned int second = 0;
  if (!access->Get("first", &first) || !access->Get("second", &second) || first != second) {
    throw NotAllowed("the next process reads half a file");
  }
  if (!access->Set("first", 3) || !access->Set("second", 3) || !access->Flush()) {
    throw NotAllowed("the next process cannot write the file");
  }
  if (contentOf(path("")) != textWith("3") || isThere(path(".new"))) {
    throw NotAllowed("the next process writes another file than it should");
  }
}

}  // namespace

Operation settingsFlush() {
  Operation operation;
  operation.name = "settings flush";
  operation.allowed =
      "The old file or the new one, byte for byte, never a part: the new one is written aside and takes the old one's "
      "place at once. What lies aside is removed by the next writer; the lock on the folder goes with the process.";
  operation.density = Density::kLibraries;
  operation.hasWitness = false;
  operation.victim = [](Victim& victim) {
    mkdir(test_support::shmFile(kSettingsFolder).c_str(), 0700);
    std::ofstream(path("")) << textWith("1");
    const Access access = openSettings();
    access->Set("first", 2);
    access->Set("second", 2);
    victim.perform([&] { access->Flush(); });
  };
  operation.finished = "new file";
  operation.outcome = &outcomeOfFlush;
  operation.next = &useSettings;
  return operation;
}

}  // namespace crash
