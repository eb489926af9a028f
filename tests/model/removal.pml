/*
 * What makes sure that a removed observer is not being called any more, and that a walked list is not freed.
 *
 * One list with two observers, two threads that notify, two that take an observer off each and destroy it. With
 * -DFROM_CALLS the observers take each other off, from within their calls, so the threads may wait in a circle; with
 * -DWITH_ADDER one of the two that take off adds an observer instead.
 *
 *   here          the functions, by file of platform/inprocess (script/model looks whether they are there)
 *   walk          observer_list.cpp: call protectSnapshot makeCall wakeWaiters
 *   removal       observer_list.cpp: removeMatching killMatching dropDead waitForCalls freeUnusedSnapshots; then
 *                 observer_list.cpp: callToWaitFor waitForEnd
 *   frame         CallFrame of thread_node.h: what a thread writes down before it uses it
 *   buffer        the processor's: a store of a frame may be seen by others long after the thread's next load. The light
 *                 fence does nothing about that.
 *   heavyFence    thread_node.cpp: heavyFence, a membarrier: every processor's stores are seen
 *   enterWait     wait_graph.cpp: enterWait, refused where the waiting threads would form a circle
 *
 * Checked in every run: no list is read after it was freed; no observer is entered, or left, after it was destroyed; and
 * nobody waits for ever.
 *
 * Broken on purpose, to see that the check can fail: -DNO_FENCE, -DNO_FENCE_BEFORE_WAIT, -DNO_FENCE_BEFORE_FREE,
 * -DNO_WAIT, -DNO_CIRCLE_RULE.
 */

#define CALLERS 2
#define THREADS 4
#ifndef WALKS
#define WALKS 1 /* of each caller */
#endif
#define NONE 0
#define NOBODY 255

/* Observers 1 and 2. A list is the set of those that it holds, a bit each; 0 is the empty one. */
byte list = 3;
bool isAlive[3] = true;
bool wasThere[8];
bool isFreed[8];
bool isDestroyed[3];

/* Frames, as others see them. */
byte walked[CALLERS];
byte called[CALLERS];

#define WALKED 0
#define CALLED 1
chan buffer[CALLERS] = [3] of { byte, byte };

byte mutexHolder = NOBODY;
byte waiterCount;
byte waiterFor[THREADS] = NOBODY; /* in the list of waiters: for the end of that caller's call */
bool isDone[THREADS];
bool isSignalled[THREADS];
byte waitsFor[THREADS] = NOBODY; /* the wait graph */

inline takeMutex() {
  d_step { mutexHolder == NOBODY -> mutexHolder = me }
}

inline giveMutex() {
  mutexHolder = NOBODY
}

inline apply(c, field, value) {
  if
  :: field == WALKED -> walked[c] = value
  :: else -> called[c] = value
  fi
}

inline drain(c) {
  do
  :: nempty(buffer[c]) -> buffer[c] ? field, value; apply(c, field, value)
  :: empty(buffer[c]) -> break
  od
}

inline heavyFence() {
  d_step { drain(0); drain(1); field = 0; value = 0 }
}

inline write(what, text) {
  buffer[me] ! what, text
}

/* For the end of the call that `caller` makes of `observer`. */
inline waitForEnd() {
  d_step { waiterFor[me] = caller; isDone[me] = false; isSignalled[me] = false; waiterCount++ }
#ifndef NO_FENCE_BEFORE_WAIT
  heavyFence();
#endif
  do
  :: isDone[me] -> break
  :: !isDone[me] ->
     if
     :: called[caller] != observer -> break
     :: called[caller] == observer ->
        giveMutex(); /* the condition variable gives it back and waits in one: who signals holds it */
        d_step { isSignalled[me] -> isSignalled[me] = false }
        takeMutex()
     fi
  od;
  skip; /* a step cannot be jumped into */
  d_step { waiterCount--; waiterFor[me] = NOBODY; waitsFor[me] = NOBODY; isDone[me] = false }
}

inline lookForCall() {
  caller = NOBODY;
  if
  :: me != 0 && !isPassed[0] && called[0] == observer -> caller = 0
  :: else
  fi;
  if
  :: caller == NOBODY && me != 1 && !isPassed[1] && called[1] == observer -> caller = 1
  :: else
  fi
}

