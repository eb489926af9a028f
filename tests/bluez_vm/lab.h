// The machine's lab as the tests command it; lab.py lists the commands.
#pragma once

#include <string>

// Sends one command and returns its result. A failure is reported, and the result is empty then.
std::string lab(const std::string& command);

// The same, where a refusal is no failure: whether it went well.
bool labManages(const std::string& command);
