// soak: ten million messages and ten thousand attach and detach cycles, and what the processes take up before, half-way
// and after.
//
//   messages    one device side, one app, observers; every message and every answer is checked
//   visitors    processes come, attach, and go again (every other one without a word), while those of the first part
//   live cycles      one process makes and destroys clients, notifiers with observers, and objects of the facade
//   servers     the same with servers
//
// Each part warms up with a tenth of its work: pages of log and rings are touched for the first time, the C library
// grows its heap. From there on nothing may grow beyond the tolerances, see kMemoryTolerance.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>

#include "tests/storm/footprint.h"
#include "tests/storm/log_view.h"
#include "tests/support/child.h"
#include "tests/support/private_shm.h"
#include "tests/support/roles.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

namespace storm {
namespace {

using test_support::Child;

constexpr double kLongest = 3600 * test_support::kSlowness;

// Of one process's memory, in KiB: a few pages of stack or library that chance needs for the first time. What is lost
// with each message or cycle is more: one block of 32 bytes in each of 10,000 cycles are 312 KiB, one byte with each of
// 10 million messages nearly 10 MiB.
constexpr std::uint64_t kMemoryTolerance = 32;
// Of its heap in use, in bytes, which shows losses long before pages do. A few blocks more are those that the C library
// keeps for each thread to hand out again: they count as in use. One block of 32 bytes in each of 128 cycles is more.
constexpr std::uint64_t kHeapTolerance = 4096;
constexpr double kPatience = 5 * test_support::kSlowness;
constexpr std::uint32_t kLooksThatSettle = 10;
// The table of apps has 20 places; until they are taken the device side's copy of it grows.
constexpr std::uint32_t kFewestToWarmUp = 30;
constexpr std::size_t kWatchers = 2;
constexpr std::size_t kVisitorsAtATime = 4;

struct Options {
  std::uint32_t messages = 10'000'000;
  std::uint32_t cycles = 10'000;
  std::string json;
  std::string sabotage;
};

// What a part has been seen to take up, three times.
struct Sample {
  std::vector<Footprint> processes;
  SharedObjects objects;
  std::uint64_t places = 0;
};

struct Part {
  std::string name;
  std::string work;
  double seconds = 0;
  std::vector<Sample> samples;
};

std::string jsonOf(const Sample& sample) {
  std::string text = "{\"objects\": " + std::to_string(sample.objects.count) +
                     ", \"bytes\": " + std::to_string(sample.objects.bytes) +
                     ", \"blocks\": " + std::to_string(sample.objects.blocks) +
                     ", \"places\": " + std::to_string(sample.places) + ", \"processes\": [";
  for (std::size_t i = 0; i < sample.processes.size(); ++i) {
    const Footprint& process = sample.processes[i];
    text += std::string(i == 0 ? "" : ", ") + "{\"name\": \"" + process.name +
            "\", \"memory_kib\": " + std::to_string(process.memoryKib) +
            ", \"private_kib\": " + std::to_string(process.privateKib) +
            ", \"heap_bytes\": " + std::to_string(process.heapBytes) +
            ", \"descriptors\": " + std::to_string(process.descriptors) +
            ", \"threads\": " + std::to_string(process.threads) + "}";
  }
  return text + "]}";
}

class Member {
 public:
  Member(const std::string& role, const std::string& name, const std::vector<std::string>& args)
      : name_(name), child_(role, args) {}

  Child& child() { return child_; }
  Footprint footprint() {
    const std::string heap = child_.ask("heap");
    Footprint footprint = footprintOf(name_, child_.pid());
    footprint.heapBytes = heap.empty() ? 0 : std::stoull(heap);
    return footprint;
  }

 private:
  const std::string name_;
  Child child_;
};

class Soak {
 public:
  explicit Soak(const Options& options) : options_(options) { test_support::clearShm(); }

  void run() {
    exchangeMessages();
    receiveVisitors();
    endMembers(kWatchers);
    // The device side kept a copy of the table: only now it may be emptied.
    cycleIn("cycles", "soak_cycler", "attach and detach cycles of clients, notifiers and the facade in one process");
    cycleIn("servers", "soak_servers", "attach and detach cycles of servers in one process");
    endMembers(0);
  }

  const std::vector<Part>& parts() const { return parts_; }
  const std::vector<std::string>& faults() const { return faults_; }

 private:
  void blame(const std::string& fault) { faults_.push_back(fault); }

  Member& add(const std::string& role, const std::string& name, const std::vector<std::string>& args = {}) {
    members_.push_back(std::make_unique<Member>(role, name, args));
    if (!members_.back()->child().expect("ready")) {
      blame(name + " does not get ready");
    }
    return *members_.back();
  }

  // The youngest first.
  void endMembers(std::size_t rest) {
    while (members_.size() > rest) {
      if (members_.back()->child().finish() != 0) {
        blame("a process did not end well");
      }
      members_.pop_back();
    }
  }

  void command(Member& member, const std::string& line) {
    member.child().tell(line);
    if (!member.child().expectAnswer("ok", kLongest)) {
      blame("\"" + line + "\" went wrong");
    }
  }