/* Whether waiting for `caller` closes no circle; then the wait is entered. */
inline enterWait() {
  d_step {
#ifdef NO_CIRCLE_RULE
    isOpen = true;
#else
    isOpen = waitsFor[caller] != me && (waitsFor[caller] == NOBODY || waitsFor[waitsFor[caller]] != me);
#endif
    if
    :: isOpen -> waitsFor[me] = caller
    :: else -> isPassed[caller] = true
    fi
  }
}

inline waitForCalls() {
#ifndef NO_WAIT
  do
  :: lookForCall();
     if
     :: caller == NOBODY -> break
     :: else ->
        enterWait();
        if
        :: isOpen -> waitForEnd()
        :: else
        fi
     fi
  od;
  skip;
#endif
  d_step { isPassed[0] = false; isPassed[1] = false; caller = 0; isOpen = false }
}

inline freeOne(it) {
  if
  :: wasThere[it] && list != it && walked[0] != it && walked[1] != it -> isFreed[it] = true
  :: else
  fi
}

inline freeUnused() {
#ifndef NO_FENCE_BEFORE_FREE
  heavyFence();
#endif
  freeOne(1);
  freeOne(2);
  freeOne(3);
  freeOne(5);
  freeOne(6);
  freeOne(7)
}

inline removeObserver() {
  takeMutex();
  if
  :: isAlive[observer] -> isAlive[observer] = false; d_step { wasThere[list] = true; list = list & ~observer }
  :: else
  fi;
#ifndef NO_FENCE
  heavyFence();
#endif
  waitForCalls();
  freeUnused();
  giveMutex()
}

inline wakeWaiters() {
  d_step { drain(me); field = 0; value = 0 } /* taking a mutex does that */
  takeMutex();
  d_step {
    for (i : 0 .. THREADS - 1) {
      if
      :: waiterFor[i] == me -> isDone[i] = true; waitsFor[i] = NOBODY; waiterFor[i] = NOBODY
      :: else
      fi;
      isSignalled[i] = true
    }
    i = 0
  }
  giveMutex()
}

inline makeCall(one) {
  assert(!isFreed[seen]);
  if
  :: (seen & one) != 0 ->
     write(CALLED, one);
     if
     :: isAlive[one] ->
        assert(!isDestroyed[one]);
#ifdef FROM_CALLS
        observer = 3 - one;
        removeObserver();
        observer = 0;
#endif
        assert(!isDestroyed[one])
     :: else
     fi;
     write(CALLED, NONE);
     if
     :: waiterCount != 0 -> wakeWaiters()
     :: else
     fi
  :: else
  fi
}

proctype caller_(byte me) {
  byte seen, n, observer, caller, field, value, i;
  bool isPassed[CALLERS], isOpen;
  do
  :: n < WALKS ->
     seen = list;
     do
     :: write(WALKED, seen);
        if
        :: list == seen -> break
        :: else -> seen = list
        fi
     od;
     if
     :: seen != NONE && me == 0 -> makeCall(1); makeCall(2)
     :: seen != NONE && me == 1 -> makeCall(2); makeCall(1) /* so that each may be in another call */
     :: else
     fi;
     write(WALKED, NONE);
     d_step { seen = 0; n++ }
  :: else -> break
  od
}

proctype remover(byte me; byte observer) {
  byte caller, field, value;
  bool isPassed[CALLERS], isOpen;
  removeObserver();
  isDestroyed[observer] = true
}

/* ObserverList::add: a new list in the old one's place, and no fence. */
proctype adder(byte me) {
  takeMutex();
  d_step { wasThere[list] = true; list = list | 4 }
  giveMutex()
}

/* Stores are seen sooner or later, in their order. */
proctype processor(byte c) {
  byte field, value;
end_nothing:
  do
  :: atomic { buffer[c] ? field, value; apply(c, field, value); field = 0; value = 0 }
  od
}

init {
  atomic {
    run caller_(0);
    run caller_(1);
#ifndef FROM_CALLS
    run remover(2, 1);
#ifdef WITH_ADDER
    run adder(3);
#else
    run remover(3, 2);
#endif
#endif
    run processor(0);
    run processor(1)
  }
}
