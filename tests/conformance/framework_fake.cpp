#include "platform/fake/FakeFramework.h"
#include "tests/conformance/Framework.h"

// Not deliverAll: what the calls themselves post comes with the next drain.
void conformance::drain() {
  for (std::size_t count = vqfake::pendingCount(); count != 0 && vqfake::deliverNext(); --count) {
  }
}

void conformance::forgetSettings() {
  vqfake::setSettingsText("Conformance.ini", "");
}
