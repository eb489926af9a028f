#include "tests/start_order/model.h"

#include <algorithm>

namespace start_order {

std::vector<Order> allOrders() {
  std::vector<Order> all;
  Order order = {kPhone, kNavi, kMusic, kHandsFree, kPlayback};
  do {
    all.push_back(order);
  } while (std::next_permutation(order.begin(), order.end()));
  return all;
}

const char* nameOf(Part part) {
  constexpr const char* kNames[kParts] = {"phone", "navi", "music", "handsfree", "playback"};
  return kNames[part];
}

std::string nameOf(const Order& order) {
  std::string name;
  for (const Part part : order) {
    name += (name.empty() ? "" : "_") + std::string(nameOf(part));
  }
  return name;
}

void Model::start(Part part) {
  isUp_[part] = true;
  switch (part) {
    case kPhone:
      startPhone();
      break;
    case kNavi:
    case kMusic:
      startApp();
      break;
    case kHandsFree:
      isHandsFreeKnown_ = isUp_[kPhone] && areRepeatsDue_;
      tell(kHandsFree, isHandsFreeKnown_ ? Told{"up"} : Told{});
      break;
    case kPlayback:  // hears of the playing app when it is announced the next time
      break;
  }
}

void Model::stop(Part part) {
  if (part == kPhone) {
    stopPhone();
  }
  isUp_[part] = false;
}

// It announces that nothing is there, and then what is: connected, hands-free up, playing. The apps that know of the
// connection launch theirs.
void Model::startPhone() {
  areRepeatsDue_ = false;
  for (const Part app : {kNavi, kMusic}) {
    tell(app, {"1", "2"});
  }
  tell(kHandsFree, isHandsFreeKnown_ ? Told{"down", "up"} : Told{"up"});
  isHandsFreeKnown_ = isUp_[kHandsFree];
  tell(kPlayback, {"-", kPlayingApp});
}

// Sessions are closed, the connection ends. The hands-free link does not depend on it: it is told once more.
void Model::stopPhone() {
  for (const Part app : {kNavi, kMusic}) {
    tell(app, {"1", "0"});
  }
  tell(kHandsFree, isHandsFreeKnown_ ? Told{"down", "up"} : Told{"up"});
  isHandsFreeKnown_ = isUp_[kHandsFree];
}

// It registers; the device side announces connection, hands-free and playing app once more, to everybody.
void Model::startApp() {
  if (!isUp_[kPhone]) {
    return;
  }
  tell(kNavi, {"1", "2"});
  tell(kMusic, {"1", "2"});
  tell(kHandsFree, isHandsFreeKnown_ ? Told{"down", "up"} : Told{"up"});
  isHandsFreeKnown_ = isUp_[kHandsFree];
  tell(kPlayback, {kPlayingApp});
  areRepeatsDue_ = true;
}

Model Model::since(const Model& before) const {
  Model rest = *this;
  for (std::size_t part = 0; part < kParts; ++part) {
    Told& told = rest.told_[part];
    told.erase(told.begin(), told.begin() + static_cast<std::ptrdiff_t>(before.told_[part].size()));
  }
  return rest;
}

void Model::tell(Part part, const Told& more) {
  if (isUp_[part]) {
    told_[part].insert(told_[part].end(), more.begin(), more.end());
  }
}

}  // namespace start_order
