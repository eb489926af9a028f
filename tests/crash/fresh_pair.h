// A device side and an application that start after the victim's death and talk to each other.
//
// They go the whole way: registration, connection, launch, session; then 100 messages in each direction, each compared
// byte for byte with what it must be.
#pragma once

#include "tests/crash/board.h"

namespace crash {

constexpr std::uint32_t kMessages = 100;  // in each direction
constexpr const char* kFreshLaunchString = "launch-fresh";

// The messages are made here, before the first fork, once for all processes.
void prepareMessages();

// `clientIsReady` when the app is registered, `clientIsDone` when all messages have come.
void runFreshClient(Board& board);
// `serverIsReady` when it has announced the device; ends at `serverMustEnd`.
void runFreshServer(Board& board);

}  // namespace crash
