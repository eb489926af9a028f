// A walk, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "text/fields.h"
#include "why/walk.h"

namespace why {

std::string reportText(const Walk& walk, bool isColoured);
text::Fields reportFields(const Walk& walk);

}  // namespace why
