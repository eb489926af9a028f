// Role "scribbler": a process that may write the objects and wants to do harm. It says "ready" and hears, answered by
// "done",
//   fill OBJECT SEED       random bytes over a whole segment, or over all slots of the log
//   fill-with OBJECT BYTE  the same with one byte
//   scribble SEED COUNT    so many random changes to the four segments and the log's slots
//   post SEED COUNT        so many messages with random contents, under the channel's identifiers
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <random>
#include <stdexcept>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

namespace {

// The log's layout, as docs/channel-format.md has it.
constexpr std::size_t kHead = 128;
constexpr std::size_t kFirstSlot = 9280;
constexpr std::size_t kLogSlotBytes = 384;
constexpr std::size_t kLogSlots = 8192;
constexpr std::size_t kLogBytes = kFirstSlot + kLogSlots * kLogSlotBytes;
constexpr std::size_t kSequenceWords = 2;

// Values at which limits lie.
constexpr std::uint32_t kEdges[] = {0,    1,    2,    3,    4,    5,          19,         20,         39,        40,
                                    271,  272,  303,  304,  352,  353,        4095,       4096,       4097,      0xFFFF,
                                    8192, 8193, 0x80, 0xFF, 0x16, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFF0};

using Random = std::mt19937;

class Mapped {
 public:
  Mapped(const std::string& name, std::size_t size) : size_(size) {
    const int fd = open(test_support::shmFile(name).c_str(), O_RDWR | O_CLOEXEC);
    start_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (start_ == MAP_FAILED) {
      throw std::runtime_error(name + " cannot be mapped");
    }
  }
  ~Mapped() { munmap(start_, size_); }
  Mapped(const Mapped&) = delete;
  Mapped& operator=(const Mapped&) = delete;

  std::size_t words() const { return size_ / sizeof(std::uint32_t); }
  // Others read and write meanwhile.
  std::uint32_t load(std::size_t word) const { return __atomic_load_n(at(word), __ATOMIC_RELAXED); }
  void store(std::size_t word, std::uint32_t value) { __atomic_store_n(at(word), value, __ATOMIC_RELAXED); }

 private:
  std::uint32_t* at(std::size_t word) const { return static_cast<std::uint32_t*>(start_) + word; }

  const std::size_t size_;
  void* start_ = nullptr;
};

std::uint32_t anyValue(Random& random) {
  return random() % 2 == 0 ? static_cast<std::uint32_t>(random())
                           : kEdges[random() % (sizeof kEdges / sizeof kEdges[0])];
}

class Scribbler {
 public:
  void fill(const std::string& object, const std::function<std::uint32_t()>& value) {
    Mapped& target = object == kLogObject ? log_ : segments_.at(indexOf(object));
    const std::size_t first = object == kLogObject ? kFirstSlot / sizeof(std::uint32_t) : 0;
    for (std::size_t word = first; word < target.words(); ++word) {
      target.store(word, value());
    }
  }

  void scribble(Random& random) {
    switch (random() % 4) {
      case 0:
        changeNewSlot(random);
        break;
      case 1:
        log_.store(kFirstSlot / sizeof(std::uint32_t) + random() % (kLogSlots * kLogSlotBytes / sizeof(std::uint32_t)),
                   anyValue(random));
        break;
      case 2:
        changeControlWord(random);
        break;
      default:
        Mapped& segment = segments_[random() % segments_.size()];
        segment.store(random() % segment.words(), anyValue(random));
        break;
    }
  }

 private:
  static std::size_t indexOf(const std::string& name) {
    std::size_t index = 0;
    while (name != kSegments[index].name) {
      ++index;
    }
    return index;
  }

  // A message that receivers are about to read.
  void changeNewSlot(Random& random) {
    const std::uint32_t back = static_cast<std::uint32_t>(random() % 4);
    const std::size_t slot = (log_.load(kHead / sizeof(std::uint32_t)) - back) % kLogSlots;
    // The sequence number stays, mostly: with another one it is no message any more.
    const std::size_t first = random() % 8 == 0 ? 0 : kSequenceWords;
    const std::size_t word = first + random() % (kLogSlotBytes / sizeof(std::uint32_t) - first);
    log_.store((kFirstSlot + slot * kLogSlotBytes) / sizeof(std::uint32_t) + word, anyValue(random));
  }

  // Sizes and positions.
  void changeControlWord(Random& random) {
    Mapped& ring = segments_[1 + random() % 2];
    ring.store((kRecord + random() % 40 * kSlotStride + kSlotSize) / sizeof(std::uint32_t), anyValue(random));
    ring.store(kWriteIndex / sizeof(std::uint32_t), anyValue(random));
    segments_[3].store(kAppCount / sizeof(std::uint32_t), anyValue(random));
    segments_[3].store((kRecord + random() % 20 * kEntryStride) / sizeof(std::uint32_t), anyValue(random));
  }

  std::array<Mapped, 4> segments_ = {
      Mapped(kSegments[0].name, kSegments[0].size), Mapped(kSegments[1].name, kSegments[1].size),
      Mapped(kSegments[2].name, kSegments[2].size), Mapped(kSegments[3].name, kSegments[3].size)};
  Mapped log_{kLogObject, kLogBytes};
};

void postAnything(Random& random) {
  static VQSharedMemNotifier* const notifier = new VQSharedMemNotifier(false);
  std::uint32_t words[VQSharedMemNotifier::kMaxPayload / sizeof(std::uint32_t)];
  for (std::uint32_t& word : words) {
    word = anyValue(random);
  }
  const auto size = static_cast<unsigned int>(random() % (sizeof words + 1));
  notifier->NotifyDataUpdate(static_cast<unsigned int>(2 + random() % 4), words, size);
}

TEST_ROLE(scribbler) {
  Scribbler scribbler;
  test_support::say("ready");
  while (const auto line = test_support::hear()) {
    const std::vector<std::string> words = wordsOf(*line);
    const std::string& command = words.at(0);
    if (command == "fill") {
      Random random(numberOf(words.at(2)));
      scribbler.fill(words.at(1), [&random] { return static_cast<std::uint32_t>(random()); });
    } else if (command == "fill-with") {
      const std::uint32_t word = numberOf(words.at(2)) * 0x01010101U;
      scribbler.fill(words.at(1), [word] { return word; });
    } else {
      Random random(numberOf(words.at(1)));
      for (std::uint32_t i = 0; i < numberOf(words.at(2)); ++i) {
        command == "post" ? postAnything(random) : scribbler.scribble(random);
      }
    }
    test_support::answer("done");
  }
  return 0;
}

}  // namespace
