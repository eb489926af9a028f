// VQBinary: a byte buffer of its own.
//
// Threads: like a std::vector. Copies are deep.
#pragma once

#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQBinary {
 public:
  VQBinary();
  // Copies `size` bytes. A null `data` gives an empty buffer.
  VQBinary(const void* data, unsigned int size);
  // Copies the bytes.
  VQBinary(const VQBinary& other);
  // Copies the bytes over what it held; its former buffer is gone.
  VQBinary& operator=(const VQBinary& other);
  ~VQBinary();

  // The bytes, valid until the object changes or goes; null when it is empty.
  const unsigned char* getBuffer() const;
  // Number of bytes.
  unsigned int getSize() const;

 private:
  struct State;
  State* const state_;
};
