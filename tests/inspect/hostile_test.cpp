// Whatever stands in the objects, looking at them ends, and reads nothing that is not there. The sanitizers' builds of
// this test see the latter. LINKAPP_HOSTILE_SEEDS=200 tries more.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "bundle/contents.h"
#include "doctor/checks.h"
#include "doctor/report.h"
#include "inspect/follower.h"
#include "inspect/ring_contents.h"
#include "inspect/snapshot.h"
#include "inspect/status_json.h"
#include "inspect/status_text.h"
#include "monitor/lines.h"
#include "monitor/stats.h"
#include "monitor/top_page.h"
#include "monitor/watch.h"
#include "platform/reference/named_lock.h"
#include "tests/inspect/inspect_fixture.h"
#include "why/report.h"

namespace {

using inspect::Follower;
using inspect::kSharedMemory;
using vqframework::MessageLogObject;

std::uint32_t seeds() {
  const char* const wanted = getenv("LINKAPP_HOSTILE_SEEDS");
  return wanted == nullptr ? 8 : static_cast<std::uint32_t>(std::strtoul(wanted, nullptr, 10));
}

class Garbage {
 public:
  explicit Garbage(std::uint32_t seed) : random_(seed) {}

  std::uint32_t below(std::uint32_t limit) { return word() % limit; }

  // Noise, or words as a damaged channel may have them: small numbers, and numbers about the limits.
  std::vector<std::uint8_t> bytes(std::size_t count, bool isNoise) {
    std::vector<std::uint8_t> result(count);
    constexpr std::uint32_t kEdges[] = {0,   1,   2,    3,    4,    5,    39,   40,         41,         255,
                                        352, 353, 4096, 4097, 8191, 8192, 8193, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    for (std::size_t at = 0; at + 4 <= count; at += 4) {
      const std::uint32_t word = isNoise ? this->word() : kEdges[below(std::size(kEdges))];
      std::memcpy(result.data() + at, &word, 4);
    }
    return result;
  }

 private:
  std::uint32_t word() { return static_cast<std::uint32_t>(random_()); }

  std::mt19937 random_;
};

void overwrite(const std::string& name, std::size_t offset, const std::vector<std::uint8_t>& bytes) {
  ASSERT_TRUE(test_support::pokeShm(name, offset, bytes.data(), bytes.size()));
}

std::size_t sizeOf(const std::string& name) {
  return test_support::shmSize(name).value_or(0);
}

// doctor, why and bundle. Bus and configuration are not shared memory and are looked at by other tests.
void consult() {
  const doctor::Places places;
  doctor::Examination all;
  all.snapshot = inspect::takeSnapshot();
  all.history = doctor::readHistory(places.channel, all.snapshot);
  all.system.processes = doctor::readProcesses(all.snapshot, places.channel.proc);
  const doctor::Findings findings = findingsOf(all);
  ASSERT_FALSE(reportText(findings, all, true).empty());
  ASSERT_TRUE(nlohmann::json::accept(text::toJson(reportFields(findings, all))));
  for (const auto& walk : {&why::walkLaunch, &why::walkSend, &why::walkReceive, &why::walkSpp}) {
    for (const char* const app : {"1", "7", "20", ""}) {
      const why::Walk walked = walk(all, {app, 1, ""});
      ASSERT_FALSE(reportText(walked, true).empty());
      ASSERT_TRUE(nlohmann::json::accept(text::toJson(reportFields(walked))));
    }
  }
  for (const bool hasPayloads : {false, true}) {
    ASSERT_FALSE(bundle::contentsOf(all, places, hasPayloads).empty());
  }
}

// `linkapp monitor` from the start, in all its forms.
void monitorAll() {
  monitor::Watch watch({{}, true});
  monitor::Lines lines(watch, monitor::Lines::Form::kColoured);
  monitor::Lines objects(watch, monitor::Lines::Form::kJson);
  monitor::Stats stats;
  monitor::Bursts bursts;
  for (int i = 0; i < 6; ++i) {
    const monitor::Turn turn = watch.turn();
    lines.beginTurn();
    objects.beginTurn();
    for (std::size_t message = 0; message < turn.messages.size(); ++message) {
      stats.add(turn.messages[message], turn.contents[message]);
      if (message % 8 == 0) {
        ASSERT_FALSE(lines.ofMessage(turn.messages[message], turn.contents[message]).empty());
        ASSERT_TRUE(nlohmann::json::accept(objects.ofMessage(turn.messages[message], turn.contents[message])));
      }
    }
    stats.look(watch);
    for (const inspect::Loss& loss : turn.losses) {
      bursts.add(loss, watch.now());
    }
  }
  std::deque<std::string> alarms;
  for (const monitor::Burst& burst : bursts.takeAll()) {
    ASSERT_TRUE(nlohmann::json::accept(objects.ofBurst(burst)));
    if (alarms.size() < 100) {
      alarms.push_back(lines.ofBurst(burst));
    }
  }
  const monitor::Figures figures = stats.take(watch.now());
  ASSERT_FALSE(statsText(figures, watch).empty());
  ASSERT_TRUE(nlohmann::json::accept(text::toJson(statsFields(figures, watch))));
  ASSERT_LE(topPage(figures, alarms, "", watch, 100, 30).size(), 30U);
}

// Everything that looks; the results are shown, too, since texts are made of what was read.
void look(Follower& follower, inspect::RingContents& contents) {
  const inspect::Snapshot snapshot = inspect::takeSnapshot();
  ASSERT_FALSE(statusText(snapshot, true).empty());
  ASSERT_TRUE(nlohmann::json::accept(text::toJson(statusFields(snapshot))));
  ASSERT_NO_FATAL_FAILURE(consult());
  inspect::ChannelState state;
  for (int i = 0; i < 8; ++i) {
    const Follower::Batch batch = follower.poll();
    const auto rings = contents.fetch(batch.messages, follower.log(), follower.position());
    ASSERT_EQ(rings.size(), batch.messages.size());
    for (const inspect::Message& message : batch.messages) {
      state.add(message);
      ASSERT_LE(message.size, VQSharedMemNotifier::kMaxPayload);
      ASSERT_FALSE(inspect::nameOf(message).empty());
      ASSERT_FALSE(text::toJson(inspect::fieldsOf(message)).empty());
    }
  }
  ASSERT_LE(state.apps.size(), iOSAppInfoList::kEntryCount);
  monitorAll();
}

class HostileObjects : public InspectTest {
 public:
  HostileObjects() {
    hand_made::makeFourSegments();
    log_ = std::make_unique<hand_made::Log>();
    log_->listReceiver(0, static_cast<std::uint32_t>(getpid()), 1, {2, 3, 4, 5});
    for (std::uint32_t i = 0; i < 100; ++i) {
      log_->announce(2 + i % 2, 1, i % 40);
    }
  }

