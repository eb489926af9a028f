// Marks what the host's Bluetooth library shows to its users.
#pragma once

#define VQ_BLUETOOTH_API __attribute__((visibility("default")))
