// Which call fails, and what was called: behind the interposed functions of this executable.
//
// Nothing here takes memory or a lock of the C library: it is asked from inside of both.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/faults/calls.h"

namespace faults {

// Whose calls: those of the thread that is watched, or the delivery thread's.
enum class Who { kCaller, kDelivery };

// Once; from then on every time; or often (EINTR of a storm of signals) and then no more.
enum class Way { kOnce, kAlways, kStorm };

constexpr unsigned int kStormLength = 100;

// The n-th call of this kind on this object, of this thread.
struct Place {
  std::string call;
  std::string object;  // what it is about, a file's name without its folder; empty = nothing
  Who who = Who::kCaller;
  unsigned int nth = 1;
};

struct Fault {
  Place place;
  int error = 0;
  Way way = Way::kOnce;
};

void plan(const Fault& fault);
void clearPlan();
// How often the planned fault has happened.
unsigned int fired();

// Calls of this thread count within the scope.
class Watch {
 public:
  Watch();
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
};

// Not within this one, which stands inside of the other; nor calls of a delivery thread that is watched.
class LookAway {
 public:
  LookAway();
  ~LookAway();
  LookAway(const LookAway&) = delete;
  LookAway& operator=(const LookAway&) = delete;

 private:
  const unsigned int before_;
  const bool wasDelivery_;
};

// Whether calls of the delivery thread count.
void watchDelivery(bool isOn);

// What was called while it counted, in order.
std::vector<Place> seen();
void forgetSeen();

// For the interposed functions.

bool isWatched();
// 0: go on; else the error to answer with.
int errorOf(const char* call, const char* object = "");
// The same, with the name of what the descriptor is open on.
int errorOfDescriptor(const char* call, int fd);
int errorOfPath(const char* call, const char* path);
// The same, with the name of the object that is mapped there.
int errorOfAddress(const char* call, const void* address);
// For calls that are made before main: the environment plans the first one ("LINKAPP_FAULTS_AT_START=CALL NUMBER").
int errorAtStart(const char* call);
void thisIsTheDeliveryThread();

}  // namespace faults
