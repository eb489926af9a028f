// What each listener on the head unit is told while the processes of a head unit start, end and start again, one after
// the other: the rules, without the system itself. The test compares the system with them; the table of
// docs/start-order.md is made of them.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace start_order {

enum Part : std::size_t {
  kPhone,      // the device side, with a phone that is plugged in, has hands-free up and plays
  kNavi,       // an application that launches its app whenever it hears that the phone is connected
  kMusic,      // another one
  kHandsFree,  // a listener to hands-free links; it registers no app
  kPlayback,   // a listener to the playing app; it registers none either
};
constexpr std::size_t kParts = 5;

using Order = std::array<Part, kParts>;

// All 120, in lexical order.
std::vector<Order> allOrders();

const char* nameOf(Part part);

// "phone_navi_music_handsfree_playback"
std::string nameOf(const Order& order);

// What the callbacks say: "1" or "2" is a device status over USB, "up" or "down" a hands-free link, a name the playing
// app, "-" none.
using Told = std::vector<std::string>;

constexpr const char* kPlayingApp = "Player";

class Model {
 public:
  void start(Part part);
  void stop(Part part);

  // What the listener has been told in all its lives so far.
  const Told& told(Part part) const { return told_[part]; }

  // The same with only what was told since then.
  Model since(const Model& before) const;

  bool isUp(Part part) const { return isUp_[part]; }

  // A hands-free listener that starts now hears of it soon, without anything else happening: the device side repeats
  // the hands-free state for five seconds after a registration.
  bool areRepeatsDue() const { return areRepeatsDue_; }

  // The hands-free listener takes the link for up.
  bool isHandsFreeKnown() const { return isHandsFreeKnown_; }

 private:
  void startPhone();
  void stopPhone();
  void startApp();
  void tell(Part part, const Told& more);

  std::array<bool, kParts> isUp_ = {};
  std::array<Told, kParts> told_;
  bool areRepeatsDue_ = false;
  bool isHandsFreeKnown_ = false;
};

}  // namespace start_order
