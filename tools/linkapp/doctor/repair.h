// What `linkapp doctor --fix` does, and whom it would hurt.
//
// Only what is provably dead is touched: a lock whose holder has ended, objects that nobody uses. A place of the
// registration table cannot be given back while anybody uses the channel, since every process knows apps by their
// place: the next app would get the id of the dead one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "doctor/examination.h"
#include "reset/attached.h"

namespace doctor {

struct Repair {
  std::string what;
  std::string why;
  std::vector<reset::AttachedProcess> inTheWay;  // processes that it would hurt; then it is refused
  std::function<std::string()> run;              // what it did; throws std::runtime_error where it cannot be done
};

using Look = std::function<std::vector<reset::AttachedProcess>()>;

// In the order in which they are done.
std::vector<Repair> repairsFor(const Examination& all, const Look& look);

}  // namespace doctor
