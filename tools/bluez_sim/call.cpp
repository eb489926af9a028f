#include "bluez_sim/call.h"

namespace bluez_sim {
namespace {

std::string orEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

std::string Call::destination() const {
  return orEmpty(sd_bus_message_get_destination(message_.get()));
}

std::string Call::path() const {
  return orEmpty(sd_bus_message_get_path(message_.get()));
}

std::string Call::interface() const {
  return orEmpty(sd_bus_message_get_interface(message_.get()));
}

std::string Call::member() const {
  return orEmpty(sd_bus_message_get_member(message_.get()));
}

std::string Call::signature() const {
  return orEmpty(sd_bus_message_get_signature(message_.get(), 1));
}

std::string Call::sender() const {
  return orEmpty(sd_bus_message_get_sender(message_.get()));
}

MessagePtr Call::newReply() const {
  sd_bus_message* reply = nullptr;
  check(sd_bus_message_new_method_return(message_.get(), &reply), "a reply");
  return adopt(reply);
}

// The connection may have gone while the call waited; then nobody waits for the reply either.
void Call::send(const MessagePtr& reply) const {
  if (!isLost_) {
    sd_bus_send(nullptr, reply.get(), nullptr);
  }
}

void Call::fail(const DbusError& error) const {
  if (!isLost_) {
    sd_bus_reply_method_errorf(message_.get(), error.name.c_str(), "%s", error.text.c_str());
  }
}

}  // namespace bluez_sim
