// What got lost on the channel, as far as it can be told from outside: counted, and told loss by loss.
//
// It is fed with the messages in their order and, behind each batch, with the receivers' places. Counts are lower
// bounds: nothing counts that could have another reason.
//   overwritten    A slot of a ring was announced again while the process that the first message was for had not begun
//                  to read its announcement: receivers store their position before they call anybody. A reader who
//                  comes too late by less than that is not seen.
//   skipped        Two announcements of a ring follow each other, the second names a later slot than the next one. What
//                  lies between was written and not announced, or never written. That the position goes back to slot 0
//                  is the way of the channel: each process that starts an endpoint sets it back.
//   notifications  A receiver says itself that messages of its identifiers were gone before it read them.
//   withoutResult  Sent by an app, and no result for five seconds, or none before session or link ended. Results are
//                  taken for the oldest send of their app.
// Where the onlooker himself misses messages (`missed`), nothing is concluded across the gap.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "inspect/channel_state.h"
#include "inspect/log_view.h"
#include "inspect/segments.h"

namespace inspect {

enum class LossKind { kOverwritten, kSkipped, kNotifications, kWithoutResult, kMissedByOnlooker };

// "overwritten", "skipped", "notifications", "withoutResult", "missed".
const char* nameOf(LossKind kind);

struct Loss {
  LossKind kind = LossKind::kOverwritten;
  std::uint64_t count = 1;
  std::uint32_t app = 0;       // whose message it is; for lost notifications an app of the receiver; 0 = not known
  std::uint32_t pid = 0;       // who did not get it; the sender where nothing was announced or answered
  std::optional<RingId> ring;  // overwritten and skipped
  std::uint64_t sequence = 0;  // of the message that is lost, else of the one that shows it
  std::uint64_t time = 0;      // monotonic nanoseconds, of the same
};

struct LossCounts {
  std::uint64_t overwritten = 0;
  std::uint64_t skipped = 0;
  std::uint64_t notifications = 0;
  std::uint64_t withoutResult = 0;

  std::uint64_t all() const { return overwritten + skipped + notifications + withoutResult; }
};

class Losses {
 public:
  // What a receiver has lost before it was seen for the first time counts or not.
  enum class Earlier { kCounts, kDoesNotCount };
  // Whether the process of a place still lives: those of killed ones stay.
  using IsThere = std::function<bool(const Receiver& receiver)>;

  static constexpr std::uint64_t kPatience = 5'000'000'000;  // nanoseconds; how long a result may take

  explicit Losses(Earlier earlier) : earlier_(earlier) {}

  void add(const Message& message);
  // The places as they were copied after the last message; `state` has heard the same messages. Those that were listed
  // from the first time on have no past.
  void look(const std::vector<Receiver>& receivers, const ChannelState& state, const IsThere& isThere,
            std::uint64_t now);
  // So many messages were gone before the onlooker saw them, right before the next one.
  void addMissed(std::uint64_t count, std::uint64_t sequence, std::uint64_t now);
  // Another log: what was open stays unknown.
  void forget();
  // What has been counted is left out from now on.
  void beginAnew();

  // Those found since the last call.
  std::vector<Loss> take() { return std::exchange(found_, {}); }

  const LossCounts& total() const { return total_; }
  std::map<std::uint32_t, LossCounts> byApp;       // app 0: not known whose
  std::map<std::uint32_t, LossCounts> byReceiver;  // by pid; overwritten and notifications
  std::uint64_t missed = 0;                        // by the onlooker
  std::uint64_t setBacks = 0;                      // of a ring's position to slot 0

 private:
  static constexpr std::size_t kSlots = iOSAppCommonDataList::kSlotCount;
  struct Announced {
    std::uint64_t sequence = 0;
    std::uint64_t time = 0;
    std::uint32_t app = 0;
  };
  struct Replaced {
    RingId ring;
    Announced message;
  };
  struct RingPast {
    std::array<std::optional<Announced>, kSlots> slots;
    std::optional<std::uint32_t> lastSlot;
    std::uint32_t nextNumber = 0;  // of its identifier
  };
  struct Sent {
    std::deque<Said> open;    // no result yet, the oldest first
    std::size_t overdue = 0;  // of them, counted already
  };
  struct Place {
    std::uint64_t startTime = 0;
    std::uint64_t lost = 0;
  };

  void addAnnouncement(const Message& message, const iOSAppCommonDataNotify& announcement, RingId id);
  void checkSlot(const Message& message, const iOSAppCommonDataNotify& announcement, RingId id);
  void addStatus(const iosapp_def_::ConnectStatusNotify& status, const Message& message);
  void giveUp(std::uint32_t app, const Message& message);
  void findOverwritten(const std::vector<Receiver>& receivers, const ChannelState& state, const IsThere& isThere);
  void findOverdue(std::uint64_t now);
  void findNotifications(const std::vector<Receiver>& receivers, const ChannelState& state, std::uint64_t now);
  void tell(const Loss& loss);

  Earlier earlier_;
  std::array<RingPast, 2> rings_;
  std::vector<Replaced> replaced_;  // since the last look
  std::map<std::uint32_t, Sent> sent_;
  std::map<std::uint32_t, Place> places_;  // by pid
  bool hasLooked_ = false;
  LossCounts total_;
  std::vector<Loss> found_;
};

// The app that a message is about; 0 where it is about none.
std::uint32_t appOf(const Message& message);
// The apps that a process was the last to speak for.
std::vector<std::uint32_t> appsOf(const ChannelState& state, std::uint32_t pid);

}  // namespace inspect
