// What a head-unit process hears from VQSBtApps and VQSBtManager, checked against what both promise about all notices.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "VQBluetooth/VQSBtAppsNtf.h"
#include "VQBluetooth/VQSBtMgrDef.h"
#include "VQFramework/Observer/VQObserver.h"

namespace bluez_test {

// Says links ("link 0 UUID up") and the manager's notices as they come; keeps the rest for questions. Any thread.
class Notices {
 public:
  unsigned int onApps(unsigned int id, void* record, unsigned int size);
  unsigned int onManager(unsigned int id, void* record, unsigned int size);

  std::string devices() const;                          // "[NUMBER NAME VENDOR AVAILABLE]..."
  std::string received(const std::string& link) const;  // since the link came up: bytes, first wrong one
  std::string text(const std::string& link) const;      // the bytes themselves, the last few
  std::string results() const;                          // of all sends so far
  std::string problems() const;                         // broken promises, or "none"

 private:
  struct Stream {
    std::size_t bytes = 0;
    std::string wrongAt = "none";
    std::string last;
  };
  using Device = VQSBtAppsDef::SppInformationImpl;

  void take(const VQSBtAppsNtf::SppConnectionState& record);
  void take(const VQSBtAppsNtf::SppReceivedData& record);
  void take(const VQSBtAppsNtf::SppDataSendResult& record);
  void take(const VQSBtAppsNtf::SppInformation& record);
  void checkPlaces(const std::vector<Device>& list);
  void checkThread();
  void problem(const std::string& text);

  class Turn;  // one notice at a time
  std::atomic<int> running_{0};

  mutable std::mutex mutex_;  // guards what follows
  std::thread::id thread_;
  std::vector<Device> devices_;
  bool hasList_ = false;
  std::map<std::string, Stream> streams_;  // by "NUMBER UUID"
  unsigned int sent_ = 0;
  unsigned int unsent_ = 0;
  std::string problems_;
};

std::string linkName(unsigned int device, const std::string& uuid);

}  // namespace bluez_test
