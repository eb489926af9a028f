/*
 * How a message gets its sleeping receivers up, and who pays when its poster is killed.
 *
 * Two posters, two or three receivers, and a kill of one of them (-DVICTIM=) between any two steps, or of nobody. A step
 * is one access to what processes share; a loop around a compare-and-swap is one step, since only its last round has an
 * effect. All accesses that the protocol relies on are sequentially consistent in the code, or stand under the posting
 * lock.
 *
 *   here         the functions, by file of platform/reference (script/model looks whether they are there)
 *   poster       message_log.cpp: post append takeWakes addOwed wake; wake_debt.cpp: pay
 *   repair       message_log.cpp: repair, run by whoever gets the posting lock after its holder's death
 *   receiver     delivery.cpp: run readNext rest; message_log.cpp: posted read sleep
 *   futex        FUTEX_WAIT_BITSET and FUTEX_WAKE_BITSET of the kernel
 *   lock         the robust mutex: given back by the kernel when its holder dies, the next holder is told
 *
 * Checked in every run, when nothing can go on:
 *   - no deadlock: each poster has ended or is dead, each receiver is asleep or dead;
 *   - no lost wake-up: a message whose poster has paid, or any later one's, has been read by everybody who sleeps for
 *     it; what died between publishing and waking waits for the next post at most;
 *   - no double delivery, nothing half posted: each receiver takes each message at most once, in order, and as posted.
 *
 * Broken on purpose, to see that the check can fail: -DWAKE_BEFORE_PUBLISH, -DNO_OWED, -DPUBLISH_AFTER_LOOK,
 * -DNO_REPAIR, -DNO_SECOND_CHANGE.
 */

#define POSTERS 2
#ifndef RECEIVERS
#define RECEIVERS 3
#endif
#define EVERY_GROUP 3
#ifndef POSTS
#define POSTS 1 /* of each poster */
#endif
#define MESSAGES (POSTERS * POSTS)
#define FREE 255
#define NOBODY 255

/* Receiver 0 listens to one group, receiver 1 to both, receiver 2 to the other one. */
#define groupsOf(r) (r == 0 -> 1 : (r == 1 -> 3 : 2))

/* The log. */
byte head;
byte groupOf[MESSAGES];
byte sleepers;      /* groups */
byte sleeperCount;
byte owed;          /* groups */
byte lockHolder = FREE;
bool holderDied;

/* Two words of the log are only ever compared with what somebody loaded: `posted`, and `owed` with its count of changes.
 * For each who may compare, whether it has changed since it loaded. */
bool hasPostedChanged[RECEIVERS];
bool hasOwedChanged[POSTERS];

/* The kernel. */
bool isAsleep[RECEIVERS];

/* Posters are processes 0 and 1, receivers 2 to 4. */
byte victim = NOBODY;
bool isDead[POSTERS + RECEIVERS];

/* For the check only: */
byte paidUpTo;           /* of every message before this one its poster, or a later one's, has done all it owes */
byte taken[RECEIVERS];   /* a bit for each message */
byte ended;              /* posters */

inline wakeOne(r, groups) {
  if
  :: (groupsOf(r) & (groups)) != 0 -> isAsleep[r] = false
  :: else
  fi
}

inline futexWake(groups) {
  d_step {
    wakeOne(0, groups);
    wakeOne(1, groups)
#if RECEIVERS > 2
    ;
    wakeOne(2, groups)
#endif
  }
}

inline changePosted() {
  d_step {
    hasPostedChanged[0] = true;
    hasPostedChanged[1] = true
#if RECEIVERS > 2
    ;
    hasPostedChanged[2] = true
#endif
  }
}

inline addOwed(groups) {
  d_step { owed = owed | (groups); hasOwedChanged[0] = true; hasOwedChanged[1] = true }
}

/* Gets the lock, and sees whether its last holder died. What is written into the slot cannot be seen before `head`. */
inline lockAndWriteSlot() {
  d_step {
    lockHolder == FREE ->
    lockHolder = me;
    isRepairNeeded = holderDied;
    holderDied = false;
    groupOf[head] = group;
    sequence = head
  }
}

inline repair() {
#ifdef NO_REPAIR
  skip
#else
  changePosted();
  addOwed(EVERY_GROUP)
#endif
}

