#include "platform/bluez/bus_read.h"

#include <string.h>

namespace vqbluez {
namespace {

// The type inside the variant that comes next; empty where none comes.
std::string typeOfNext(sd_bus_message* message) {
  char type = 0;
  const char* contents = nullptr;
  if (sd_bus_message_peek_type(message, &type, &contents) <= 0 || type != SD_BUS_TYPE_VARIANT || contents == nullptr) {
    return "";
  }
  return contents;
}

}  // namespace

bool readDictionary(sd_bus_message* message, const char* entryTypes,
                    const std::function<bool(const char* key)>& visit) {
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, entryTypes) < 0) {
    return false;
  }
  const std::string types(entryTypes + 1, strlen(entryTypes) - 2);  // without the braces
  for (;;) {
    const int entered = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, types.c_str());
    if (entered <= 0) {
      return entered == 0 && sd_bus_message_exit_container(message) >= 0;
    }
    const char* key = nullptr;
    if (sd_bus_message_read_basic(message, types[0], &key) < 0 || !visit(key) ||
        sd_bus_message_exit_container(message) < 0) {
      return false;
    }
  }
}

bool readText(sd_bus_message* message, std::string& value) {
  const std::string type = typeOfNext(message);
  if (type != "s" && type != "o") {
    return skipValue(message);
  }
  const char* text = nullptr;
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, type.c_str()) < 0 ||
      sd_bus_message_read_basic(message, type[0], &text) < 0) {
    return false;
  }
  value = text;
  return sd_bus_message_exit_container(message) >= 0;
}

bool readFlag(sd_bus_message* message, bool& value) {
  if (typeOfNext(message) != "b") {
    return skipValue(message);
  }
  int flag = 0;
  if (sd_bus_message_read(message, "v", "b", &flag) < 0) {
    return false;
  }
  value = flag != 0;
  return true;
}

bool skipValue(sd_bus_message* message) {
  return sd_bus_message_skip(message, "v") >= 0;
}

}  // namespace vqbluez
