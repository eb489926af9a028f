// Follows BlueZ: whether it is there, its adapters and its devices.
//
// The signals are followed before the objects are asked for, so nothing is missed in between. A BlueZ that does not
// tell them is asked again, with pauses up to a minute. Threads: one at a time. The listener is called inside
// Bus::process() and may not destroy this object.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/bluez/back_off.h"
#include "platform/bluez/bus.h"
#include "platform/bluez/device.h"

namespace vqbluez {

class BluezListener {
 public:
  virtual ~BluezListener() = default;

  virtual void onBluezReady() = 0;  // all objects were read; adapters() and devices() are whole
  virtual void onBluezGone() = 0;   // after it was ready; adapters() and devices() are empty
  virtual void onAdaptersChanged() = 0;
  // `before` is null for a new one. `servicesChanged`: something was said about its list of services.
  virtual void onDeviceChanged(const Device& device, const Device* before, bool servicesChanged) = 0;
  virtual void onDeviceRemoved(const Device& device) = 0;
};

class BluezObjects {
 public:
  explicit BluezObjects(BluezListener& listener) : listener_(listener) {}

  void start(Bus& bus);
  // The bus is gone.
  void stop();

  bool isReady() const { return state_ == State::kReady; }
  bool isDecided() const { return state_ == State::kReady || state_ == State::kAbsent; }
  // The bus name of the running BlueZ; empty where none runs.
  const std::string& owner() const { return owner_; }

  const std::map<std::string, Adapter>& adapters() const { return adapters_; }
  const std::map<std::string, Device>& devices() const { return devices_; }
  const Device* device(const std::string& path) const;

  void tick(Time now);
  std::optional<Time> nextDue() const { return due_; }

 private:
  enum class State { kUnknown, kReading, kReady, kAbsent };

  void onOwner(const std::string& owner);
  void onOwnerChanged(sd_bus_message* message);
  void readAll();
  void onAll(const Reply& reply, const std::string& owner);
  void onInterfacesAdded(sd_bus_message* message);
  void onInterfacesRemoved(sd_bus_message* message);
  void onPropertiesChanged(sd_bus_message* message);
  bool readObject(const std::string& path, sd_bus_message* message);
  bool readAdapter(const std::string& path, sd_bus_message* message);
  bool readDevice(const std::string& path, sd_bus_message* message);
  void forgetAll();
  void setState(State state, const std::string& reason);

  BluezListener& listener_;
  Bus* bus_ = nullptr;
  State state_ = State::kUnknown;
  std::string owner_;
  std::string reason_;  // why it is absent, as logged last
  BackOff pause_;
  std::optional<Time> due_;  // when the objects are asked for again
  std::map<std::string, Adapter> adapters_;
  std::map<std::string, Device> devices_;
};

}  // namespace vqbluez
