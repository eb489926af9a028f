// What the two programs of the singleton tests share: one that links the libraries, and one that only loads plug-ins.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/abi/singletons.h"
#include "tests/support/child.h"
#include "tests/support/no_bus.h"
#include "tests/support/roles.h"

// Who looks, one after the other: "program", or a way to load and the plug-in's file as "local:FILE".
using Parties = std::vector<std::string>;

// Has each party look and says for each singleton, in the order of kSingletonNames, "NAME is one", or what differs.
// `program` is null where the program itself knows nothing of the libraries. The result is the process's exit code.
int compareSingletons(const Parties& parties, LookAtSingletons program);

// One process with these parties in the role "singletons": all its singletons are one, and it ends well.
inline void expectOneOfEach(const Parties& parties) {
  test_support::Child sut("singletons", parties);
  for (const char* const name : kSingletonNames) {
    EXPECT_TRUE(sut.expect(std::string(name) + " is one"));
  }
  EXPECT_EQ(sut.wait(), 0);
  EXPECT_EQ(sut.log(), test_support::kLogWithoutBus);  // two Bluetooth libraries would say it twice
}
