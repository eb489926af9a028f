// How processes, numbers and objects are put into words. Names come from elsewhere and are quoted where they must be.
#pragma once

#include <string>
#include <vector>

#include "doctor/examination.h"

namespace doctor {

std::string number(std::uint64_t value, const char* one, const char* many);
std::string octal(mode_t mode);
std::string userText(uid_t user);
std::string groupText(gid_t group);

// "4711 (linkapp)".
std::string processText(const inspect::Process& process);
// "4711 (linkapp) and 4712 (linkapp)"; at most so many by name.
std::string processesText(const std::vector<inspect::Process>& processes, std::size_t most = 6);
std::string joined(const std::vector<std::string>& words, std::size_t most = 6);

// "sent 1.2 s ago by 4711".
std::string saidText(const inspect::Said& said, const inspect::Snapshot& snapshot);

}  // namespace doctor
