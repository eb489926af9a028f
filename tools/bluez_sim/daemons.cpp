#include "bluez_sim/daemons.h"

namespace bluez_sim {

Daemons::Daemons(Loop& loop, World& world, const std::string& busAddress, bool sharesConnection)
    : loop_(loop), world_(world), busAddress_(busAddress), sharesConnection_(sharesConnection) {}

void Daemons::startBluez() {
  if (bluez_ == nullptr) {
    bluez_ = std::make_unique<BluezDaemon>(loop_, connect(), world_, faults_);
    world_.say("bluetoothd started");
    if (ofono_ != nullptr) {
      ofono_->setHasBluez(true);
    }
  }
}

void Daemons::stopBluez() {
  if (bluez_ != nullptr) {
    bluez_->shutDown();
    killBluez();
  }
}

void Daemons::killBluez() {
  if (bluez_ == nullptr) {
    return;
  }
  bluez_.reset();
  world_.say("bluetoothd ended");
  for (const auto& [address, phone] : world_.phones()) {
    world_.setHandsFree(*world_.findPhone(address), false);
  }
  if (ofono_ != nullptr) {
    ofono_->setHasBluez(false);
  }
}

void Daemons::startOfono() {
  if (ofono_ == nullptr) {
    ofono_ = std::make_unique<OfonoDaemon>(connect(), world_, faults_, bluez_ != nullptr);
    world_.say("ofonod started");
  }
}

void Daemons::killOfono() {
  if (ofono_ == nullptr) {
    return;
  }
  ofono_.reset();
  world_.say("ofonod ended");
  for (const auto& [address, phone] : world_.phones()) {
    world_.setHandsFree(*world_.findPhone(address), false);
  }
}

std::shared_ptr<sd_bus> Daemons::connect() {
  std::shared_ptr<sd_bus> bus = sharesConnection_ ? shared_.lock() : nullptr;
  if (bus == nullptr) {
    bus = openBus(busAddress_, loop_.event());
    watchBus(bus);
    shared_ = bus;
  }
  return bus;
}

void Daemons::watchBus(const std::shared_ptr<sd_bus>& bus) {
  check(sd_bus_match_signal(bus.get(), nullptr, nullptr, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local",
                            "Disconnected", &Daemons::onDisconnected, this),
        "watching the bus");
}

int Daemons::onDisconnected(sd_bus_message* /*message*/, void* daemons, sd_bus_error* /*error*/) {
  auto* const self = static_cast<Daemons*>(daemons);
  self->busGone_ = self->loop_.after(0, [self] { self->onBusGone(); });  // not within the connection's own call
  return 0;
}

// Without a bus bluetoothd ends.
void Daemons::onBusGone() {
  world_.say("the bus is gone");
  stopBluez();
  killOfono();
}

}  // namespace bluez_sim
