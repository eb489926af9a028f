// What a process of the channel takes up: heap after its start, and how deep the delivery thread's stack has been used.
// Device side and application in one process, so that both kinds of callback run; every kind of message once, and data
// of the largest size.
#include <malloc.h>
#include <pthread.h>
#include <stdio.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "VQFramework/Observer/VQObserver.h"

namespace {

std::size_t heapInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// The calling thread's. It grows downwards, and nobody has written below its deepest use.
std::size_t deepestUseOfOwnStack() {
  pthread_attr_t attributes;
  void* begin = nullptr;
  std::size_t size = 0;
  pthread_getattr_np(pthread_self(), &attributes);
  pthread_attr_getstack(&attributes, &begin, &size);
  pthread_attr_destroy(&attributes);
  const auto* const words = static_cast<const volatile std::uintptr_t*>(begin);
  std::size_t unused = 0;
  while (unused < size / sizeof(std::uintptr_t) && words[unused] == 0) {
    ++unused;
  }
  return size - unused * sizeof(std::uintptr_t);
}

std::string fieldOfStatus(const std::string& name) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(name, 0) == 0) {
      return line.substr(line.find_first_of("0123456789"));
    }
  }
  return "unknown";
}

class Listener {
 public:
  unsigned int onClient(unsigned int id, void* data, unsigned int /*size*/) {
    constexpr unsigned int kData = 2;
    if (id == kData) {
      const auto& message = *static_cast<const iosapp_def_::CommData*>(data);
      received += message.size;
      stack = deepestUseOfOwnStack();
    }
    return 0;
  }

  std::atomic<std::size_t> received{0};
  std::atomic<std::size_t> stack{0};
};

}  // namespace

int main() {
  const std::size_t before = heapInUse();
  Listener listener;
  VQObserver<Listener> observer(&listener, &Listener::onClient);
  iOSAppCommonServer server(1);
  const std::size_t withServer = heapInUse();
  iOSAppCommonClient client("", "navi", "com.example.navi");
  client.AddObserver(&observer);
  const std::size_t withBoth = heapInUse();

  iosapp_def_::ConnectInfo connection;
  connection.connectStatus = 1;
  connection.iapType = 1;  // sessions are opened by app id
  while (server.getLaunchStringFromAppList(1).empty()) {
    usleep(1000);  // until the server knows the app
  }
  server.notifyConnectionState(connection);
  server.notifyPlaybakAppInfo("Example Player");
  constexpr unsigned short kSession = 7;
  server.notifySessionOpen(1, kSession);
  while (client.isSessionOpened(1, 1) == 0) {
    usleep(1000);
  }
  client.launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);  // selects the device
  const std::array<unsigned char, iOSAppCommonDataList::kSlotBytes> bytes = {};
  server.sendDataFromDevice(kSession, bytes.data(), static_cast<unsigned int>(bytes.size()));
  while (listener.stack == 0) {
    usleep(1000);
  }
  printf("footprint: heap %zu bytes with a server, %zu more with a client, %zu after the first messages\n",
         withServer - before, withBoth - withServer, heapInUse() - before);
  printf("footprint: stack of the delivery thread %zu bytes at its deepest\n", listener.stack.load());
  printf("footprint: resident %s, of it anonymous %s, of it shared %s\n", fieldOfStatus("VmRSS").c_str(),
         fieldOfStatus("RssAnon").c_str(), fieldOfStatus("RssShmem").c_str());
  client.RemoveObserver(&observer);
  return 0;
}
