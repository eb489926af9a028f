#include "platform/bluez/hands_free.h"

namespace vqbluez {
namespace {

constexpr std::uint32_t kHandsFreeProfile = 1;
constexpr std::uint32_t kConnected = 3;

}  // namespace

void HandsFree::report(const std::string& device, bool isConnected) {
  if (isConnected) {
    connected_.try_emplace(device);
    tellNew();
    return;
  }
  const auto known = connected_.find(device);
  if (known != connected_.end()) {
    if (known->second) {
      tell(*known->second, false);
    }
    connected_.erase(known);
  }
}

void HandsFree::tellNew() {
  for (auto& [path, told] : connected_) {
    const auto number = devices_.numberOf(path);
    if (!told && number) {
      told = number;
      tell(*number, true);
    }
  }
}

void HandsFree::tellAll() {
  for (const auto& [path, told] : connected_) {
    if (told) {
      tell(*told, true);
    }
  }
}

void HandsFree::tell(std::uint8_t number, bool isConnected) {
  VQSBtMgrDef::HfpConnection record;
  record.deviceId = number;
  record.profile = kHandsFreeProfile;
  record.state = isConnected ? kConnected : 0;
  outbox_.put(record);
}

}  // namespace vqbluez
