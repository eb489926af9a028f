// Follows which phones are there and how each is linked, in two ways: through the operator that an application has
// anyhow, and with a device status of its own. An application needs one of the two.
#include <iostream>
#include <string>
#include <utility>

#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"

using LinkAppCommon::ConnectionInfo;

class StatusPrinter final : public VQSLinkAppDeviceStatusListener {
 public:
  explicit StatusPrinter(std::string source) : source_(std::move(source)) {}

  // Called for SPP phones and for iPhones, on two threads: one write is one line.
  void onDeviceStatus(ConnectionInfo::DeviceInfo device) override {
    const std::string kind = device.deviceType == 1 ? "iPhone " : device.deviceName + ", SPP phone ";
    const std::string links = "Bluetooth " + wordFor(device.btSpp) + ", USB " + wordFor(device.usb);
    std::cout << source_ + ": " + kind + std::to_string(device.deviceId) + ": " + links + "\n" << std::flush;
  }

 private:
  static std::string wordFor(const ConnectionInfo::DeviceStatusInfo& link) {
    switch (link.status) {
      case 1:
        return "there";
      case 2:
        return "open for " + link.appName + link.uuid;  // an iPhone's link has an app, an SPP link a service
      default:
        return "none";
    }
  }

  const std::string source_;
};

int main() {
  StatusPrinter ofOperator("operator");
  VQSLinkAppOperator phone("viewer", "", "com.example.viewer");
  phone.setStatusListener(&ofOperator);

  StatusPrinter standAlone("stand-alone");
  LinkAppiOSWrapper wrapper("", "", "");  // without a name it registers no app, and sees connections only
  VQSLinkAppDeviceStatus status(&wrapper, "viewer");
  status.setListener(&standAlone);

  std::cout << "waiting for phones; Enter ends" << std::endl;
  std::cin.get();
  status.removeListener(&standAlone);  // the wrapper calls `status`, which goes first
  phone.removeStatusListener(&ofOperator);
}
