// What the tests in the machine share: the daemons up, phone and car paired, an app with a service on the phone.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/bluez_vm/lab.h"
#include "tests/process/message_pattern.h"
#include "tests/support/child.h"
#include "tests/support/shm_files.h"

// Seconds of the machine, whose clock goes by the instructions that it executes: other work beside it does not count.
constexpr double kPatience = 20;

// The service of the head unit's application and of its app on the phone; examples/spp.cpp has the same.
constexpr const char* kUuid = "35de0f64-c263-4a4b-adb6-6b60500d1dbe";

class BluezTest : public testing::Test {
 protected:
  using Child = test_support::Child;

  // Whatever the test before has left.
  BluezTest();

  // Under which number the head unit knows the phone; empty, with a failure, where it does not list it.
  static std::string phoneNumber(Child& headUnit);

  // Whether the child says the line in time; what it says before is passed over.
  static testing::AssertionResult says(Child& child, const std::string& line);
  // Whether the child comes to answer the question so.
  static testing::AssertionResult answers(Child& child, const std::string& question, const std::string& expected);
  // The app on the phone sends the bytes.
  static void sendFromPhone(const std::vector<std::uint8_t>& bytes);
  // What the app gets, in the mode "keep", until it is so many bytes.
  static std::vector<std::uint8_t> takeFromPhone(std::size_t size);
  // Whether the app on the phone comes to have a link, or none.
  static testing::AssertionResult phoneIsLinked(bool linked);

  static std::string link(const std::string& device, int state, const std::string& uuid = kUuid) {
    return "link " + device + " " + uuid + " " + std::to_string(state);
  }

  // A head unit whose service is registered and which has the link to the phone open. It returns the phone's number.
  static std::string openLink(Child& headUnit);
  // Sends something to the phone's app, which echoes, and awaits it. The link is the only thing needed.
  static testing::AssertionResult echoes(Child& headUnit, const std::string& device);
};
