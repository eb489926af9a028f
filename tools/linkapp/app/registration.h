// The place of an application in the registration table, which the library tells nobody.
#pragma once

#include <cstdint>

#include "app/setup.h"

namespace app {

// Places of the table, and how many of them are taken.
std::uint32_t tablePlaces();
std::uint32_t takenPlaces();

// The app id of the newest entry with these names from place `from` on; 0 = there is none. Two applications with the
// same names that register at one moment cannot be told apart.
std::uint32_t findAppId(const Setup& setup, std::uint32_t from);

}  // namespace app
