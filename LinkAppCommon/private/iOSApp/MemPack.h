// The data endpoints of a device: how they are made, found and ended, the same for server and client.
#pragma once

#include <cstdint>
#include <vector>

#include "LinkAppCommon/iOSAppRecords.h"

// Only device 1 has data segments. A pack for any other device is made too; its endpoints are not mapped.
iOSAppMemPack* createMemPack(std::uint32_t deviceId);

// Ends the endpoints and the pack. Waits for running calls of their observers, so no lock may be held.
void destroyMemPack(iOSAppMemPack* pack);

// Null where there is none for the device.
iOSAppMemPack* findMemPack(const std::vector<iOSAppMemPack*>& packs, std::uint32_t deviceId);
