// VQString: a text that knows its code page.
//
// Threads: like a std::string. The channel uses code page 32 only (the bytes as they stand); a host may convert
// between others.
#pragma once

#include <string>

#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQString {
 public:
  VQString();
  // A null text counts as empty.
  VQString(const char* text, unsigned int codePage);
  // Copies text and code page.
  VQString(const VQString& other);
  // Copies text and code page.
  VQString& operator=(const VQString& other);
  ~VQString();

  // Appends `text`. A null text counts as empty.
  VQString& append(const char* text, unsigned int codePage);

  // The text as bytes of `codePage`.
  std::string getBytes(unsigned int codePage) const;

 private:
  struct State;
  State* const state_;
};
