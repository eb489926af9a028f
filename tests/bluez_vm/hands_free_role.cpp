// Role "hands_free [USER]": a head-unit process that follows hands-free links.
//
// It says
//   ready
//   hands-free KIND DEVICE CONNECTED
#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "tests/bluez_vm/user.h"
#include "tests/support/roles.h"

using test_support::say;

namespace {

class SayingListener final : public LinkAppHfpWrapperListener {
 public:
  void onHfpStatus(HfpStatus status) override {
    say("hands-free " + std::to_string(status.deviceKind) + " " + std::to_string(status.deviceId) + " " +
        std::to_string(status.connected));
  }
};

TEST_ROLE(hands_free) {
  becomeUser(args.empty() ? "" : args[0]);
  SayingListener listener;
  LinkAppHfpWrapper wrapper;
  wrapper.setListener(&listener);
  say("ready");
  test_support::waitForParent();
  wrapper.removeListener(&listener);
  return 0;
}

}  // namespace
