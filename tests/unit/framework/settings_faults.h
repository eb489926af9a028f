// Stands between the framework library and the disk: notes the steps that make a write durable, and lets one fail.
#pragma once

#include <string>
#include <vector>

namespace settings_faults {

// "fsync file", "rename", "fsync folder", in order.
std::vector<std::string>& steps();

// The step that fails with an input/output error; empty = none.
void failAt(const std::string& step);

}  // namespace settings_faults
