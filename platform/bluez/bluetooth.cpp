#include "platform/bluez/bluetooth.h"

#include <string.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/bluez/log.h"
#include "platform/bluez/until_there_is_memory.h"

namespace vqbluez {
namespace {

constexpr std::chrono::seconds kStartLimit{2};
constexpr std::chrono::milliseconds kStartStep{100};

// Messages of the bus that are served before the links get their turn again.
constexpr int kBusTurn = 64;

}  // namespace

Bluetooth::Bluetooth(std::unique_ptr<HfpSource> handsFreeSource) : handsFreeSource_(std::move(handsFreeSource)) {}

Bluetooth::~Bluetooth() {
  untilThereIsMemory([this] { stop(); });
}

void Bluetooth::start() {
  const Time end = Clock::now() + kStartLimit;
  busPause_.reset();
  openBus(Clock::now());
  while (bus_ != nullptr && !bluez_.isDecided() && Clock::now() < end) {
    const int result = bus_->process();
    if (result < 0) {
      closeBus();
    } else if (result == 0) {
      bus_->waitForWork(kStartStep);
    }
  }
}

void Bluetooth::stop() {
  spp_.endAll();
  if (bus_ != nullptr) {
    closeBus();
  }
  busDue_.reset();
}

void Bluetooth::openBus(Time now) {
  int error = 0;
  busDue_.reset();
  bus_ = Bus::open(error);
  if (bus_ == nullptr) {
    if (error != busError_) {
      logLine("no Bluetooth: cannot reach the D-Bus system bus: %s", strerror(error));
    }
    busError_ = error;
    busDue_ = now + busPause_.next();
    return;
  }
  spp_.busStarted(*bus_);
  bluez_.start(*bus_);
  handsFreeSource_->start(
      *bus_, [this](const std::string& device, bool isConnected) { handsFree_.report(device, isConnected); });
}

void Bluetooth::closeBus() {
  bluez_.stop();
  spp_.busGone();
  handsFreeSource_->stop();
  bus_.reset();
  busHasMore_ = false;
  busDue_ = Clock::now() + busPause_.next();
}

void Bluetooth::processBus() {
  busHasMore_ = false;
  for (int i = 0; i < kBusTurn; ++i) {
    const int result = bus_->process();
    if (result < 0) {
      if (-result != busError_) {
        busError_ = -result;
        logLine("the connection to D-Bus is lost: %s", strerror(-result));
      }
      closeBus();
      return;
    }
    if (result == 0) {
      return;
    }
  }
  busHasMore_ = true;
}

void Bluetooth::addTo(Watch& watch) {
  const Time now = Clock::now();
  std::optional<Time> due = busDue_;
  for (const auto& other : {bluez_.nextDue(), handsFreeSource_->nextDue(), devices_.nextDue(), spp_.nextDue()}) {
    due = !due || (other && *other < *due) ? other : due;
  }
  auto wait = std::chrono::milliseconds(-1);
  if (due) {
    wait = *due <= now ? std::chrono::milliseconds(0) : std::chrono::ceil<std::chrono::milliseconds>(*due - now);
  }
  if (bus_ != nullptr) {
    watch.sockets.push_back({bus_->fd(), bus_->events(), 0});
    watch.links.push_back(0);
    const auto ofBus = busHasMore_ ? std::chrono::milliseconds(0) : bus_->wait();
    wait = wait.count() < 0 || (ofBus.count() >= 0 && ofBus < wait) ? ofBus : wait;
  }
  for (const auto& link : spp_.links().all()) {
    watch.sockets.push_back(link->watched());
    watch.links.push_back(link->id);
  }
  watch.milliseconds =
      static_cast<int>(std::min<std::chrono::milliseconds::rep>(wait.count(), std::numeric_limits<int>::max()));
}

void Bluetooth::serve(const Watch& watch) {
  for (std::size_t i = 0; i < watch.sockets.size(); ++i) {
    if (watch.links[i] != 0 && watch.sockets[i].revents != 0) {
      spp_.serve(watch.links[i], watch.sockets[i].revents);
    }
  }
  const Time now = Clock::now();
  if (bus_ == nullptr && busDue_ && *busDue_ <= now) {
    openBus(now);
  }
  if (bus_ != nullptr) {
    processBus();
  }
  bluez_.tick(now);
  handsFreeSource_->tick(now);
  devices_.tick(now);
  handsFree_.tellNew();
  spp_.tick(now);
}

void Bluetooth::tellManagerState() {
  if (!devices_.isFrozen()) {  // else the list comes to everybody when there is one
    outbox_.put(VQSBtMgrDef::PairedListFreeze{});
    devices_.tellPairedList();
  }
  handsFree_.tellAll();
}

void Bluetooth::onBluezReady() {
  busPause_.reset();
  busError_ = 0;
  devices_.bluezReady();
  handsFree_.tellNew();
  spp_.bluezReady();
}

void Bluetooth::onBluezGone() {
  devices_.bluezGone();
  spp_.bluezGone();
}

void Bluetooth::onAdaptersChanged() {
  devices_.adaptersChanged();
  spp_.deviceMayBeThere(std::nullopt);
}

void Bluetooth::onDeviceChanged(const Device& device, const Device* before, bool servicesChanged) {
  devices_.deviceChanged(device);
  const bool hasConnected = device.isConnected && (before == nullptr || !before->isConnected);
  const auto number = devices_.numberOf(device.path);
  if (number && (hasConnected || servicesChanged)) {
    spp_.deviceMayBeThere(number);
  }
}

void Bluetooth::onDeviceRemoved(const Device& device) {
  devices_.deviceRemoved(device);
}

}  // namespace vqbluez
