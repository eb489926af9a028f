// Texts are counted in characters of UTF-8 where bytes are meant, and the terminator is not counted.
#include <cstring>
#include <string>

#include "VQFramework/Text/VQString.h"
#include "VQFramework/Text/vq_strcpy.h"
#include "tests/conformance/wrong/original.h"

namespace {

std::size_t charactersIn(const std::string& bytes) {
  std::size_t count = 0;
  for (const char byte : bytes) {
    count += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
  }
  return count;
}

}  // namespace

std::string VQString::getBytes(unsigned int codePage) const {
  static auto* const getBytes =
      wrong::original<std::string(const VQString*, unsigned int)>("_ZNK8VQString8getBytesB5cxx11Ej");
  const std::string bytes = getBytes(this, codePage);
  return bytes.substr(0, charactersIn(bytes));
}

char* vq_strcpy(char* destination, std::size_t size, const char* source) {
  if (destination != nullptr && size != 0) {
    strncpy(destination, source == nullptr ? "" : source, size);
  }
  return destination;
}
