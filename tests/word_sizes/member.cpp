// A process of the channel, for one word size or the other: device side and application in one. Once it is told "go" it
// opens a session, sends three messages, and says "done". It ends with its input.
#include <iostream>
#include <string>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"

int main() {
  iOSAppCommonServer server(1);
  iOSAppCommonClient client("", "navi", "com.example.navi");
  while (server.getLaunchStringFromAppList(1).empty()) {
    // The server learns of the app on the delivery thread.
  }
  std::cout << "ready " << sizeof(void*) * 8 << std::endl;
  for (std::string line; std::getline(std::cin, line);) {
    iosapp_def_::ConnectInfo connection;
    connection.connectStatus = 1;
    connection.iapType = 1;  // sessions are opened by app id
    server.notifyConnectionState(connection);
    server.notifyPlaybakAppInfo("Example Player");
    constexpr unsigned short kSession = 7;
    server.notifySessionOpen(1, kSession);
    while (client.isSessionOpened(1, 1) == 0) {
      // The client learns of it on the delivery thread.
    }
    for (const char* const text : {"one", "two", "three"}) {
      server.sendDataFromDevice(kSession, reinterpret_cast<const unsigned char*>(text),
                                static_cast<unsigned int>(std::string(text).size()));
    }
    std::cout << "done" << std::endl;
  }
}
