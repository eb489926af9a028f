// A recording as a scenario file (docs/scenarios.md): the same applications, and a phone that is told to do what the
// phone did.
#pragma once

#include <string>

#include "record/story.h"

namespace record {

// `title` is a line of comment.
std::string toScenario(const Story& story, const std::string& title);

}  // namespace record
