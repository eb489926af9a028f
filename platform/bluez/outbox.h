// Notices that wait for the I/O thread to hand them to the observers.
//
// Whoever changes something puts its notices here, with the lock of the library held; the I/O thread takes them out and
// calls the observers with no lock held. So all notices leave in the order of the events, from one thread.
#pragma once

#include <list>
#include <utility>
#include <variant>

#include "VQBluetooth/VQSBtAppsNtf.h"
#include "VQBluetooth/VQSBtMgrDef.h"

namespace vqbluez {

using Notice = std::variant<VQSBtAppsNtf::SppConnectionState, VQSBtAppsNtf::SppReceivedData,
                            VQSBtAppsNtf::SppDataSendResult, VQSBtAppsNtf::SppInformation,
                            VQSBtMgrDef::PairedDeviceList, VQSBtMgrDef::HfpConnection, VQSBtMgrDef::PairedListFreeze>;

class Outbox {
 public:
  template <class Record>
  void put(Record record) {
    notices_.emplace_back(std::move(record));
  }
  bool isEmpty() const { return notices_.empty(); }
  std::list<Notice> takeAll() noexcept { return std::exchange(notices_, {}); }

 private:
  std::list<Notice> notices_;  // moving it takes no memory
};

}  // namespace vqbluez
