// The table of everything that can be told to a head-unit application.
#pragma once

#include <string>
#include <vector>

#include "command/command.h"
#include "talk/event.h"

namespace app {

const command::Table& commands();

// What it may tell.
const std::vector<talk::EventKind>& eventKinds();

// The fields of its state.
const std::vector<std::string>& stateFields();

}  // namespace app
