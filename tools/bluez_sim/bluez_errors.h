// The errors of bluetoothd, with its names and texts.
#pragma once

#include <string>

#include "bluez_sim/call.h"

namespace bluez_sim {

inline DbusError bluezError(const char* name, const std::string& text) {
  return {std::string("org.bluez.Error.") + name, text};
}

inline DbusError invalidArguments() {
  return bluezError("InvalidArguments", "Invalid arguments in method call");
}
inline DbusError alreadyExists() {
  return bluezError("AlreadyExists", "Already Exists");
}
inline DbusError doesNotExist() {
  return bluezError("DoesNotExist", "Does Not Exist");
}
inline DbusError notPermitted(const std::string& text) {
  return bluezError("NotPermitted", text);
}
inline DbusError inProgress() {
  return bluezError("InProgress", "br-connection-busy");
}
inline DbusError notReady() {
  return bluezError("NotReady", "br-connection-adapter-not-powered");
}
inline DbusError notConnected() {
  return bluezError("NotConnected", "Not Connected");
}
inline DbusError profileUnavailable() {
  return bluezError("NotAvailable", "br-connection-profile-unavailable");
}
// `reason` as "page-timeout".
inline DbusError connectFailed(const std::string& reason) {
  return bluezError("Failed", "br-connection-" + reason);
}

}  // namespace bluez_sim
