// Telling the service manager that the device side is there.
#pragma once

namespace phone {

// A unit of Type=notify that others wait for (packaging/systemd) counts as started from this call on. Without a service
// manager, and in a build without its library, nothing happens.
void tellReadiness();

}  // namespace phone
