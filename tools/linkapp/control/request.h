// One line of a control client.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "command/words.h"

namespace control {

struct Request {
  std::string id;  // as JSON, to be sent back; empty = none
  std::vector<command::Word> words;
  std::size_t end = 1;  // column behind the command
};

struct RequestError {
  std::string text;
  std::size_t column = 0;   // in the command
  bool isHopeless = false;  // no request at all: what follows cannot be trusted either
};

// False with the error. The id is set where it could be read.
bool parseRequest(const std::string& line, Request& request, RequestError& error);

}  // namespace control
