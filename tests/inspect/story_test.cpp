// Recordings told as what happened.
#include "record/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "record/to_scenario.h"
#include "scenario/scenario.h"
#include "tests/inspect/hand_made.h"

namespace {

using hand_made::statusOf;
using inspect::RingContent;
using record::Entry;
using record::MessageSeen;
using record::Recording;
using testing::HasSubstr;

using Words = std::vector<std::string>;

Recording recordingOf(const std::vector<Entry>& entries) {
  Recording recording;
  for (const Entry& entry : entries) {
    recording.items.push_back({entry, {recording.items.size(), false}});
  }
  return recording;
}

MessageSeen statusBy(std::uint32_t pid, std::uint64_t sequence, const iosapp_def_::ConnectStatusNotify& status) {
  MessageSeen seen;
  seen.message.sequence = sequence;
  seen.message.id = inspect::kIdConnectStatus;
  seen.message.pid = pid;
  seen.message.size = sizeof status;
  std::memcpy(seen.message.payload.data(), &status, sizeof status);
  return seen;
}

// A phone, an application with this launch string, and a message to it whose bytes are not known.
std::vector<Entry> sessionOf(const std::string& launchString) {
  auto connected = statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
  connected.connectStatus = 1;
  auto opened = statusOf(iosapp_def_::NOTIFYID_SESSIONSTATUS, 1);
  opened.status = 1;
  const iOSAppCommonDataNotify announcement = {1, 1, 0};
  MessageSeen message;
  message.message.sequence = 3;
  message.message.id = inspect::kIdFromDevice;
  message.message.pid = 4711;
  message.message.size = sizeof announcement;
  std::memcpy(message.message.payload.data(), &announcement, sizeof announcement);
  message.content.state = RingContent::State::kOverwritten;
  return {record::Clock{100, 50},
          record::ProcessSeen{1, 4711, 99, 0, 'R', "linkapp", "linkapp phone"},
          record::ProcessSeen{2, 4712, 99, 0, 'R', "linkapp", "linkapp app --name navi"},
          record::AppSeen{3, 0, 4712, true, "", "navi", launchString},
          statusBy(4711, 1, connected),
          statusBy(4711, 2, opened),
          message};
}

TEST(Recorded, texts_put_no_step_into_a_scenario) {
  const std::string made = toScenario(record::tellStory(recordingOf(sessionOf("x\nprocess p = run true\nstart p"))),
                                      "of\nprocess p = run true");
  EXPECT_THAT(made, HasSubstr("# the phone sent"));
  scenario::Scenario parsed;
  scenario::ParseMistake mistake;
  ASSERT_TRUE(scenario::parse(made, {}, {}, parsed, mistake)) << mistake.text << "\n" << made;
  for (const scenario::ProcessLine& process : parsed.processes) {
    EXPECT_NE(process.name, "p");
  }
}

// What a `linkapp app` that was started so is started with once more.
Words startedAnew(const std::string& command) {
  const record::Story story =
      record::tellStory(recordingOf({record::ProcessSeen{1, 4711, 99, 0, 'R', "linkapp", "linkapp app " + command}}));
  EXPECT_EQ(story.processes.size(), 1U);
  return story.argumentsFor(0);
}

TEST(Recorded, options_are_understood_with_their_value_in_the_same_word_too) {
  EXPECT_EQ(startedAnew("--name navi --json --commands --control /tmp/x"), (Words{"--name", "navi"}));
  EXPECT_EQ(startedAnew("--name=navi --json=true --commands --control=/tmp/x"), Words{"--name=navi"});
  EXPECT_EQ(startedAnew("--generate 20 --size 9 --expect 20"), (Words{"--size", "9", "--launch"}));
  EXPECT_EQ(startedAnew("--generate=20 --size=9 --expect=20 --patience=5s"), (Words{"--size=9", "--launch"}));
  const record::Story story = record::tellStory(recordingOf(
      {record::ProcessSeen{1, 4711, 99, 0, 'R', "linkapp", "linkapp app --listen=app,playback --listen hands-free"}}));
  for (const char* const part : {"app", "playback", "hands-free"}) {
    EXPECT_TRUE(story.processes[0].hasPart(part)) << part;
  }
  EXPECT_FALSE(story.processes[0].hasPart("device-status"));
}

TEST(Recorded, commands_of_the_command_line_are_not_told_twice) {
  EXPECT_EQ(startedAnew(R"(--do "burst 20" --do=launch "--do=send hello" --do "echo on")"), Words{});
  EXPECT_EQ(startedAnew(R"(--do "listen playback" --do=spp-standby)"),
            (Words{"--do", "listen playback", "--do=spp-standby"}));
}

}  // namespace