  Sample sample() {
    Sample sample;
    for (const auto& member : members_) {
      sample.processes.push_back(member->footprint());
    }
    sample.processes.push_back(footprintOf("supervisor", getpid()));
    sample.objects = sharedObjects();
    sample.places = log_.open() ? log_.places().size() : 0;
    return sample;
  }

  void warmUp() {
    for (const auto& member : members_) {
      command(*member, "round");
    }
    sample();  // what it takes to look is needed once
  }

  // A tenth to warm up, and then two halves of what was asked for.
  void measure(const std::string& name, const std::string& work, std::uint32_t count,
               const std::function<void(std::uint32_t)>& doSo) {
    Part part = {name, work, 0, {}};
    doSo(std::max(count / 10, kFewestToWarmUp));
    warmUp();
    part.samples.push_back(settledSample());
    const double begin = test_support::monotonicSeconds();
    doSo(count / 2);
    part.samples.push_back(laterSample(part));
    doSo(count - count / 2);
    part.samples.push_back(laterSample(part));
    part.seconds = test_support::monotonicSeconds() - begin;
    parts_.push_back(part);
  }

  // A sanitizer keeps freed memory on purpose.
  static bool isMemoryJudged() { return test_support::kSlowness == 1; }

  static Sample judgedOf(Sample sample) {
    for (Footprint& process : sample.processes) {
      if (!isMemoryJudged()) {
        process.memoryKib = process.privateKib = process.heapBytes = 0;
      }
    }
    return sample;
  }

  // A thread that is just ending, or a call that has not returned yet, takes up something for a moment: so it looks
  // until several looks have seen the same.
  Sample settledSample() {
    Sample last = sample();
    std::uint32_t same = 0;
    const bool isSettled = test_support::waitUntil(
        [&] {
          const Sample now = sample();
          same = jsonOf(judgedOf(now)) == jsonOf(judgedOf(last)) ? same + 1 : 0;
          last = now;
          return same == kLooksThatSettle;
        },
        kPatience);
    if (!isSettled) {
      blame("what processes take up does not settle");
    }
    return last;
  }

  // What has grown is looked at again for a while, for the same reason. What is lost does not come back.
  Sample laterSample(const Part& part) {
    Sample last;
    const auto isAsBefore = [&] {
      last = sample();
      return growthsIn(part, last).empty();
    };
    if (!test_support::waitUntil(isAsBefore, kPatience)) {
      for (const std::string& growth : growthsIn(part, last)) {
        blame(growth);
      }
    }
    return last;
  }

  void exchangeMessages() {
    for (std::size_t i = 1; i <= kWatchers; ++i) {
      add("soak_watcher", "watcher " + std::to_string(i));
    }
    add("soak_phone", "device side", {options_.sabotage});
    app_ = &add("soak_app", "app", {options_.sabotage});
    measure("messages", "messages", options_.messages,
            [this](std::uint32_t count) { command(*app_, "exchange " + std::to_string(count)); });
  }

  void receiveVisitors() {
    measure("visitors", "processes that attach and detach", options_.cycles, [](std::uint32_t count) {
      std::vector<std::unique_ptr<Child>> visitors;
      for (std::uint32_t i = 0; i < count || !visitors.empty();) {
        if (i < count && visitors.size() < kVisitorsAtATime) {
          const std::vector<std::string> how = {i++ % 2 == 0 ? "return" : "leave"};
          visitors.push_back(std::make_unique<Child>("soak_visitor", how));
          continue;
        }
        EXPECT_EQ(visitors.front()->wait(), 0);
        visitors.erase(visitors.begin());
      }
    });
    command(*app_, "exchange 2000");  // nobody has come to harm
  }

  void cycleIn(const std::string& name, const std::string& role, const std::string& work) {
    Member& member = add(role, name, {options_.sabotage});
    measure(name, work, options_.cycles,
            [this, &member](std::uint32_t count) { command(member, "attach " + std::to_string(count)); });
    endMembers(kWatchers);
  }

  static std::vector<std::string> growthsIn(const Part& part, const Sample& later) {
    std::vector<std::string> growths;
    const Sample& first = part.samples.front();
    const auto compare = [&](const std::string& what, std::uint64_t before, std::uint64_t now,
                             std::uint64_t tolerance) {
      if (now > before + tolerance) {
        growths.push_back(part.name + ": " + what + " grew from " + std::to_string(before) + " to " +
                          std::to_string(now));
      }
    };
    for (std::size_t i = 0; i < first.processes.size(); ++i) {
      const Footprint& before = first.processes[i];
      const Footprint& now = later.processes[i];
      if (isMemoryJudged()) {
        compare(before.name + ": KiB of memory", before.memoryKib, now.memoryKib, kMemoryTolerance);
        compare(before.name + ": KiB of private memory", before.privateKib, now.privateKib, kMemoryTolerance);
        compare(before.name + ": bytes of heap", before.heapBytes, now.heapBytes, kHeapTolerance);
      }
      compare(before.name + ": open descriptors", before.descriptors, now.descriptors, 0);
      compare(before.name + ": threads", before.threads, now.threads, 0);
    }
    compare("objects in /dev/shm", first.objects.count, later.objects.count, 0);
    compare("bytes in /dev/shm", first.objects.bytes, later.objects.bytes, 0);
    compare("blocks in /dev/shm", first.objects.blocks, later.objects.blocks, 0);
    // Those of visitors that left without a word stand until somebody looks for a place.
    compare("places of the table", first.places, later.places, kVisitorsAtATime);
    return growths;
  }

