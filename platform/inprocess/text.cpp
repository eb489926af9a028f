#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "VQFramework/Text/VQBinary.h"
#include "VQFramework/Text/VQString.h"
#include "VQFramework/Text/vq_strcpy.h"

// Every code page is taken as the bytes as they stand.
struct VQString::State {
  std::string bytes;
};

VQString::VQString() : state_(new State) {}

VQString::VQString(const char* text, unsigned int codePage) : VQString() {
  append(text, codePage);
}

VQString::VQString(const VQString& other) : state_(new State(*other.state_)) {}

VQString& VQString::operator=(const VQString& other) {
  if (this != &other) {
    *state_ = *other.state_;
  }
  return *this;
}

VQString::~VQString() {
  delete state_;
}

VQString& VQString::append(const char* text, unsigned int /*codePage*/) {
  if (text != nullptr) {
    state_->bytes += text;
  }
  return *this;
}

std::string VQString::getBytes(unsigned int /*codePage*/) const {
  return state_->bytes;
}

struct VQBinary::State {
  std::vector<unsigned char> bytes;
};

VQBinary::VQBinary() : state_(new State) {}

VQBinary::VQBinary(const void* data, unsigned int size) : VQBinary() {
  if (data != nullptr) {
    const unsigned char* const from = static_cast<const unsigned char*>(data);
    state_->bytes.assign(from, from + size);
  }
}

VQBinary::VQBinary(const VQBinary& other) : state_(new State(*other.state_)) {}

VQBinary& VQBinary::operator=(const VQBinary& other) {
  if (this != &other) {
    *state_ = *other.state_;
  }
  return *this;
}

VQBinary::~VQBinary() {
  delete state_;
}

const unsigned char* VQBinary::getBuffer() const {
  return state_->bytes.empty() ? nullptr : state_->bytes.data();
}

unsigned int VQBinary::getSize() const {
  return static_cast<unsigned int>(state_->bytes.size());
}

char* vq_strcpy(char* destination, std::size_t size, const char* source) {
  if (destination == nullptr || size == 0) {
    return destination;
  }
  const std::size_t length = source == nullptr ? 0 : strnlen(source, size - 1);
  if (length != 0) {
    memcpy(destination, source, length);
  }
  destination[length] = '\0';
  return destination;
}
