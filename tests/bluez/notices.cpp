#include "tests/bluez/notices.h"

#include <stdio.h>

#include <algorithm>

#include "tests/support/roles.h"
#include "tools/bluez_sim/pattern.h"

namespace bluez_test {
namespace {

constexpr std::size_t kKeptText = 64;

bool isApple(const VQSBtAppsDef::SppInformationImpl& device) {
  return device.vendorId == 0x05AC || device.vendorId == 0x004C;
}

std::string describe(const VQSBtAppsDef::SppInformationImpl& device) {
  char vendor[8];
  snprintf(vendor, sizeof vendor, "%04x", device.vendorId);
  return "[" + std::to_string(device.deviceId) + " " + device.deviceName + " " + vendor + " " +
         std::to_string(device.available) + "]";
}

}  // namespace

// Long enough for another notice to come in between, where that is possible.
class Notices::Turn {
 public:
  explicit Turn(Notices& notices) : notices_(notices) {
    if (++notices_.running_ != 1) {
      notices_.problem("two notices at the same time");
    }
    std::this_thread::yield();
  }
  ~Turn() { --notices_.running_; }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  Notices& notices_;
};

std::string linkName(unsigned int device, const std::string& uuid) {
  return std::to_string(device) + " " + uuid;
}

unsigned int Notices::onApps(unsigned int id, void* record, unsigned int size) {
  const Turn turn(*this);
  checkThread();
  if (record == nullptr || size == 0) {
    problem("a notice without a record");
    return 0;
  }
  switch (id) {
    case VQSBtAppsNtf::NOTIFYID_SPPCONNECTIONSTATE:
      take(*static_cast<const VQSBtAppsNtf::SppConnectionState*>(record));
      break;
    case VQSBtAppsNtf::NOTIFYID_SPPRECEIVEDDATA:
      take(*static_cast<const VQSBtAppsNtf::SppReceivedData*>(record));
      break;
    case VQSBtAppsNtf::NOTIFYID_SPPDATASENDRESULT:
      take(*static_cast<const VQSBtAppsNtf::SppDataSendResult*>(record));
      break;
    case VQSBtAppsNtf::NOTIFYID_SPPINFORMATION:
      take(*static_cast<const VQSBtAppsNtf::SppInformation*>(record));
      break;
    default:
      problem("an unknown notice " + std::to_string(id));
      break;
  }
  return 0;
}

unsigned int Notices::onManager(unsigned int id, void* record, unsigned int size) {
  const Turn turn(*this);
  checkThread();
  if (record == nullptr || size == 0) {
    problem("a notice without a record");
  } else if (id == VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST) {
    std::string line = "paired";
    for (const auto& device : static_cast<const VQSBtMgrDef::PairedDeviceList*>(record)->devices) {
      line += " " + std::to_string(device.deviceId) + "=" + device.btAddress;
    }
    test_support::say(line);
  } else if (id == VQSBtMgrDef::NOTIFYID_HFPCONNECTION) {
    const auto* const event = static_cast<const VQSBtMgrDef::HfpConnection*>(record);
    test_support::say("hands-free " + std::to_string(event->deviceId) + " profile " + std::to_string(event->profile) +
                      " state " + std::to_string(event->state));
  } else if (id == VQSBtMgrDef::NOTIFYID_PAIREDLISTFREEZE) {
    test_support::say(static_cast<const VQSBtMgrDef::PairedListFreeze*>(record)->frozen != 0 ? "frozen" : "thawed");
  } else {
    problem("an unknown notice " + std::to_string(id));
  }
  return 0;
}

std::string Notices::devices() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::string line;
  for (const Device& device : devices_) {
    line += describe(device);
  }
  return !hasList_ ? "no list" : line.empty() ? "none" : line;
}

std::string Notices::received(const std::string& link) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = streams_.find(link);
  const Stream stream = found == streams_.end() ? Stream() : found->second;
  return std::to_string(stream.bytes) + " wrong-at=" + stream.wrongAt;
}

std::string Notices::text(const std::string& link) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = streams_.find(link);
  return found == streams_.end() ? "" : found->second.last;
}

std::string Notices::results() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return "sent=" + std::to_string(sent_) + " unsent=" + std::to_string(unsent_);
}

std::string Notices::problems() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return problems_.empty() ? "none" : problems_;
}

void Notices::take(const VQSBtAppsNtf::SppConnectionState& record) {
  const std::string link = linkName(record.deviceId, record.uuid);
  if (record.state == 1) {
    const std::lock_guard<std::mutex> lock(mutex_);
    streams_[link] = Stream();
    if (std::none_of(devices_.begin(), devices_.end(),
                     [&](const Device& d) { return d.deviceId == record.deviceId; })) {
      problems_ += "a link of a device that is not listed; ";
    }
  }
  test_support::say("link " + link + (record.state == 1 ? " up" : " down"));
}

void Notices::take(const VQSBtAppsNtf::SppReceivedData& record) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = streams_.find(linkName(record.deviceId, record.uuid));
  if (found == streams_.end()) {
    problems_ += "data of a link that was not told; ";
    return;
  }
  Stream& stream = found->second;
  const unsigned char* const bytes = record.data.getBuffer();
  for (unsigned int i = 0; i < record.data.getSize(); ++i, ++stream.bytes) {
    if (bytes[i] != bluez_sim::patternByte(stream.bytes) && stream.wrongAt == "none") {
      stream.wrongAt = std::to_string(stream.bytes);
    }
    stream.last += static_cast<char>(bytes[i]);
  }
  stream.last.erase(0, stream.last.size() - std::min(stream.last.size(), kKeptText));
}

void Notices::take(const VQSBtAppsNtf::SppDataSendResult& record) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++(record.result ? sent_ : unsent_);
}

void Notices::take(const VQSBtAppsNtf::SppInformation& record) {
  if (record.errorCode != 0) {
    problem("a list that is no list");
    return;
  }
  checkPlaces(record.devices);
  const std::lock_guard<std::mutex> lock(mutex_);
  devices_ = record.devices;
  hasList_ = true;
}

// Receivers compare place by place: one change a notice, nobody moves, Apple's stand behind the others.
void Notices::checkPlaces(const std::vector<Device>& list) {
  std::vector<Device> before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before = hasList_ ? devices_ : list;
  }
  if (list.size() > 255) {
    problem("a list of " + std::to_string(list.size()));
  }
  if (!std::is_partitioned(list.begin(), list.end(), [](const Device& device) { return !isApple(device); })) {
    problem("a device behind Apple's");
  }
  unsigned int changes = 0;
  for (std::size_t i = 0; i < std::max(list.size(), before.size()); ++i) {
    const bool hasBoth = i < list.size() && i < before.size();
    if (hasBoth && (isApple(list[i]) || isApple(before[i]))) {
      continue;  // these may move: nobody compares them
    }
    changes += hasBoth && describe(list[i]) == describe(before[i]) ? 0U : 1U;
  }
  if (changes > 1) {
    problem(std::to_string(changes) + " changes in one list");
  }
}

void Notices::checkThread() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (thread_ == std::thread::id()) {
    thread_ = std::this_thread::get_id();
  }
  if (thread_ != std::this_thread::get_id()) {
    problems_ += "a notice on another thread; ";
  }
}

void Notices::problem(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  problems_ += text + "; ";
}

}  // namespace bluez_test
