// What a process with the Bluetooth library logs in a test: there is no D-Bus for it.
#pragma once

namespace test_support {

// Once per process, and nothing where the library is the one without Bluetooth.
constexpr const char* kLogWithoutBus =
    LINKAPP_HAS_BLUEZ
        ? "[VQBluetooth/bluez:0 bluez 1] no Bluetooth: cannot reach the D-Bus system bus: No such file or directory\n"
        : "";

}  // namespace test_support
