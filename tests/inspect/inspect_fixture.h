// A /dev/shm that is empty at the beginning of each test.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/inspect/hand_made.h"
#include "tests/support/shm_files.h"

class InspectTest : public testing::Test {
 public:
  InspectTest() { test_support::clearShm(); }
  ~InspectTest() override { test_support::clearShm(); }
};
