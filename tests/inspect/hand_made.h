// Objects of the channel made by hand in the test's own /dev/shm, as whole or as broken as a test wants them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppRecords.h"
#include "platform/reference/message_log_layout.h"

namespace hand_made {

// An object of so many zero bytes, in place of what has the name.
void makeObject(const std::string& name, std::size_t size);
// A whole segment: size word and a blank record.
void makeSegment(const std::string& name);
void makeFourSegments();
// A whole lock, free.
void makeLock(const std::string& segment);

// Writes at `offset` of the record.
void writeRecord(const std::string& segment, std::size_t offset, const void* bytes, std::size_t size);
void writeWord(const std::string& segment, std::size_t offset, std::uint32_t word);
// An entry of the registration table, and the count behind it.
void registerApp(std::uint32_t place, const std::string& name, const std::string& launchString,
                 const std::string& iAP1Name = "");
// A slot of a ring, and the write index behind it.
void writeSlot(const std::string& ring, std::uint32_t slot, const std::string& bytes);

// The notifier's log, mapped to be written.
class Log {
 public:
  Log();
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  vqframework::MessageLogObject& object() { return *object_; }
  vqframework::MessageSlot& slot(std::uint64_t sequence) { return object_->slots[sequence % vqframework::kSlotCount]; }
  vqframework::AttachedPlace& place(std::size_t index) { return object_->places[index]; }

  // As a poster does it, in its order. The sender is this process unless `pid` says otherwise.
  void post(std::uint32_t id, const void* payload, std::uint32_t size, std::uint32_t pid = 0);
  void post(std::uint32_t id, const std::string& payload = "");
  void postForNobody();
  void postStatus(iosapp_def_::ConnectStatusNotify status, std::uint32_t pid = 0);
  void announce(std::uint32_t id, std::uint32_t appId, std::uint32_t slotIndex, std::uint32_t pid = 0);
  void announcePlace(std::uint32_t place, std::uint32_t pid = 0);

  void listReceiver(std::size_t index, std::uint32_t pid, std::uint64_t position,
                    const std::vector<std::uint32_t>& ids);

 private:
  void append(std::uint32_t id, const void* payload, std::uint32_t sizeWord, std::uint32_t size, std::uint32_t pid);

  vqframework::MessageLogObject* object_ = nullptr;
};

iosapp_def_::ConnectStatusNotify statusOf(iosapp_def_::NotifyType type, std::uint32_t appId = 0);

}  // namespace hand_made
