// The objects that one daemon exports: dispatches calls, answers Properties, ObjectManager and Introspectable.
//
// libsystemd's own tables cannot leave out a property that an object does not have, which is what BlueZ does with Name
// and Modalias; so this is written by hand.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bluez_sim/bus.h"
#include "bluez_sim/call.h"
#include "bluez_sim/faults.h"
#include "bluez_sim/values.h"

namespace bluez_sim {

struct Method {
  std::string name;
  std::string arguments;                // their signature
  std::string results;                  // for introspection only
  std::function<void(Call& call)> run;  // answers now or later; may throw DbusError, which is the answer then
};

struct Interface {
  std::string name;
  std::vector<Method> methods;
  std::function<Properties()> properties;  // empty = none that org.freedesktop.DBus.Properties shows
  // Empty = all are read-only. May throw DbusError.
  std::function<void(const std::string& name, const Value& value)> setProperty;
};

class ObjectTree {
 public:
  // `busName` tells its calls from those for another daemon on the same connection.
  ObjectTree(sd_bus& bus, const std::string& busName, Faults& faults, bool hasObjectManager);
  ObjectTree(const ObjectTree&) = delete;
  ObjectTree& operator=(const ObjectTree&) = delete;

  void add(const std::string& path, std::vector<Interface> interfaces);
  void remove(const std::string& path);
  bool has(const std::string& path) const { return objects_.count(path) != 0; }

  // From now on additions and removals are told.
  void announceChanges() { isAnnouncing_ = true; }
  // PropertiesChanged with those of `names` that the object has, the others invalidated.
  void tellChanged(const std::string& path, const std::string& interface, const std::vector<std::string>& names);

 private:
  static int onMessage(sd_bus_message* message, void* tree, sd_bus_error* error);
  int handle(sd_bus_message& message);
  bool isMine(const Call& call) const;
  void dispatch(Call& call);
  void runProperties(Call& call, const std::vector<Interface>& object);
  void replyManagedObjects(Call& call);
  void replyIntrospection(Call& call, const std::vector<Interface>* object);
  void emitAdded(const std::string& path, const std::vector<Interface>& interfaces);
  void emitRemoved(const std::string& path, const std::vector<Interface>& interfaces);
  MessagePtr newManagerSignal(const char* name, const std::string& path);

  sd_bus& bus_;
  const std::string busName_;
  Faults& faults_;
  const bool hasObjectManager_;
  bool isAnnouncing_ = false;
  std::map<std::string, std::vector<Interface>> objects_;
  SlotPtr slot_;
};

}  // namespace bluez_sim
