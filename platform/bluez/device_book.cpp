#include "platform/bluez/device_book.h"

#include <algorithm>
#include <utility>

#include "platform/bluez/log.h"

namespace vqbluez {
namespace {

// An adapter that is pulled out takes its devices along, one by one, before it goes itself; one that is put in comes
// before its devices. Shorter lists of paired devices wait for the first, since they must not be told then, and the end
// of the freeze for the second.
constexpr std::chrono::milliseconds kPairedPause{300};

// BlueZ reads the Device ID record one or two seconds after pairing, and keeps what it has read: a device that is
// paired already has its vendor at once or never. While it is being paired, a slow radio has its time too.
constexpr std::chrono::seconds kVendorPause{3};
constexpr std::chrono::seconds kPairingPause{10};

VQSBtAppsDef::SppInformationImpl entryOf(const Device& device, std::uint8_t number) {
  VQSBtAppsDef::SppInformationImpl entry;
  entry.deviceId = number;
  entry.btAddress = device.address;
  entry.deviceName = device.name;
  entry.vendorId = device.vendor.value_or(0);
  return entry;
}

bool areEqual(const VQSBtMgrDef::PairedDevice& a, const VQSBtMgrDef::PairedDevice& b) {
  return a.deviceId == b.deviceId && a.vendorId == b.vendorId && a.btAddress == b.btAddress &&
         a.deviceName == b.deviceName;
}

bool holds(const std::vector<VQSBtMgrDef::PairedDevice>& list, std::uint8_t number) {
  return std::any_of(list.begin(), list.end(), [number](const auto& device) { return device.deviceId == number; });
}

}  // namespace

std::optional<DeviceKey> DeviceBook::keyOf(const Device& device) const {
  const auto adapter = bluez_.adapters().find(device.adapter);
  if (adapter == bluez_.adapters().end() || adapter->second.address.empty() || device.address.empty()) {
    return std::nullopt;
  }
  return DeviceKey(adapter->second.address, device.address);
}

bool DeviceBook::isPowered(const Device& device) const {
  const auto adapter = bluez_.adapters().find(device.adapter);
  return adapter != bluez_.adapters().end() && adapter->second.isPowered;
}

std::optional<std::uint8_t> DeviceBook::numberOf(const std::string& path) const {
  const auto found = numberOfPath_.find(path);
  return found == numberOfPath_.end() ? std::nullopt : std::optional<std::uint8_t>(found->second);
}

std::optional<std::uint8_t> DeviceBook::numberForLink(const std::string& path) {
  const auto known = numberOf(path);
  const Device* const device = bluez_.device(path);
  return known || device == nullptr ? known : enter(*device);
}

const Device* DeviceBook::device(std::uint8_t number) const {
  const auto known = known_.find(number);
  return known == known_.end() ? nullptr : bluez_.device(known->second.path);
}

// Gives the device its number.
std::optional<std::uint8_t> DeviceBook::enter(const Device& device) {
  const auto key = keyOf(device);
  const auto number = key ? numbers_.numberOf(*key) : std::nullopt;
  if (!number) {
    return std::nullopt;
  }
  Known& known = known_[*number];
  if (known.path != device.path) {
    numberOfPath_.erase(known.path);
  }
  known.key = *key;
  known.path = device.path;
  numberOfPath_[device.path] = *number;
  return number;
}

void DeviceBook::bluezReady() {
  refreshAll();
  for (auto& [number, known] : known_) {
    if (known.settles) {
      known.settles = Clock::now() + kVendorPause;
    }
  }
  thaw();
}

void DeviceBook::bluezGone() {
  freeze();
  refreshAll();
}

void DeviceBook::adaptersChanged() {
  if (!tellsPaired()) {
    freeze();
  } else if (isFrozen_ && !thawDue_) {
    thawDue_ = Clock::now() + kPairedPause;
  }
  refreshAll();
}

void DeviceBook::deviceChanged(const Device& device) {
  auto number = numberOf(device.path);
  if (!number && device.isPaired) {
    number = enter(device);
  }
  if (number) {
    refresh(*number);
  }
}

void DeviceBook::deviceRemoved(const Device& device) {
  const auto number = numberOf(device.path);
  if (number) {
    refresh(*number);
  }
}

// First those that are there: none takes the place of one that goes at this moment.
void DeviceBook::refreshAll() {
  for (const auto& [path, device] : bluez_.devices()) {
    if (device.isPaired) {
      enter(device);
    }
  }
  std::vector<std::uint8_t> numbers;
  for (const auto& [number, known] : known_) {
    numbers.push_back(number);
  }
  std::stable_partition(numbers.begin(), numbers.end(),
                        [this](std::uint8_t number) { return device(number) != nullptr; });
  for (const std::uint8_t number : numbers) {
    refresh(number);
  }
}

// Brings one device's entry up to date, or forgets the device.
void DeviceBook::refresh(std::uint8_t number) {
  Known& known = known_.at(number);
  const Device* const device = bluez_.device(known.path);
  const bool isPaired = device != nullptr && device->isPaired;
  if (!isPaired && known.links == 0 && bluez_.isReady()) {
    forget(number);
    return;
  }
  if (device != nullptr) {
    known.entry = entryOf(*device, number);
    known.isSettled = known.isSettled || device->vendor.has_value() || device->isResolved;
    // BlueZ forgets with the connection that it has searched a device's services, and does not search anew because
    // the device connects by itself: of many a device nothing more comes.
    if (isPaired && !known.isSettled && !known.settles) {
      known.settles = Clock::now() + kPairingPause;
    }
  }
  const bool isUsable = isPaired && !device->isBlocked && isPowered(*device);
  known.entry.available = isUsable || known.links != 0 ? 1 : 0;
  if (known.isSettled) {
    putEntry(known);
  }
  pairedMayHaveChanged(Clock::now());
}

void DeviceBook::putEntry(const Known& known) {
  if (slots_.put(known.entry)) {
    tellSppList();
  }
}

void DeviceBook::forget(std::uint8_t number) {
  const Known known = known_.at(number);
  numbers_.noteUnpaired(known.key);
  numberOfPath_.erase(known.path);
  known_.erase(number);
  if (slots_.remove(number)) {
    tellSppList();
  }
  pairedMayHaveChanged(Clock::now());
}

void DeviceBook::linkOpened(std::uint8_t number) {
  Known& known = known_.at(number);
  ++known.links;
  if (!known.isSettled) {
    known.settles = Clock::now() + kVendorPause;
  }
  refresh(number);
}

void DeviceBook::linkClosed(std::uint8_t number) {
  const auto known = known_.find(number);
  if (known != known_.end() && known->second.links != 0) {
    --known->second.links;
    refresh(number);
  }
}

void DeviceBook::tick(Time now) {
  for (auto& [number, known] : known_) {
    if (known.settles && *known.settles <= now) {
      known.settles.reset();
      known.isSettled = true;
      putEntry(known);
      pairedMayHaveChanged(now);
    }
  }
  if (thawDue_ && *thawDue_ <= now) {
    thaw();
  }
  if (pairedDue_ && *pairedDue_ <= now) {
    tellPairedList();
  }
}

std::optional<Time> DeviceBook::nextDue() const {
  std::optional<Time> due = thawDue_ ? thawDue_ : pairedDue_;  // never both
  for (const auto& [number, known] : known_) {
    if (known.settles && (!due || *known.settles < *due)) {
      due = known.settles;
    }
  }
  return due;
}

void DeviceBook::tellSppList() {
  VQSBtAppsNtf::SppInformation list;
  list.devices = slots_.list();
  outbox_.put(list);
}

std::vector<VQSBtMgrDef::PairedDevice> DeviceBook::pairedDevices() const {
  std::vector<VQSBtMgrDef::PairedDevice> paired;
  for (const auto& [number, known] : known_) {
    const Device* const device = bluez_.device(known.path);
    if (device != nullptr && device->isPaired && known.isSettled) {
      paired.push_back({device->address, device->name, device->vendor.value_or(0), number});
    }
  }
  return paired;
}

void DeviceBook::pairedMayHaveChanged(Time now) {
  if (isFrozen_) {
    return;
  }
  const auto paired = pairedDevices();
  const bool isSame = std::equal(paired.begin(), paired.end(), told_.begin(), told_.end(),
                                 [](const auto& a, const auto& b) { return areEqual(a, b); });
  const bool hasShrunk =
      std::any_of(told_.begin(), told_.end(), [&](const auto& told) { return !holds(paired, told.deviceId); });
  if (!isSame && !pairedDue_) {
    pairedDue_ = now + (hasShrunk ? kPairedPause : std::chrono::milliseconds(0));
  }
}

void DeviceBook::tellPairedList() {
  pairedDue_.reset();
  if (!isFrozen_) {
    VQSBtMgrDef::PairedDeviceList list;
    list.devices = pairedDevices();
    told_ = list.devices;
    outbox_.put(std::move(list));
  }
}

// Without BlueZ or an adapter nothing tells what is paired, and observers keep what they have meanwhile.
bool DeviceBook::tellsPaired() const {
  return bluez_.isReady() && !bluez_.adapters().empty();
}

void DeviceBook::freeze() {
  thawDue_.reset();
  if (!isFrozen_) {
    isFrozen_ = true;
    pairedDue_.reset();
    VQSBtMgrDef::PairedListFreeze record;
    record.frozen = 1;
    outbox_.put(record);
  }
}

void DeviceBook::thaw() {
  thawDue_.reset();
  if (isFrozen_ && tellsPaired()) {
    isFrozen_ = false;
    outbox_.put(VQSBtMgrDef::PairedListFreeze{});
    tellPairedList();
  }
}

}  // namespace vqbluez
