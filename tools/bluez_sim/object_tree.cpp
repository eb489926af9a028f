#include "bluez_sim/object_tree.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace bluez_sim {
namespace {

constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* kManagerInterface = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kIntrospectable = "org.freedesktop.DBus.Introspectable";
constexpr const char* kWriting = "writing a message";

Properties propertiesOf(const Interface& interface) {
  return interface.properties ? interface.properties() : Properties();
}

const Interface* findInterface(const std::vector<Interface>& object, const std::string& name) {
  const auto found =
      std::find_if(object.begin(), object.end(), [&](const Interface& interface) { return interface.name == name; });
  return found == object.end() ? nullptr : &*found;
}

const Method* findMethod(const std::vector<Interface>& object, const Call& call) {
  for (const Interface& interface : object) {
    if (!call.interface().empty() && call.interface() != interface.name) {
      continue;
    }
    for (const Method& method : interface.methods) {
      if (method.name == call.member() && method.arguments == call.signature()) {
        return &method;
      }
    }
  }
  return nullptr;
}

// a{sa{sv}}
void appendInterfaces(sd_bus_message& message, const std::vector<Interface>& interfaces) {
  check(sd_bus_message_open_container(&message, 'a', "{sa{sv}}"), kWriting);
  for (const Interface& interface : interfaces) {
    check(sd_bus_message_open_container(&message, 'e', "sa{sv}"), kWriting);
    check(sd_bus_message_append_basic(&message, 's', interface.name.c_str()), kWriting);
    append(message, propertiesOf(interface));
    check(sd_bus_message_close_container(&message), kWriting);
  }
  check(sd_bus_message_close_container(&message), kWriting);
}

// One "<arg>" for each complete type; the signatures here hold only single letters, "a{sv}" and other arrays of one.
std::string describeArguments(const std::string& signature, const char* direction) {
  std::string xml;
  for (std::size_t begin = 0; begin < signature.size();) {
    std::size_t end = begin + 1;
    if (signature[begin] == 'a') {
      end = signature[begin + 1] == '{' || signature[begin + 1] == '(' ? signature.find_last_of("})") + 1 : begin + 2;
    }
    xml += "<arg type=\"" + signature.substr(begin, end - begin) + "\" direction=\"" + direction + "\"/>";
    begin = end;
  }
  return xml;
}

std::string describe(const Interface& interface) {
  std::string xml = " <interface name=\"" + interface.name + "\">\n";
  for (const Method& method : interface.methods) {
    xml += "  <method name=\"" + method.name + "\">" + describeArguments(method.arguments, "in") +
           describeArguments(method.results, "out") + "</method>\n";
  }
  constexpr const char* kTypes[] = {"b", "q", "u", "s", "o", "as"};
  for (const auto& [name, value] : propertiesOf(interface)) {
    xml += "  <property name=\"" + name + "\" type=\"" + kTypes[value.index()] + "\" access=\"" +
           (interface.setProperty ? "readwrite" : "read") + "\"/>\n";
  }
  return xml + " </interface>\n";
}

}  // namespace

ObjectTree::ObjectTree(sd_bus& bus, const std::string& busName, Faults& faults, bool hasObjectManager)
    : bus_(bus), busName_(busName), faults_(faults), hasObjectManager_(hasObjectManager) {
  sd_bus_slot* slot = nullptr;
  check(sd_bus_add_fallback(&bus_, &slot, "/", &ObjectTree::onMessage, this), "exporting objects");
  slot_.reset(slot);
}

void ObjectTree::add(const std::string& path, std::vector<Interface> interfaces) {
  const auto& object = objects_[path] = std::move(interfaces);
  if (isAnnouncing_ && hasObjectManager_) {
    emitAdded(path, object);
  }
}

void ObjectTree::remove(const std::string& path) {
  const auto found = objects_.find(path);
  if (found == objects_.end()) {
    return;
  }
  const std::vector<Interface> interfaces = std::move(found->second);
  objects_.erase(found);
  if (isAnnouncing_ && hasObjectManager_) {
    emitRemoved(path, interfaces);
  }
}

