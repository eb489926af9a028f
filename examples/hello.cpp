// Launches its app on an iPhone at USB, greets it and prints what it answers.
#include <iostream>

#include "LinkAppCommon/VQSLinkAppOperator.h"

struct Hello final : VQSLinkAppDeviceStatusListener, VQSILinkAppSenderReceiverListener {
  VQSLinkAppOperator phone{"hello", "", "com.example.hello"};
  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo device) override {
    if (device.usb.status == 1) {  // connected
      phone.requestiOSLaunch(device.deviceId, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITH_USER_ALERT);
    } else if (device.usb.status == 2) {  // the app is open
      phone.requestMsgSend(reinterpret_cast<const unsigned char*>("hello"), 5);
    }
  }
  void onReceivedMsg(const unsigned char* data, unsigned int size) override {
    std::cout.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size)) << std::endl;
  }
};

int main() {
  Hello hello;
  hello.phone.setListener(&hello);
  hello.phone.setStatusListener(&hello);
  std::cout << "waiting for the phone; Enter ends" << std::endl;
  std::cin.get();
}
