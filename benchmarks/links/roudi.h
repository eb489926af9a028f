// RouDi, the daemon that iceoryx needs, on the stage.
#pragma once

#include <string>

namespace bench {

// In the stage's process. RouDi itself carries no message.
void startRouDi(int processor);

// In a role, before anything of iceoryx is used. `name` is this process's own.
void enterIceoryx(const std::string& name);

}  // namespace bench
