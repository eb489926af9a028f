// What observers know about devices: the SPP device list (notice 6), the paired list (12) and its freeze (24).
//
// A device is listed when it is paired and its vendor is known, or is known to be absent: a phone that is listed as
// nobody's first and as Apple's later would have been reported as an SPP phone meanwhile.
// Threads: one at a time.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/bluez/bluez_objects.h"
#include "platform/bluez/device_numbers.h"
#include "platform/bluez/device_slots.h"
#include "platform/bluez/outbox.h"

namespace vqbluez {

class DeviceBook {
 public:
  DeviceBook(const BluezObjects& bluez, Outbox& outbox) : bluez_(bluez), outbox_(outbox) {}

  // BlueZ's events, as BluezListener has them.
  void bluezReady();
  void bluezGone();
  void adaptersChanged();
  void deviceChanged(const Device& device);
  void deviceRemoved(const Device& device);

  // A device with an open link is there, whatever BlueZ says or does not say any more.
  void linkOpened(std::uint8_t number);
  void linkClosed(std::uint8_t number);

  bool isListed(std::uint8_t number) const { return slots_.has(number); }
  // The number of a device that is paired, or that has one by `numberForLink`.
  std::optional<std::uint8_t> numberOf(const std::string& path) const;
  // The same; an unknown device gets one.
  std::optional<std::uint8_t> numberForLink(const std::string& path);
  // The device with this number; null where BlueZ has none.
  const Device* device(std::uint8_t number) const;
  bool isKnown(std::uint8_t number) const { return known_.count(number) != 0; }
  bool isPowered(const Device& device) const;

  // Puts the present lists into the outbox.
  void tellSppList();
  void tellPairedList();
  bool isFrozen() const { return isFrozen_; }

  // What comes with time: devices whose vendor does not become known, and the paired list after something has left it.
  void tick(Time now);
  std::optional<Time> nextDue() const;

 private:
  struct Known {
    DeviceKey key;
    std::string path;
    DeviceSlots::Entry entry{};     // as it was last
    unsigned int links = 0;         // that are open
    std::optional<Time> settles{};  // when its vendor counts as absent
    bool isSettled = false;
  };

  std::optional<DeviceKey> keyOf(const Device& device) const;
  std::optional<std::uint8_t> enter(const Device& device);
  void refresh(std::uint8_t number);
  void refreshAll();
  void forget(std::uint8_t number);
  void putEntry(const Known& known);
  bool tellsPaired() const;
  void freeze();
  void thaw();
  void pairedMayHaveChanged(Time now);
  std::vector<VQSBtMgrDef::PairedDevice> pairedDevices() const;

  const BluezObjects& bluez_;
  Outbox& outbox_;
  DeviceNumbers numbers_;
  DeviceSlots slots_;
  std::map<std::uint8_t, Known> known_;
  std::map<std::string, std::uint8_t> numberOfPath_;
  std::vector<VQSBtMgrDef::PairedDevice> told_;  // notice 12 as it was last
  std::optional<Time> pairedDue_;
  std::optional<Time> thawDue_;
  bool isFrozen_ = true;
};

}  // namespace vqbluez
