// Follows which phones have a hands-free link that the head unit should show.
#include <iostream>
#include <string>

#include "LinkAppCommon/LinkAppHfpWrapper.h"

class HandsFreePrinter final : public LinkAppHfpWrapperListener {
 public:
  // Called on the Bluetooth manager's thread and on the iOS channel's: one write is one line.
  void onHfpStatus(HfpStatus status) override {
    const std::string kind = status.deviceKind == 1 ? "iPhone " : "phone ";
    std::cout << kind + std::to_string(status.deviceId) + ": hands-free " + (status.connected ? "up\n" : "down\n")
              << std::flush;
  }
};

int main() {
  HandsFreePrinter printer;
  LinkAppHfpWrapper handsFree;
  handsFree.setListener(&printer);
  std::cout << "waiting for phones; Enter ends" << std::endl;
  std::cin.get();
  handsFree.removeListener(&printer);  // it answers false, also when all went well
}
