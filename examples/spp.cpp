// Links a phone over Bluetooth SPP whenever it is there, and sends back what it sends. For one phone at a time.
#include <iostream>

#include "LinkAppCommon/VQSLinkAppOperator.h"

class Echo final : public VQSLinkAppDeviceStatusListener, public VQSILinkAppSenderReceiverListener {
 public:
  Echo() {
    phone_.setListener(this);
    phone_.setStatusListener(this);
  }

  // Offers the service to phones. False: there is no Bluetooth here.
  bool start() { return phone_.registerStandby(); }

  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo device) override {
    if (device.deviceType == 0 && device.btSpp.status == 1) {  // listed, or its link went down
      // Also for a phone that comes by itself: this request is what makes its link the one that messages take.
      phone_.requestSppAutoConnectStart(device.deviceId);
    }
  }

  void onReceivedMsg(const unsigned char* data, unsigned int size) override { phone_.requestMsgSend(data, size); }

 private:
  VQSLinkAppOperator phone_{"35de0f64-c263-4a4b-adb6-6b60500d1dbe"};
};

int main() {
  Echo echo;
  if (!echo.start()) {
    std::cout << "no Bluetooth here" << std::endl;
    return 1;
  }
  std::cout << "waiting for phones; Enter ends" << std::endl;
  std::cin.get();
}
