#include "benchmarks/links/bus.h"

#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "benchmarks/support/stage.h"

namespace bench {
namespace {

constexpr char kSocket[] = "/tmp/bus";
constexpr const char* kConfigFile = "/tmp/bus.conf";
constexpr const char* kConfig =
    "<busconfig><type>session</type><listen>unix:path=/tmp/bus</listen>"
    "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow "
    "own=\"*\"/></policy>"
    "</busconfig>";

// Whether somebody listens.
bool isThere() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, kSocket, sizeof kSocket);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool isAccepted = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return isAccepted;
}

// 0 for what the bus itself says.
std::size_t read(sd_bus_message* message, const char* interface, const char* member, void* buffer) {
  if (sd_bus_message_is_method_call(message, interface, member) <= 0 &&
      sd_bus_message_is_signal(message, interface, member) <= 0) {
    return 0;
  }
  const void* bytes = nullptr;
  std::size_t size = 0;
  checkBus(sd_bus_message_read_array(message, 'y', &bytes, &size));
  memcpy(buffer, bytes, size);
  return size;
}

}  // namespace

int checkBus(int result) {
  if (result < 0) {
    throw std::runtime_error(std::string("D-Bus: ") + strerror(-result));
  }
  return result;
}

void startBus(int processor) {
  writeFile(kConfigFile, kConfig);
  startDaemon(processor, {"dbus-daemon", "--nofork", "--nopidfile", std::string("--config-file=") + kConfigFile});
  for (int i = 0; !isThere(); ++i) {
    if (i == 5000) {
      throw std::runtime_error("dbus-daemon does not start");
    }
    usleep(1000);
  }
}

sd_bus* connectToBus(const std::string& name) {
  sd_bus* bus = nullptr;
  checkBus(sd_bus_new(&bus));
  checkBus(sd_bus_set_address(bus, (std::string("unix:path=") + kSocket).c_str()));
  checkBus(sd_bus_set_bus_client(bus, 1));
  checkBus(sd_bus_start(bus));
  if (!name.empty()) {
    checkBus(sd_bus_request_name(bus, name.c_str(), 0));
  }
  return bus;
}

std::size_t receiveFromBus(sd_bus* bus, const char* interface, const char* member, void* buffer) {
  for (;;) {
    sd_bus_message* message = nullptr;
    if (checkBus(sd_bus_process(bus, &message)) == 0) {
      checkBus(sd_bus_wait(bus, UINT64_MAX));
    }
    const std::size_t size = message != nullptr ? read(message, interface, member, buffer) : 0;
    sd_bus_message_unref(message);
    if (size != 0) {
      return size;
    }
  }
}

}  // namespace bench
