// KEY=VALUE settings of a phone.
#pragma once

#include <string>

#include "bluez_sim/phone.h"
#include "bluez_sim/words.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

// Takes the words from `begin` on. A phone that is new takes its services for its UUIDs where no UUIDs are given.
// Throws CommandError; then nothing has changed.
Phone withSettings(Phone phone, const Words& words, std::size_t begin, bool isNew);

// The change to what withSettings made, told to everybody.
void applySettings(World& world, Phone& phone, const Phone& changed);

const char* phoneSettingsHelp();

}  // namespace bluez_sim
