// What is known of one phone: the phone itself, and what bluetoothd keeps about it.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bluez_sim/far_end.h"

namespace bluez_sim {

struct Adapter {
  std::string name = "hci0";
  std::string address = "00:AA:01:00:00:00";
  bool isPowered = true;

  std::string path() const { return "/org/bluez/" + name; }
};

struct Phone {
  std::string address;
  std::string adapter = "hci0";

  // What bluetoothd keeps.
  std::optional<std::string> name = "Phone";
  std::optional<std::string> alias;
  std::optional<std::string> modalias = "bluetooth:v000Fp1200d1436";
  std::vector<std::string> uuids;  // as it knows them
  bool isPaired = true;
  bool isTrusted = true;
  bool isBlocked = false;
  bool isConnected = false;  // the ACL link
  bool isResolved = true;    // ServicesResolved
  bool hasSearched = false;  // the services, since the ACL link came up

  // What the phone is and does.
  std::set<std::string> services;  // that its apps offer now
  bool isInRange = true;
  Mode mode = Mode::kEcho;
  std::uint64_t sourceBytes = 0;     // sent on every new link
  std::deque<std::string> refusals;  // reasons for the next connects
  unsigned int delay = 0;            // milliseconds before it answers a connect
  bool isHolding = false;            // answers connects when it is told to
  bool hasHandsFree = false;
  bool isHandsFreeUp = false;

  std::map<std::string, std::shared_ptr<Traffic>> traffic;  // by UUID

  // "/org/bluez/hci0/dev_00_11_22_33_44_55"
  std::string path() const;
};

std::string lowerCase(std::string text);

}  // namespace bluez_sim
