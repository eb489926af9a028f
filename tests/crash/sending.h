#pragma once

#include <memory>
#include <string>

#include "LinkAppCommon/iOSAppCommonClient.h"

namespace crash {

// A client that may send, without a server: it is told what it would have heard from one.
std::unique_ptr<iOSAppCommonClient> clientInSession(const std::string& name);

}  // namespace crash