  const Options options_;
  LogView log_;
  std::vector<std::unique_ptr<Member>> members_;
  Member* app_ = nullptr;
  std::vector<Part> parts_;
  std::vector<std::string> faults_;
};

std::uint32_t countOf(const Options& options, const Part& part) {
  return part.name == "messages" ? options.messages : options.cycles;
}

void print(const Options& options, const Part& part) {
  printf("%s: %u %s in %.1f s\n", part.name.c_str(), countOf(options, part), part.work.c_str(), part.seconds);
  const std::size_t processes = part.samples.front().processes.size();
  printf("  %-12s %24s %24s %30s %14s %10s\n", "", "memory, KiB", "private, KiB", "heap, bytes", "descriptors",
         "threads");
  for (std::size_t i = 0; i < processes; ++i) {
    const auto row = [&part, i](std::uint64_t Footprint::*field) {
      std::string text;
      for (const Sample& sample : part.samples) {
        text += " " + std::to_string(sample.processes[i].*field);
      }
      return text;
    };
    printf("  %-12s %24s %24s %30s %14s %10s\n", part.samples.front().processes[i].name.c_str(),
           row(&Footprint::memoryKib).c_str(), row(&Footprint::privateKib).c_str(), row(&Footprint::heapBytes).c_str(),
           row(&Footprint::descriptors).c_str(), row(&Footprint::threads).c_str());
  }
  for (const Sample& sample : part.samples) {
    printf("  /dev/shm: %llu objects, %llu bytes, %llu blocks; %llu places\n",
           static_cast<unsigned long long>(sample.objects.count), static_cast<unsigned long long>(sample.objects.bytes),
           static_cast<unsigned long long>(sample.objects.blocks), static_cast<unsigned long long>(sample.places));
  }
}

bool writeJson(const Options& options, const Soak& soak) {
  std::ofstream file(options.json);
  file << "{\n  \"program\": \"soak\",\n  \"memory_tolerance_kib\": " << kMemoryTolerance
       << ",\n  \"heap_tolerance_bytes\": " << kHeapTolerance << ",\n  \"faults\": " << soak.faults().size()
       << ",\n  \"parts\": [";
  bool isFirst = true;
  for (const Part& part : soak.parts()) {
    file << (isFirst ? "\n" : ",\n") << "    {\"name\": \"" << part.name << "\", \"work\": \"" << part.work
         << "\", \"count\": " << countOf(options, part) << ", \"seconds\": " << part.seconds << ", \"samples\": [";
    for (std::size_t i = 0; i < part.samples.size(); ++i) {
      file << (i == 0 ? "\n      " : ",\n      ") << jsonOf(part.samples[i]);
    }
    file << "]}";
    isFirst = false;
  }
  file << "\n  ]\n}\n";
  return file.flush().good();
}

bool readArguments(int argc, char** argv, Options& options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const std::string value = argv[i + 1];
    if (name == "--messages") {
      options.messages = static_cast<std::uint32_t>(std::stoul(value));
    } else if (name == "--cycles") {
      options.cycles = static_cast<std::uint32_t>(std::stoul(value));
    } else if (name == "--json") {
      options.json = value;
    } else if (name == "--sabotage") {
      options.sabotage = value;
    } else {
      return false;
    }
  }
  return argc % 2 == 1;
}

int runSoak(const Options& options) {
  Soak soak(options);
  soak.run();
  for (const Part& part : soak.parts()) {
    print(options, part);
  }
  for (const std::string& fault : soak.faults()) {
    printf("FAULT %s\n", fault.c_str());
  }
  if (!options.json.empty() && !writeJson(options, soak)) {
    fprintf(stderr, "cannot write %s\n", options.json.c_str());
    return 2;
  }
  // Those of the children are reported by themselves.
  const bool hasChildFailed = testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed();
  printf("soak: %zu faults%s\n", soak.faults().size(), hasChildFailed ? ", and those told above" : "");
  return soak.faults().empty() && !hasChildFailed ? 0 : 1;
}

}  // namespace
}  // namespace storm

int main(int argc, char** argv) {
  constexpr const char* kRole = "--role=";
  if (argc > 1 && strncmp(argv[1], kRole, strlen(kRole)) == 0) {
    return test_support::runRole(argv[1] + strlen(kRole), {argv + 2, argv + argc});
  }
  storm::Options options;
  if (!storm::readArguments(argc, argv, options)) {
    fputs(
        "Usage: soak [--messages N] [--cycles M] [--json FILE]\n"
        "            [--sabotage descriptor|memory|payload|object]      what is done to see that it is noticed\n",
        stderr);
    return 2;
  }
  test_support::enterPrivateShm(argv);
  return storm::runSoak(options);
}
