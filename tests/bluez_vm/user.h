// Going on as another user, for roles.
#pragma once

#include <string>

// Becomes the user for good, with a folder for settings of the user's own; an empty name changes nothing. To be called
// before anything else was done. Ends the process where it cannot be done.
void becomeUser(const std::string& name);
