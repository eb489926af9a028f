// main of every test executable: the tests, or with --role=NAME one of their children's roles.
#include <gmock/gmock.h>
#include <stdlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/private_shm.h"
#include "tests/support/roles.h"

namespace {

bool onlyListsTests(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (strncmp(argv[i], "--gtest_list_tests", strlen("--gtest_list_tests")) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  constexpr const char* kRole = "--role=";
  if (argc > 1 && strncmp(argv[1], kRole, strlen(kRole)) == 0) {
    return test_support::runRole(argv[1] + strlen(kRole), {argv + 2, argv + argc});
  }
  // No test meets the machine's own Bluetooth unless somebody asks for it.
  setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 0);
  if (!onlyListsTests(argc, argv)) {
    test_support::enterPrivateShm(argv);
  }
  testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
