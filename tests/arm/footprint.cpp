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

// Hears both ends, on the one delivery thread of the process.
class Listener {
 public:
  unsigned int onClient(unsigned int id, void* /*data*/, unsigned int /*size*/) {
    constexpr unsigned int kData = 2;
    constexpr unsigned int kPlaying = 3;
    messages += id == kData ? 1 : 0;
    if (id == kPlaying) {  // comes last
      stack = deepestUseOfOwnStack();
    }
    return 0;
  }
  unsigned int onServer(unsigned int id, void* data, unsigned int /*size*/) {
    constexpr unsigned int kLaunch = 0;
    constexpr unsigned int kData = 1;
    launches += id == kLaunch ? 1 : 0;
    if (id == kData) {
      delete[] static_cast<iosapp_def_::CommData*>(data)->data;
      ++messagesOfHeadUnit;
    }
    return 0;
  }

  std::atomic<unsigned int> messages{0};
  std::atomic<unsigned int> launches{0};
  std::atomic<unsigned int> messagesOfHeadUnit{0};
  std::atomic<std::size_t> stack{0};
};

template <class Condition>
void await(Condition condition) {
  while (!condition()) {
    usleep(1000);
  }
}

// Every kind of message once, data of the largest size in both directions, the playing app last.
void exchangeMessages(iOSAppCommonServer& server, iOSAppCommonClient& client, const Listener& listener) {
  constexpr unsigned int kDevice = 1;
  constexpr unsigned int kApp = 1;
  constexpr unsigned short kSession = 7;
  const std::array<unsigned char, iOSAppCommonDataList::kSlotBytes> bytes = {};
  await([&] { return !server.getLaunchStringFromAppList(kApp).empty(); });  // the server knows the app

  iosapp_def_::ConnectInfo connection;
  connection.connectStatus = 1;
  connection.iapType = 1;  // sessions are opened by app id
  server.notifyConnectionState(connection);
  await([&] { return client.isDeviceConnected(kDevice) != 0; });
  client.launch(kDevice, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
  await([&] { return listener.launches != 0; });
  server.notifySessionOpen(kApp, kSession);
  await([&] { return client.isSessionOpened(kDevice, kApp) != 0; });

  client.sendDataFromHU(bytes.data(), static_cast<unsigned int>(bytes.size()));
  await([&] { return listener.messagesOfHeadUnit != 0; });
  server.notifySendResult(kSession, iosapp_def_::SENDRESULT_SUCCESS);
  server.sendDataFromDevice(kSession, bytes.data(), static_cast<unsigned int>(bytes.size()));
  await([&] { return listener.messages != 0; });

  iOSAppExtBluetoothConnectionStatus handsFree = {};
  server.notifyBluetoothConnectionStatus(&handsFree);
  server.notifySessionClose(kSession);
  server.notifyPlaybakAppInfo("Example Player");
  await([&] { return listener.stack != 0; });
}

}  // namespace

int main() {
  const std::size_t before = heapInUse();
  Listener listener;
  VQObserver<Listener> clientObserver(&listener, &Listener::onClient);
  VQObserver<Listener> serverObserver(&listener, &Listener::onServer);
  iOSAppCommonServer server(1);
  server.AddObserver(&serverObserver);
  const std::size_t withServer = heapInUse();
  iOSAppCommonClient client("", "navi", "com.example.navi");
  client.AddObserver(&clientObserver);
  const std::size_t withBoth = heapInUse();

  exchangeMessages(server, client, listener);
  printf("footprint: heap %zu bytes with a server, %zu more with a client, %zu after every kind of message\n",
         withServer - before, withBoth - withServer, heapInUse() - before);
  printf("footprint: stack of the delivery thread %zu bytes at its deepest\n", listener.stack.load());
  printf("footprint: resident %s, of it anonymous %s, of it shared %s\n", fieldOfStatus("VmRSS").c_str(),
         fieldOfStatus("RssAnon").c_str(), fieldOfStatus("RssShmem").c_str());
  client.RemoveObserver(&clientObserver);
  server.RemoveObserver(&serverObserver);
  return 0;
}
