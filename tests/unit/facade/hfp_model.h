// The rules of the hands-free judge once more, plainly: lists walked from the front, every step written out. It shares
// no code with the product, so that a slip would have to be made twice.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "VQBluetooth/VQSBtMgrDef.h"

namespace hfp_model {

struct Entry {
  unsigned int kind;
  unsigned int device;
  bool connected;
};

inline bool operator==(const Entry& a, const Entry& b) {
  return a.kind == b.kind && a.device == b.device && a.connected == b.connected;
}

class Model {
 public:
  std::vector<Entry> calls;             // what the listener is told, in order
  std::optional<unsigned int> setting;  // "LinkAppDevice" as the file has it

  void hfpEvent(unsigned int device, unsigned int profile, unsigned int state) {
    if (profile != 1) {
      return;
    }
    bool known = false;
    for (Entry& entry : connections) {
      if (entry.device == device) {
        entry.connected = state == 3;
        known = true;
        break;
      }
    }
    if (!known) {
      connections.push_back({1, device, state == 3});
    }
    judge();
  }

  void freeze(unsigned int byte) { frozen = byte != 0; }

  void pairedDevices(const std::vector<VQSBtMgrDef::PairedDevice>& devices) {
    if (frozen) {
      return;
    }
    paired.clear();
    for (const VQSBtMgrDef::PairedDevice& device : devices) {
      const bool apple = device.vendorId == 1452 || device.vendorId == 76;
      paired.push_back({apple ? 1U : 0U, device.deviceId, false});
    }
    judge();
  }

  void deviceInfo(unsigned int device, unsigned int sppState, unsigned int hfpConnected) {
    if (sppDevice != 255) {
      if (device != sppDevice || sppState != 0) {
        return;
      }
      sppActive = false;
      judgeSpp();
      sppDevice = 255;
      return;
    }
    if (sppState != 0) {
      sppActive = true;
      sppDevice = device;
      judgeSpp();
      return;
    }
    const bool up = hfpConnected == 1;
    for (std::size_t i = 0; i < usb.size(); ++i) {
      if (usb[i].device != device) {
        continue;
      }
      if (usb[i].connected && !up) {
        calls.push_back({1, device, false});
        usb.erase(usb.begin() + static_cast<std::ptrdiff_t>(i));
      } else if (!usb[i].connected && up) {
        usb[i].connected = true;
        calls.push_back({1, device, true});
      }
      return;
    }
    if (up) {
      calls.push_back({1, device, true});
      usb.push_back({1, device, true});
    }
  }

 private:
  void judge() {
    std::vector<Entry> working;
    for (Entry& p : paired) {
      for (const Entry& h : connections) {
        if (h.device != p.device) {
          continue;
        }
        if (p.kind == 0) {
          p.connected = h.connected;
          working.push_back(p);
          break;
        }
        Entry* candidate = nullptr;
        for (Entry& entry : candidates) {
          if (entry.device == p.device) {
            candidate = &entry;
            break;
          }
        }
        if (candidate == nullptr) {
          candidates.push_back({0, p.device, h.connected});
          judgeSpp();
          break;
        }
        if (candidate->connected != h.connected) {
          candidate->connected = h.connected;
          judgeSpp();
        }
      }
    }
    for (const Entry& e : working) {
      bool found = false;
      for (Entry& r : reported) {
        if (r.device == e.device) {
          found = true;
          if (r.connected != e.connected) {
            calls.push_back(e);
            r.connected = e.connected;
          }
          break;
        }
      }
      if (!found && e.connected) {
        calls.push_back(e);
        reported.push_back(e);
      }
    }
    for (Entry& r : reported) {
      bool found = false;
      for (const Entry& e : working) {
        found = found || e.device == r.device;
      }
      if (!found && r.connected) {
        r.connected = false;
        calls.push_back(r);
      }
    }
  }

  void judgeSpp() {
    for (const Entry& e : candidates) {
      if (sppActive && e.connected && sppDevice <= 254 && e.device <= 254) {
        if (!setting.has_value()) {
          setting = 255;
        }
        if (e.device == *setting % 256 && !notifiedConnected) {
          calls.push_back({1, sppDevice, true});
          notifiedConnected = true;
          return;
        }
      } else if (notifiedConnected) {
        calls.push_back({1, sppDevice, false});
        notifiedConnected = false;
        return;
      }
    }
  }

  bool frozen = false;
  std::vector<Entry> paired;
  std::vector<Entry> connections;
  std::vector<Entry> reported;
  std::vector<Entry> candidates;
  std::vector<Entry> usb;
  unsigned int sppDevice = 255;
  bool sppActive = false;
  bool notifiedConnected = false;
};

}  // namespace hfp_model
