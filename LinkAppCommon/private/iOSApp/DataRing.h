// Writing and reading one message of a data ring, the same for server and client.
//
// Threads: any; both take the endpoint's segment lock, so the caller holds no lock of this product.
#pragma once

#include <cstdint>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"

// Copies a message into the next slot and announces the slot under the endpoint's notify identifier.
// False, and nothing changes, where the segment is not mapped, `data` is null, or `size` is 0 or more than 4096.
bool writeToRing(iOSAppCommonLocalMem& endpoint, std::uint32_t appId, const unsigned char* data, std::uint32_t size);

// Reading takes two steps, each under a hold of the lock of its own: first the size, then the bytes of the slot as they
// are by then. The first size is the one that is reported, so a writer that laps the reader in between is seen so.

// 1..4096; 0 where the segment is not mapped, the index is beyond the ring, or the slot was never written.
std::uint32_t readSizeFromRing(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex);

// Room for a whole slot.
struct SlotCopy {
  std::uint8_t* bytes;  // iOSAppCommonDataList::kSlotBytes of them
  std::uint32_t used;   // behind so many of them there are zeros only
};

// Fills the copy with the message and zeros behind it. False, and nothing changes, where the segment is not mapped or
// the index is beyond the ring.
bool readSlotFromRing(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex, SlotCopy& copy);
