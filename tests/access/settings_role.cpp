// Role "settings_user FOLDER": a process with the product's settings file in this folder. It says "ready" and hears
//   set KEY VALUE        answered by 1 where the file has it now, else 0
//   get KEY              answered by the value, or "-"
#include <cstdlib>
#include <memory>

#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "tests/access/access_fixture.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

namespace {

std::string obey(SaveFileAccessMetaText& file, const std::vector<std::string>& words) {
  if (words.at(0) == "set") {
    return file.Set(words.at(1).c_str(), numberOf(words.at(2))) && file.Flush() ? "1" : "0";
  }
  unsigned int value = 0;
  return file.Get(words.at(1).c_str(), &value) ? std::to_string(value) : "-";
}

TEST_ROLE(settings_user) {
  setenv("VQ_SETTINGS_DIR", args.at(0).c_str(), 1);
  const std::unique_ptr<SaveFileAccessMetaText> file(
      VQSingleton<SaveFileAccessFactory>::getInstance()->CreateMetaText(access_tests::kSettingsFile, "a+"));
  test_support::say("ready");
  while (const auto line = test_support::hear()) {
    const bool isOpen = file->FOpen();
    test_support::answer(isOpen ? obey(*file, wordsOf(*line)) : "-");
    if (isOpen) {
      file->FClose();
    }
  }
  return 0;
}

}  // namespace
