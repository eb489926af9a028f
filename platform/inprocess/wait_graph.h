// Which thread waits for which, so that two threads that take each other's observers off do not wait for ever.
#pragma once

#include "platform/inprocess/thread_node.h"

namespace vqframework {

// Notes that `waiter` is about to wait for `other`. False, and nothing is noted, when `other` waits for `waiter`
// already, directly or through others: the new wait would close the circle.
bool enterWait(ThreadNode* waiter, ThreadNode* other);

// Whoever ends what `waiter` waits for takes the note back, at that moment: a note that stood until the waiter wakes
// would let a third thread see a circle that is none, and leave too early.
void leaveWait(ThreadNode* waiter);

}  // namespace vqframework
