// RemoveIPC of logind, merged as systemd merges it: the main file first, then all drop-ins by their names, whatever
// folder they lie in; a file hides those of the same name in folders of lower rank; the last word counts.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

#include "doctor/files.h"
#include "doctor/system.h"

namespace doctor {
namespace {

// By rank, highest first.
constexpr const char* kFolders[] = {"/etc/systemd", "/run/systemd", "/usr/local/lib/systemd", "/usr/lib/systemd",
                                    "/lib/systemd"};

bool exists(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r");
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

std::optional<bool> flagOf(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
  const auto isOneOf = [&text](std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), text) != words.end();
  };
  if (isOneOf({"1", "yes", "y", "true", "t", "on"})) {
    return true;
  }
  return isOneOf({"0", "no", "n", "false", "f", "off"}) ? std::optional(false) : std::nullopt;
}

void apply(const std::string& root, const std::string& path, IpcRemoval& removal) {
  std::istringstream lines(contentOf(root + path));
  std::string section;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    line = trimmed(line);
    const std::size_t equals = line.find('=');
    if (line.empty() || line[0] == '#' || line[0] == ';') {
      continue;
    }
    if (line[0] == '[') {
      section = line;
    } else if (section == "[Login]" && equals != std::string::npos && trimmed(line.substr(0, equals)) == "RemoveIPC") {
      // What is no truth value is passed over, as logind does.
      if (const auto value = flagOf(trimmed(line.substr(equals + 1)))) {
        removal.isOn = *value;
        removal.said = path + ":" + std::to_string(number);
      }
    }
  }
}

}  // namespace

IpcRemoval readIpcRemoval(const std::string& root) {
  IpcRemoval removal;
  removal.hasLogind = exists(root + "/run/systemd/seats") || exists(root + "/run/systemd/users");
  removal.isOn = true;
  removal.said = "no file sets it, and on is the default";
  const auto* const main = std::find_if(std::begin(kFolders), std::end(kFolders),
                                        [&root](const char* folder) { return exists(root + folder + "/logind.conf"); });
  if (main != std::end(kFolders)) {
    apply(root, std::string(*main) + "/logind.conf", removal);
  }
  std::map<std::string, std::string> dropIns;  // by name
  for (const char* const folder : kFolders) {
    std::error_code ignored;
    const std::string path = std::string(folder) + "/logind.conf.d";
    for (const auto& entry : std::filesystem::directory_iterator(root + path, ignored)) {
      const std::string name = entry.path().filename();
      if (entry.path().extension() == ".conf") {
        dropIns.emplace(name, path + "/" + name);  // of higher rank first
      }
    }
  }
  for (const auto& dropIn : dropIns) {
    apply(root, dropIn.second, removal);
  }
  return removal;
}

}  // namespace doctor
