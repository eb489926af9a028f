#include "doctor/words.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cstdio>

#include "inspect/columns.h"

namespace doctor {

std::string number(std::uint64_t value, const char* one, const char* many) {
  return std::to_string(value) + " " + (value == 1 ? one : many);
}

std::string octal(mode_t mode) {
  char text[16];
  snprintf(text, sizeof text, "%04o", mode & 07777U);
  return text;
}

std::string userText(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}

std::string groupText(gid_t group) {
  const ::group* const entry = getgrgid(group);
  return entry != nullptr ? entry->gr_name : std::to_string(group);
}

std::string processText(const inspect::Process& process) {
  return std::to_string(process.pid) + (process.name.empty() ? "" : " (" + text::quoted(process.name) + ")");
}

std::string joined(const std::vector<std::string>& words, std::size_t most) {
  std::string all;
  for (std::size_t i = 0; i < std::min(words.size(), most); ++i) {
    const bool isLast = i + 1 == words.size();
    all += (i == 0 ? "" : isLast ? " and " : ", ") + words[i];
  }
  return words.size() > most ? all + " and " + std::to_string(words.size() - most) + " more" : all;
}

std::string processesText(const std::vector<inspect::Process>& processes, std::size_t most) {
  std::vector<std::string> words;
  words.reserve(processes.size());
  for (const inspect::Process& process : processes) {
    words.push_back(processText(process));
  }
  return joined(words, most);
}

std::string saidText(const inspect::Said& said, const inspect::Snapshot& snapshot) {
  return "sent " + inspect::ageText(snapshot.monotonicTime - std::min(said.time, snapshot.monotonicTime)) + " ago by " +
         std::to_string(said.pid);
}

}  // namespace doctor
