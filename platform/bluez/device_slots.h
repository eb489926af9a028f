// The device list of notice 6: every device has a place and keeps it.
//
// Receivers compare a list with the former one place by place, and stop at the first device of Apple's in the new one.
// So places are never closed up: that of a device that has gone holds an entry that counts as none until another device
// takes it. Apple's devices stand behind all others, where their coming and going moves nothing; a place of theirs
// stays theirs, since a list that ends before it would read as a device that has gone.
// Threads: one at a time.
#pragma once

#include <cstddef>
#include <vector>

#include "VQBluetooth/VQSBtAppsDef.h"

namespace vqbluez {

class DeviceSlots {
 public:
  using Entry = VQSBtAppsDef::SppInformationImpl;

  static constexpr std::size_t kMostEntries = 255;  // receivers count them with 8 bits

  // Sets a device's entry. True when the list has changed.
  bool put(const Entry& entry);
  // The device goes; its place stays. True when the list has changed.
  bool remove(std::uint8_t deviceId);

  std::vector<Entry> list() const;
  // Whether the device has an entry, available or not.
  bool has(std::uint8_t deviceId) const;

 private:
  struct Slot {
    Entry entry;
    bool isHeld;  // by a device; else it is only a place
  };

  static Slot* slotFor(std::vector<Slot>& slots, std::uint8_t deviceId);
  static bool put(std::vector<Slot>& slots, const Entry& entry);
  static bool remove(std::vector<Slot>& slots, std::uint8_t deviceId);
  static bool holds(const std::vector<Slot>& slots, std::uint8_t deviceId);

  std::vector<Slot> others_;
  std::vector<Slot> apples_;
};

}  // namespace vqbluez