void ObjectTree::tellChanged(const std::string& path, const std::string& interface,
                             const std::vector<std::string>& names) {
  const auto found = objects_.find(path);
  const Interface* const changed = found == objects_.end() ? nullptr : findInterface(found->second, interface);
  if (changed == nullptr || !isAnnouncing_) {
    return;
  }
  Properties present = propertiesOf(*changed);
  std::vector<std::string> absent = names;
  present.erase(std::remove_if(present.begin(), present.end(),
                               [&](const auto& property) {
                                 return std::find(names.begin(), names.end(), property.first) == names.end();
                               }),
                present.end());
  for (const auto& property : present) {
    absent.erase(std::remove(absent.begin(), absent.end(), property.first), absent.end());
  }
  sd_bus_message* raw = nullptr;
  check(sd_bus_message_new_signal(&bus_, &raw, path.c_str(), kPropertiesInterface, "PropertiesChanged"), kWriting);
  const MessagePtr message = adopt(raw);
  check(sd_bus_message_append_basic(raw, 's', interface.c_str()), kWriting);
  append(*raw, present);
  check(sd_bus_message_open_container(raw, 'a', "s"), kWriting);
  for (const std::string& name : absent) {
    check(sd_bus_message_append_basic(raw, 's', name.c_str()), kWriting);
  }
  check(sd_bus_message_close_container(raw), kWriting);
  sd_bus_send(&bus_, raw, nullptr);
}

int ObjectTree::onMessage(sd_bus_message* message, void* tree, sd_bus_error* /*error*/) {
  return static_cast<ObjectTree*>(tree)->handle(*message);
}

// Exceptions end here: the frames below are C.
int ObjectTree::handle(sd_bus_message& message) {
  std::uint8_t type = 0;
  sd_bus_message_get_type(&message, &type);
  if (type != SD_BUS_MESSAGE_METHOD_CALL) {
    return 0;
  }
  Call call(share(&message));
  if (!isMine(call)) {
    return 0;
  }
  try {
    if (!faults_.strike(call)) {
      dispatch(call);
    }
  } catch (const DbusError& error) {
    call.fail(error);
  } catch (const std::exception& error) {
    fprintf(stderr, "linkapp-bluez-sim: %s: %s\n", call.member().c_str(), error.what());
    call.fail({"org.freedesktop.DBus.Error.Failed", error.what()});
  }
  return 1;
}

bool ObjectTree::isMine(const Call& call) const {
  const std::string destination = call.destination();
  if (destination.empty() || destination[0] == ':') {
    return has(call.path()) || call.interface() == kIntrospectable || (hasObjectManager_ && call.path() == "/");
  }
  return destination == busName_;
}

void ObjectTree::dispatch(Call& call) {
  const auto found = objects_.find(call.path());
  if (call.interface() == kIntrospectable) {
    replyIntrospection(call, found == objects_.end() ? nullptr : &found->second);
    return;
  }
  if (hasObjectManager_ && call.path() == "/" && call.interface() == kManagerInterface) {
    replyManagedObjects(call);
    return;
  }
  if (found == objects_.end()) {
    throw DbusError{"org.freedesktop.DBus.Error.UnknownObject", "Method \"" + call.member() + "\" with signature \"" +
                                                                    call.signature() + "\" on interface \"" +
                                                                    call.interface() + "\" doesn't exist\n"};
  }
  if (call.interface() == kPropertiesInterface) {
    runProperties(call, found->second);
    return;
  }
  const Method* const method = findMethod(found->second, call);
  if (method == nullptr) {
    throw DbusError{"org.freedesktop.DBus.Error.UnknownMethod", "Method \"" + call.member() + "\" with signature \"" +
                                                                    call.signature() + "\" on interface \"" +
                                                                    call.interface() + "\" doesn't exist\n"};
  }
  const auto run = method->run;  // it may take its own object out of the tree
  run(call);
}

