// Writing and reading one message of a data ring, the same for server and client.
//
// Threads: any; both take the endpoint's segment lock, so the caller holds no lock of this product.
#pragma once

#include <cstdint>
#include <memory>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"

// Copies a message into the next slot and announces the slot under the endpoint's notify identifier.
// False, and nothing changes, where the segment is not mapped, `data` is null, or `size` is 0 or more than 4096.
bool writeToRing(iOSAppCommonLocalMem& endpoint, std::uint32_t appId, const unsigned char* data, std::uint32_t size);

struct RingMessage {
  std::unique_ptr<std::uint8_t[]> data;  // one whole slot, zero behind the message; null where there is no message
  std::uint32_t size = 0;                // 1..4096 where there is one
};

// Without a message where the segment is not mapped, the index is beyond the ring, the slot was never written, or
// memory is short.
RingMessage readFromRing(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex);
