// A client whose session is open and two device sides, one that knows 1 app and one that knows 20, all in this process.
// To be made while delivery is held.
#pragma once

#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"

namespace bench {

class Channel {
 public:
  static constexpr unsigned int kDevice = 1;
  // App ids and session ids are the same here.
  static constexpr unsigned int kApp = 1;
  static constexpr unsigned int kApps = 20;

  // Throws where it is not as it must be.
  Channel();
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // The one that lives.
  static Channel& current() { return *current_; }

  iOSAppCommonClient& client() { return client_; }
  iOSAppCommonServer& serverOf1() { return *serverOf1_; }
  iOSAppCommonServer& serverOf20() { return *serverOf20_; }

 private:
  static Channel* current_;

  iOSAppCommonClient client_;
  std::unique_ptr<iOSAppCommonServer> serverOf1_;
  std::unique_ptr<iOSAppCommonServer> serverOf20_;
};

}  // namespace bench
