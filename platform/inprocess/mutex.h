// The framework's own mutex: it knows forked children.
#pragma once

#include "platform/inprocess/fork_state.h"
#include "platform/mutex.h"

namespace vqframework {

// In a forked child nobody else is there, and the copy of a lock that the parent held would never open.
using Mutex = platform::Mutex<&isForkedChild>;
using MutexLock = platform::MutexLock<Mutex>;
using platform::Condition;

}  // namespace vqframework
