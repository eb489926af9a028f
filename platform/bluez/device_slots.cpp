#include "platform/bluez/device_slots.h"

#include <algorithm>

#include "platform/bluez/modalias.h"

namespace vqbluez {
namespace {

bool areEqual(const DeviceSlots::Entry& a, const DeviceSlots::Entry& b) {
  return a.deviceId == b.deviceId && a.btAddress == b.btAddress && a.deviceName == b.deviceName &&
         a.vendorId == b.vendorId && a.available == b.available;
}

}  // namespace

bool DeviceSlots::put(const Entry& entry) {
  std::vector<Slot>& slots = isApple(entry.vendorId) ? apples_ : others_;
  std::vector<Slot>& formerSlots = isApple(entry.vendorId) ? others_ : apples_;
  // In a place that was the first of Apple's devices until now, an entry that is not available reads as if that device
  // had gone. It has to wait.
  const bool hasToWait =
      entry.available == 0 && &slots == &others_ && !apples_.empty() && slotFor(others_, entry.deviceId) == nullptr;
  const bool hasLeft = remove(formerSlots, entry.deviceId);
  return (!hasToWait && put(slots, entry)) || hasLeft;
}

bool DeviceSlots::remove(std::uint8_t deviceId) {
  return remove(others_, deviceId) || remove(apples_, deviceId);
}

// Where the device stands or stood; else a place that nobody holds; null when there is none.
DeviceSlots::Slot* DeviceSlots::slotFor(std::vector<Slot>& slots, std::uint8_t deviceId) {
  Slot* free = nullptr;
  for (Slot& slot : slots) {
    if (slot.entry.deviceId == deviceId) {
      return &slot;
    }
    if (!slot.isHeld && free == nullptr) {
      free = &slot;
    }
  }
  return free;
}

bool DeviceSlots::put(std::vector<Slot>& slots, const Entry& entry) {
  Slot* const slot = slotFor(slots, entry.deviceId);
  if (slot == nullptr) {
    if (slots.size() == kMostEntries) {
      return false;
    }
    slots.push_back({entry, true});
    return true;
  }
  if (slot->isHeld && areEqual(slot->entry, entry)) {
    return false;
  }
  *slot = {entry, true};
  return true;
}

bool DeviceSlots::remove(std::vector<Slot>& slots, std::uint8_t deviceId) {
  for (Slot& slot : slots) {
    if (slot.isHeld && slot.entry.deviceId == deviceId) {
      slot.isHeld = false;
      slot.entry.available = 0;
      return true;
    }
  }
  return false;
}

std::vector<DeviceSlots::Entry> DeviceSlots::list() const {
  std::vector<Entry> list;
  for (const std::vector<Slot>* const slots : {&others_, &apples_}) {
    for (const Slot& slot : *slots) {
      if (list.size() < kMostEntries) {
        list.push_back(slot.entry);
      }
    }
  }
  return list;
}

bool DeviceSlots::holds(const std::vector<Slot>& slots, std::uint8_t deviceId) {
  return std::any_of(slots.begin(), slots.end(),
                     [deviceId](const Slot& slot) { return slot.isHeld && slot.entry.deviceId == deviceId; });
}

bool DeviceSlots::has(std::uint8_t deviceId) const {
  return holds(others_, deviceId) || holds(apples_, deviceId);
}

}  // namespace vqbluez
