// An application that dies while it registers.
#include <string.h>

#include <algorithm>
#include <atomic>

#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "tests/crash/fresh_pair.h"
#include "tests/crash/operation.h"
#include "tests/crash/shared_state.h"

namespace crash {
namespace {

constexpr std::size_t kRecord = 4;  // behind the size word
constexpr unsigned int kNotifyAppInfo = 5;

// Longer than the fresh client's, so that what is left of them shows.
constexpr const char* kName = "victim, an app with a long name";
constexpr const char* kIAP1Name = "victimIAP1";
constexpr const char* kLaunchString = "launch-victim, a long launch string";

iOSAppInfoList readTable() {
  iOSAppInfoList table = {};
  const std::vector<unsigned char> bytes = bytesOf(kAppInfo, kRecord, sizeof table);
  if (bytes.empty()) {
    throw NotAllowed("no registration table");
  }
  memcpy(&table, bytes.data(), sizeof table);
  return table;
}

iOSAppInfo wholeEntry(unsigned int apps) {
  iOSAppInfo entry = {};
  entry.appId = apps + 1;
  memcpy(entry.iAP1Name, kIAP1Name, strlen(kIAP1Name));
  memcpy(entry.appName, kName, strlen(kName));
  memcpy(entry.launchString, kLaunchString, strlen(kLaunchString));
  return entry;
}

bool isEmpty(const iOSAppInfo& entry) {
  const iOSAppInfo empty = {};
  return memcmp(&entry, &empty, sizeof entry) == 0;
}

// Whether each byte is the victim's or still zero.
bool isPartOf(const iOSAppInfo& entry, const iOSAppInfo& whole) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&entry);
  const auto* const expected = reinterpret_cast<const unsigned char*>(&whole);
  return std::equal(bytes, bytes + sizeof entry, expected,
                    [](unsigned char found, unsigned char wanted) { return found == 0 || found == wanted; });
}

std::string outcomeOfRegistration(const Aftermath& aftermath, unsigned int apps) {
  const iOSAppInfoList table = readTable();
  const iOSAppInfo& entry = table.entry[apps];
  const iOSAppInfo whole = wholeEntry(apps);
  const std::string fate = fateOfMessage(aftermath, kNotifyAppInfo);
  if (table.count == apps && fate.empty() && isPartOf(entry, whole)) {
    return isEmpty(entry) ? "not registered" : "part of an entry, not counted";
  }
  if (table.count != apps + 1 || memcmp(&entry, &whole, sizeof entry) != 0) {
    throw NotAllowed("a table of " + std::to_string(table.count) + " apps, an entry that is not whole");
  }
  return fate.empty() ? "registered, not announced" : "registered, " + fate;
}

// The dead app's text behind the fresh one's, where it is longer; nothing else.
std::string textBehind(const char* found, const std::string& own, const std::string& dead) {
  const std::string text = found;
  const std::string tail = dead.size() > own.size() ? dead.substr(own.size()) : "";
  if (text == own) {
    return "";
  }
  if (text.compare(0, own.size(), own) != 0 || tail.compare(0, text.size() - own.size(), text, own.size()) != 0) {
    throw NotAllowed("the next app is registered as \"" + text + "\"");
  }
  return text.substr(own.size());
}

std::string lookAtNextEntry(const std::string& outcome, const Board& board, unsigned int apps) {
  const bool isCounted = outcome.rfind("registered", 0) == 0;
  const unsigned int index = apps + (isCounted ? 1 : 0);
  const iOSAppInfoList table = readTable();
  if (table.count != index + 1 || board.clientAppId != index + 1) {
    throw NotAllowed("the next app has number " + std::to_string(board.clientAppId) + " of " +
                     std::to_string(table.count));
  }
  const iOSAppInfo& entry = table.entry[index];
  const bool isClean = textBehind(entry.iAP1Name, "", kIAP1Name).empty() &&
                       textBehind(entry.appName, "fresh", kName).empty() &&
                       textBehind(entry.launchString, kFreshLaunchString, kLaunchString).empty();
  return isClean ? outcome : outcome + "; the next app's texts end in the dead one's";
}

}  // namespace

Operation registration(unsigned int apps) {
  Operation operation;
  operation.name =
      apps == 0 ? "app registration, empty table" : "app registration, " + std::to_string(apps) + " apps there";
  operation.allowed =
      "No entry; a part of one, which is not counted and whose place the next app takes (texts are written without a "
      "NUL, so a shorter one keeps the tail of the dead one's); a whole one that is counted, announced or not. It is a "
      "dead app's entry in any case: who was not told of it misses nothing. The app that registers next gets the next "
      "number, and a server that was there before learns of it.";
  operation.apps = apps;
  operation.victim = [](Victim& victim) {
    iOSAppCommonLocalMem_AppInfo table;
    std::atomic<std::uint32_t> appId{0};
    victim.perform([&] { table.registAppInfo(kIAP1Name, kName, kLaunchString, appId); });
  };
  operation.finished = "registered, sent and delivered";
  operation.outcome = [apps](const Aftermath& aftermath) { return outcomeOfRegistration(aftermath, apps); };
  operation.finally = [apps](const std::string& outcome, const Board& board) {
    return lookAtNextEntry(outcome, board, apps);
  };
  return operation;
}

}  // namespace crash
