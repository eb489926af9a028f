// The name under which the client's sources log.
#pragma once

constexpr const char* kClientLogFile = "LinkAppCommon/private/iOSApp/iOSAppCommonClient";
