// The table of everything that can be told to a phone.
#pragma once

#include <string>
#include <vector>

#include "command/command.h"
#include "talk/event.h"

namespace phone {

const command::Table& commands();

// What a phone may tell.
const std::vector<talk::EventKind>& eventKinds();

// The fields of the phone's state.
const std::vector<std::string>& stateFields();

}  // namespace phone
