// A notification as it lies in the notifier's log, and what it means in the words of the product's headers.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "text/fields.h"

namespace inspect {

// The identifiers of the channel (iOSAppRecords.h). Others belong to whoever else uses the notifier.
constexpr std::uint32_t kIdFromHU = 2;         // iOSAppCommonDataNotify
constexpr std::uint32_t kIdFromDevice = 3;     // iOSAppCommonDataNotify
constexpr std::uint32_t kIdConnectStatus = 4;  // iosapp_def_::ConnectStatusNotify
constexpr std::uint32_t kIdAppInfo = 5;        // 4-byte index of the new entry

struct Message {
  std::uint64_t sequence = 0;  // place in the total order, counted since the log was made
  std::uint64_t time = 0;      // nanoseconds of the monotonic clock, taken by the sender under the log's lock
  std::uint32_t number = 0;    // how many of this identifier came before, modulo 2^32
  std::uint32_t id = 0;
  std::uint32_t pid = 0;       // of the sender
  std::uint32_t size = 0;      // of the payload; 0 where `sizeWord` claims more than a payload may have
  std::uint32_t sizeWord = 0;  // as it stands
  bool isForNobody = false;    // a registration came or went; `id` and payload mean nothing
  std::array<std::uint8_t, VQSharedMemNotifier::kMaxPayload> payload = {};  // zeros behind `size`
};

// Payloads as their records. None where the identifier is another one, or there is no payload at all, which receivers
// ignore, too. A short payload counts as followed by zeros, as receivers see it.
std::optional<iosapp_def_::ConnectStatusNotify> connectStatusOf(const Message& message);
std::optional<iOSAppCommonDataNotify> announcementOf(const Message& message);
std::optional<std::uint32_t> registeredPlaceOf(const Message& message);

// "ConnectStatus", "FromHU", "FromDevice", "AppInfo"; empty for a foreign one.
const char* identifierName(std::uint32_t id);
// "NOTIFYID_SESSIONSTATUS"; empty for a value that the header does not name.
const char* kindName(std::uint32_t notifyType);
// What a message is, in a word or two: the kind's name, else the identifier's, "id 77" for a foreign identifier,
// "registrations" for a message for nobody.
std::string nameOf(const Message& message);

// What the payload says, by the names of the record's fields, those that its kind fills only. For a payload that is not
// the channel's: its size and first bytes.
text::Fields fieldsOf(const Message& message);

// "a0:b1:c2:d3:e4:f5".
std::string addressText(const std::uint8_t (&address)[6]);

}  // namespace inspect
