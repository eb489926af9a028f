// segmentRecord: the record of a segment, or null where the segment is not mapped.
#pragma once

#include "VQFramework/SharedMemory/VQSharedMemory.h"

template <class T>
T* segmentRecord(const VQSharedMemory<T, 1>& segment) {
  constexpr std::size_t kSizeWordBytes = 4;
  if (segment.mapping == MAP_FAILED || segment.mapping == nullptr) {
    return nullptr;
  }
  void* const record = static_cast<char*>(segment.mapping) + kSizeWordBytes;
  return static_cast<T*>(record);
}
