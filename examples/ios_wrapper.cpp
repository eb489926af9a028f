// Sends three messages to an iPhone's app, each when the one before has its result, and prints what comes back.
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "LinkAppCommon/LinkAppiOSWrapper.h"

// All callbacks come on one thread, so nothing here needs a lock.
class Sender final : public LinkAppiOSWrapperListener {
 public:
  Sender() { wrapper_.setListener(this); }
  ~Sender() override { wrapper_.removeListener(this); }
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  void oniOSClientDeviceInfo(void* info) override {
    const auto& device = *static_cast<const DeviceInfo*>(info);
    const unsigned int status = std::max(device.btSppStatus, device.usbStatus);
    if (status == std::exchange(status_, status)) {
      return;  // told again: nothing new
    }
    if (status == 1) {
      wrapper_.requestLaunch(device.deviceId, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
    } else if (status == 2) {
      sendNext();
    }
  }

  void oniOSClientSendResult(void* result) override {
    if (!isUnderWay_) {
      return;
    }
    const bool isSent = static_cast<const SendResult*>(result)->result == 0;
    std::cout << (isSent ? "sent " : "not sent ") << texts_[next_] << std::endl;
    ++next_;
    sendNext();
  }

  void oniOSClientReceivedMsg(void* msg) override {
    const auto& received = *static_cast<const ReceivedMsg*>(msg);
    std::cout << "received " << std::string(received.data, received.data + received.size) << std::endl;
  }

 private:
  void sendNext() {
    isUnderWay_ = next_ < texts_.size();
    if (isUnderWay_) {
      const std::string& text = texts_[next_];
      wrapper_.requestSendData(reinterpret_cast<const unsigned char*>(text.data()),
                               static_cast<unsigned int>(text.size()));
    }
  }

  const std::vector<std::string> texts_ = {"one", "two", "three"};
  std::size_t next_ = 0;
  bool isUnderWay_ = false;  // texts_[next_] is
  unsigned int status_ = 0;
  LinkAppiOSWrapper wrapper_{"sender", "", "com.example.sender"};
};

int main() {
  const Sender sender;
  std::cout << "waiting for the phone; Enter ends" << std::endl;
  std::cin.get();
}