  std::unique_ptr<hand_made::Log> log_;
  Follower follower_{kSharedMemory, Follower::Start::kOldest};
  inspect::RingContents contents_{kSharedMemory};
};

TEST_F(HostileObjects, full_of_noise_are_looked_at_unharmed) {
  for (std::uint32_t seed = 0; seed < seeds(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Garbage garbage(seed);
    for (const std::string& name : inspect::objectNames()) {
      overwrite(name, 0, garbage.bytes(sizeOf(name), seed % 2 == 0));
    }
    ASSERT_NO_FATAL_FAILURE(look(follower_, contents_));
  }
}

// With headers that are right, so that what lies behind them is looked at.
TEST_F(HostileObjects, with_right_headers_and_nothing_else_right_are_looked_at_unharmed) {
  constexpr std::size_t kHeader = sizeof(vqframework::SharedHeader);
  for (std::uint32_t seed = 0; seed < seeds(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Garbage garbage(seed);
    for (const std::string& name : inspect::objectNames()) {
      const bool isSegment = name.find('.') == std::string::npos;
      const std::size_t begin = isSegment ? 4 : kHeader;
      overwrite(name, begin, garbage.bytes(sizeOf(name) - begin, seed % 2 == 0));
    }
    ASSERT_EQ(inspect::LogReader(kSharedMemory).problem(), "");
    ASSERT_NO_FATAL_FAILURE(look(follower_, contents_));
  }
}

// Slots that are valid for their place in the order, of whatever content, behind any head.
TEST_F(HostileObjects, with_valid_slots_of_any_content_are_looked_at_unharmed) {
  for (std::uint32_t seed = 0; seed < seeds(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Garbage garbage(seed);
    const std::uint64_t head = std::uint64_t{garbage.below(3)} << 62 | garbage.below(20000);
    for (std::uint64_t i = 0; i < vqframework::kSlotCount; ++i) {
      const std::uint64_t sequence = head - 1 - i;
      vqframework::MessageSlot& slot = log_->slot(sequence);
      const std::vector<std::uint8_t> bytes = garbage.bytes(sizeof slot, seed % 2 == 0);
      std::memcpy(static_cast<void*>(&slot), bytes.data(), sizeof slot);
      slot.sequence.store(sequence + 1);
      slot.id.store(garbage.below(7));
      slot.size.store(garbage.below(400) | (garbage.below(10) == 0 ? vqframework::kControlMessage : 0));
    }
    log_->object().head.store(head);
    ASSERT_NO_FATAL_FAILURE(look(follower_, contents_));
  }
}

TEST_F(HostileObjects, of_any_size_are_looked_at_unharmed) {
  for (std::uint32_t seed = 0; seed < seeds(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Garbage garbage(seed);
    log_.reset();  // what is mapped must not shrink
    for (const std::string& name : inspect::objectNames()) {
      const std::size_t size = garbage.below(4) == 0 ? 0 : garbage.below(200000);
      ASSERT_EQ(truncate(test_support::shmFile(name).c_str(), static_cast<off_t>(size)), 0);
    }
    ASSERT_NO_FATAL_FAILURE(look(follower_, contents_));
    hand_made::makeFourSegments();
    log_ = std::make_unique<hand_made::Log>();
    ASSERT_NO_FATAL_FAILURE(look(follower_, contents_));
  }
}

// Somebody writes, cuts, extends, removes and makes objects all the while.
TEST_F(HostileObjects, that_change_while_they_are_looked_at_do_no_harm) {
  log_.reset();
  std::atomic<bool> isOver{false};
  std::thread vandal([&isOver] {
    Garbage garbage(42);
    const std::vector<std::string> names = inspect::objectNames();
    while (!isOver.load()) {
      const std::string path = test_support::shmFile(names[garbage.below(static_cast<std::uint32_t>(names.size()))]);
      const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0664);
      if (fd == -1) {
        continue;
      }
      switch (garbage.below(4)) {
        case 0:
          static_cast<void>(ftruncate(fd, garbage.below(200000)) == 0);
          break;
        case 1:
          static_cast<void>(ftruncate(fd, sizeof(MessageLogObject)) == 0);
          break;
        case 2:
          unlink(path.c_str());
          break;
        default: {
          const std::vector<std::uint8_t> bytes = garbage.bytes(4096, garbage.below(2) == 0);
          static_cast<void>(pwrite(fd, bytes.data(), bytes.size(), garbage.below(3000000)) == 0);
          break;
        }
      }
      close(fd);
    }
  });
  for (std::uint32_t i = 0; i < 4 * seeds(); ++i) {
    look(follower_, contents_);
  }
  isOver.store(true);
  vandal.join();
}

}  // namespace
