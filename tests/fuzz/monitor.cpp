// `linkapp monitor` and the recorder's view over a log and rings of any content that go on changing: every message is
// told once, in order, as text and as JSON.
#include <nlohmann/json.hpp>

#include "inspect/message.h"
#include "monitor/lines.h"
#include "monitor/stats.h"
#include "monitor/top_page.h"
#include "monitor/watch.h"
#include "record/entry.h"
#include "tests/fuzz/folder_objects.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Input;

constexpr unsigned int kMostSteps = 24;
constexpr std::size_t kMostTold = 16;  // of a turn

class Onlooker {
 public:
  explicit Onlooker(const inspect::Place& place) : watch_({place, true}) {}

  void look() {
    const monitor::Turn turn = watch_.turn();
    lines_.beginTurn();
    fuzz::require(turn.contents.size() == turn.messages.size(), "every message has its content");
    for (std::size_t i = 0; i < turn.messages.size(); ++i) {
      if (turn.isNewLog) {
        break;
      }
      tell(turn.messages[i], turn.contents[i], i < kMostTold);
    }
    stats_.look(watch_);
    fuzz::require(watch_.state().apps.size() <= iOSAppInfoList::kEntryCount, "there are 20 apps at most");
  }

  void end() {
    const monitor::Figures figures = stats_.take(watch_.now());
    fuzz::require(!statsText(figures, watch_).empty(), "there are figures");
    requireJson(text::toJson(statsFields(figures, watch_)));
    fuzz::require(topPage(figures, {}, "", watch_, 100, 30).size() <= 30, "a page is no longer than the screen");
  }

 private:
  static void requireJson(const std::string& text) {
    fuzz::require(nlohmann::json::accept(text), "what is shown as JSON is JSON");
  }

  void tell(const inspect::Message& message, const inspect::RingContent& content, bool isTold) {
    fuzz::require(message.size <= VQSharedMemNotifier::kMaxPayload, "no payload is longer than payloads may be");
    fuzz::require(content.bytes.size() <= iOSAppCommonDataList::kSlotBytes, "no message is longer than a slot");
    stats_.add(message, content);
    if (!isTold) {
      return;
    }
    fuzz::require(!lines_.ofMessage(message, content).empty(), "a message is a line");
    requireJson(objects_.ofMessage(message, content));
    const std::vector<std::uint8_t> bytes = record::encode(record::MessageSeen{message, content, false});
    record::Entry entry;
    std::string mistake;
    fuzz::require(record::decode(static_cast<std::uint16_t>(record::EntryType::kMessage), bytes.data(), bytes.size(),
                                 entry, mistake),
                  "what is recorded can be read again");
  }

  monitor::Watch watch_;
  monitor::Lines lines_{watch_, monitor::Lines::Form::kColoured};
  monitor::Lines objects_{watch_, monitor::Lines::Form::kJson};
  monitor::Stats stats_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static fuzz::FolderObjects objects;
  Input input(data, size);
  Onlooker onlooker(objects.place());
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    const std::uint32_t kind = input.below(8);
    if (kind == 0) {
      onlooker.look();
    } else if (kind < 6) {
      objects.post(input);
    } else {
      objects.disturb(input);
    }
  }
  onlooker.look();
  onlooker.end();
  objects.restore();
  return 0;
}
