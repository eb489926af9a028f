// The lines of --json: what happens and what was answered, as objects. The protocol is that of the other processes that
// scenario files start.
#pragma once

#include <string>

namespace bluez_sim {

// {"event":"link","time":0.123456,"address":"00:AA:02:00:00:01","uuid":"...","up":true,"text":"..."}
// The first word of what was said names the event; where it names nothing, it is "said".
std::string eventLine(const std::string& said);

std::string readyLine(const std::string& bus);

// {"reply":"traffic","ok":true,"links":"1","received":"5",...,"text":"..."}
std::string replyLine(const std::string& command, const std::string& answer);

std::string refusalLine(const std::string& command, const std::string& error);

// The command's name in a line; empty where there is none.
std::string nameIn(const std::string& line);

}  // namespace bluez_sim
