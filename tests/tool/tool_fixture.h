// What tests of the tool share: a /dev/shm that is empty at the beginning of each, and a loop for its processes.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/interruption.h"
#include "tests/support/shm_files.h"
#include "tests/tool/tool_process.h"

class ToolTest : public testing::Test {
 public:
  ToolTest() { test_support::clearShm(); }

 protected:
  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
};