inline publish() {
  head = sequence + 1;
  changePosted()
}

inline takeWakes() {
  wakes = owed;
  if
  :: (sleepers & group) != 0 ->
     sleepers = sleepers & ~group;
#ifndef NO_SECOND_CHANGE
     changePosted();
#endif
#ifndef NO_OWED
     addOwed(group);
#endif
     wakes = wakes | group
  :: else
  fi
}

inline wake() {
#ifdef NO_OWED
  futexWake(wakes)
#else
  d_step { hasOwedChanged[me] = false; wakes = wakes & owed }
  if
  :: wakes != 0 ->
     futexWake(wakes);
     d_step {
       if
       :: !hasOwedChanged[me] -> owed = owed & ~wakes; hasOwedChanged[0] = true; hasOwedChanged[1] = true
       :: else
       fi
     }
  :: else
  fi
#endif
}

proctype poster(byte me) {
  byte group, sequence, wakes, n;
  bool isRepairNeeded;
  {
    do
    :: n < POSTS ->
       atomic {
         if
         :: group = 1
         :: group = 2
         fi;
         lockAndWriteSlot()
       }
       if
       :: isRepairNeeded -> repair()
       :: else
       fi;
#if defined(WAKE_BEFORE_PUBLISH)
       takeWakes();
       wake();
       publish();
       lockHolder = FREE;
#elif defined(PUBLISH_AFTER_LOOK)
       takeWakes();
       publish();
       lockHolder = FREE;
       wake();
#else
       publish();
       takeWakes();
       lockHolder = FREE;
       wake();
#endif
       d_step {
         if
         :: paidUpTo < sequence + 1 -> paidUpTo = sequence + 1
         :: else
         fi;
         wakes = 0;
         sequence = 0;
         group = 0;
         isRepairNeeded = false;
         hasOwedChanged[me] = true;
         n++;
         if
         :: n == POSTS -> ended++
         :: else
         fi
       }
    :: else -> break
    od
  } unless {
    victim == me ->
      d_step {
        isDead[me] = true;
        if
        :: lockHolder == me -> lockHolder = FREE; holderDied = true
        :: else
        fi
      }
  }
}

proctype receiver(byte me) {
  byte position;
  {
    do
    :: hasPostedChanged[me] = false;
       if
       :: d_step {
            position != head ->
            assert(position < head);
            assert(groupOf[position] != 0);
            if
            :: (groupOf[position] & groupsOf(me)) != 0 ->
               assert((taken[me] & (1 << position)) == 0);
               taken[me] = taken[me] | (1 << position)
            :: else
            fi;
            position++;
            hasPostedChanged[me] = true
          }
       :: d_step {
            position == head ->
            sleeperCount++;
            sleepers = sleepers | groupsOf(me)
          }
          d_step {
            isAsleep[me] = !hasPostedChanged[me];
            hasPostedChanged[me] = true
          }
end_asleep:
          d_step {
            !isAsleep[me] ->
            sleeperCount--;
            if
            :: sleeperCount == 0 -> sleepers = 0
            :: else
            fi
          }
       fi
    od
  } unless {
    victim == POSTERS + me ->
      d_step { isDead[POSTERS + me] = true; isAsleep[me] = false }
  }
}

/* At any moment, or never. */
proctype killer() {
#ifdef VICTIM
  victim = VICTIM
#endif
end_never:
  false
}

proctype judge() {
  byte i, s;
  timeout ->
  d_step {
    assert(ended + isDead[0] + isDead[1] >= POSTERS);
    for (i : 0 .. RECEIVERS - 1) {
      assert(isAsleep[i] || isDead[POSTERS + i]);
      for (s : 0 .. MESSAGES - 1) {
        if
        :: !isDead[POSTERS + i] && s < paidUpTo && (groupOf[s] & groupsOf(i)) != 0 ->
           assert((taken[i] & (1 << s)) != 0)
        :: else
        fi
      }
    }
  }
}

init {
  atomic {
    run poster(0);
    run poster(1);
    run receiver(0);
    run receiver(1);
#if RECEIVERS > 2
    run receiver(2);
#endif
    run killer();
    run judge()
  }
}
