// The witness: a process that was there before the victim, sees it die, and lives on.
//
// It has an endpoint on each segment, and a server that says nothing by itself. It writes down every message that it
// gets: what it has seen at the end must be what stands in the log.
#pragma once

#include "tests/crash/board.h"

namespace crash {

// The server's session with app 1.
constexpr unsigned short kWitnessSession = 101;
constexpr unsigned int kWitnessMessageBytes = 1500;

// Registers so many apps first. Sends one message from the device, and gets to know an app, where the board asks for
// it.
void runWitness(Board& board, unsigned int apps);

}  // namespace crash