void ObjectTree::runProperties(Call& call, const std::vector<Interface>& object) {
  const Interface* const interface = findInterface(object, readText(call.message()));
  if (interface == nullptr) {
    throw DbusError{"org.freedesktop.DBus.Error.InvalidArgs", "No such interface"};
  }
  const Properties properties = propertiesOf(*interface);
  const MessagePtr reply = call.newReply();
  if (call.member() == "GetAll") {
    append(*reply, properties);
    call.send(reply);
    return;
  }
  const std::string name = readText(call.message());
  const auto found =
      std::find_if(properties.begin(), properties.end(), [&](const auto& property) { return property.first == name; });
  if (found == properties.end()) {
    throw DbusError{"org.freedesktop.DBus.Error.InvalidArgs", "No such property '" + name + "'"};
  }
  if (call.member() == "Get") {
    append(*reply, found->second);
  } else if (interface->setProperty) {
    const auto set = interface->setProperty;
    set(name, readVariant(call.message()));
  } else {
    throw DbusError{"org.freedesktop.DBus.Error.PropertyReadOnly", "Property '" + name + "' is not writable"};
  }
  call.send(reply);
}

void ObjectTree::replyManagedObjects(Call& call) {
  const MessagePtr reply = call.newReply();
  check(sd_bus_message_open_container(reply.get(), 'a', "{oa{sa{sv}}}"), kWriting);
  for (const auto& [path, interfaces] : objects_) {
    check(sd_bus_message_open_container(reply.get(), 'e', "oa{sa{sv}}"), kWriting);
    check(sd_bus_message_append_basic(reply.get(), 'o', path.c_str()), kWriting);
    appendInterfaces(*reply, interfaces);
    check(sd_bus_message_close_container(reply.get()), kWriting);
  }
  check(sd_bus_message_close_container(reply.get()), kWriting);
  call.send(reply);
}

void ObjectTree::replyIntrospection(Call& call, const std::vector<Interface>* object) {
  std::string xml = "<node>\n";
  for (std::size_t i = 0; object != nullptr && i < object->size(); ++i) {
    xml += describe((*object)[i]);
  }
  const std::string prefix = call.path() == "/" ? "/" : call.path() + "/";
  std::set<std::string> children;
  for (const auto& [path, interfaces] : objects_) {
    if (path.size() > prefix.size() && path.compare(0, prefix.size(), prefix) == 0) {
      children.insert(path.substr(prefix.size(), path.find('/', prefix.size()) - prefix.size()));
    }
  }
  for (const std::string& child : children) {
    xml += " <node name=\"" + child + "\"/>\n";
  }
  const MessagePtr reply = call.newReply();
  check(sd_bus_message_append(reply.get(), "s", (xml + "</node>\n").c_str()), kWriting);
  call.send(reply);
}

MessagePtr ObjectTree::newManagerSignal(const char* name, const std::string& path) {
  sd_bus_message* raw = nullptr;
  check(sd_bus_message_new_signal(&bus_, &raw, "/", kManagerInterface, name), kWriting);
  MessagePtr message = adopt(raw);
  check(sd_bus_message_append_basic(raw, 'o', path.c_str()), kWriting);
  return message;
}

void ObjectTree::emitAdded(const std::string& path, const std::vector<Interface>& interfaces) {
  const MessagePtr message = newManagerSignal("InterfacesAdded", path);
  appendInterfaces(*message, interfaces);
  sd_bus_send(&bus_, message.get(), nullptr);
}

void ObjectTree::emitRemoved(const std::string& path, const std::vector<Interface>& interfaces) {
  const MessagePtr message = newManagerSignal("InterfacesRemoved", path);
  check(sd_bus_message_open_container(message.get(), 'a', "s"), kWriting);
  for (const Interface& interface : interfaces) {
    check(sd_bus_message_append_basic(message.get(), 's', interface.name.c_str()), kWriting);
  }
  check(sd_bus_message_close_container(message.get()), kWriting);
  sd_bus_send(&bus_, message.get(), nullptr);
}

}  // namespace bluez_sim
