// What `linkapp monitor` is made of, on objects made by hand.
#include <nlohmann/json.hpp>

#include "inspect/columns.h"
#include "monitor/bursts.h"
#include "monitor/filter.h"
#include "monitor/lines.h"
#include "monitor/stats.h"
#include "monitor/top_page.h"
#include "monitor/watch.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using inspect::Loss;
using inspect::LossKind;
using inspect::Message;
using monitor::Bursts;
using monitor::Figures;
using monitor::Filter;
using monitor::Lines;
using monitor::Stats;
using monitor::Turn;
using monitor::Watch;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Form = Lines::Form;

constexpr std::uint32_t kFromHU = inspect::kIdFromHU;
constexpr std::uint32_t kFromDevice = inspect::kIdFromDevice;

// Two apps, "navi" with the id 1, "music" with 2. This process says and hears everything.
class Monitored : public InspectTest {
 public:
  Monitored() {
    hand_made::makeFourSegments();
    log_ = std::make_unique<hand_made::Log>();
    hand_made::registerApp(0, "navi", "com.example.navi");
    hand_made::registerApp(1, "music", "com.example.music");
    log_->listReceiver(0, static_cast<std::uint32_t>(getpid()), 1, {2, 3, 4, 5});
  }

  void announceBytes(std::uint32_t id, std::uint32_t app, std::uint32_t slot, const std::string& bytes) {
    hand_made::writeSlot(id == kFromHU ? inspect::kFromHUSegment : inspect::kFromDeviceSegment, slot, bytes);
    log_->announce(id, app, slot);
  }
  void answer(std::uint32_t app) {
    auto status = hand_made::statusOf(iosapp_def_::NOTIFYID_SENDRESULT, app);
    status.sendResult = iosapp_def_::SENDRESULT_SUCCESS;
    log_->postStatus(status);
  }
  static std::vector<std::string> namesOf(const Turn& turn) {
    std::vector<std::string> names;
    for (const Message& message : turn.messages) {
      names.push_back(nameOf(message));
    }
    return names;
  }
  static std::vector<std::string> linesOf(Watch& watch, const Turn& turn, Form form) {
    Lines lines(watch, form);
    std::vector<std::string> all;
    for (std::size_t i = 0; i < turn.messages.size(); ++i) {
      all.push_back(lines.ofMessage(turn.messages[i], turn.contents[i]));
    }
    return all;
  }

  std::unique_ptr<hand_made::Log> log_;
};

TEST_F(Monitored, messages_that_were_there_already_are_heard_and_not_shown) {
  log_->announcePlace(0);
  announceBytes(kFromHU, 1, 0, "hello");
  Watch sut({});
  EXPECT_THAT(sut.turn().messages, IsEmpty());
  EXPECT_EQ(sut.state().apps.at(1).sent, 1U);
  answer(1);
  EXPECT_THAT(namesOf(sut.turn()), ElementsAre("NOTIFYID_SENDRESULT"));
}

TEST_F(Monitored, messages_that_were_there_already_are_shown_from_the_start) {
  log_->announcePlace(0);
  announceBytes(kFromHU, 1, 0, "hello");
  Watch sut({{}, true});
  EXPECT_THAT(namesOf(sut.turn()), ElementsAre("AppInfo", "FromHU"));
}

TEST_F(Monitored, messages_of_another_log_are_shown_all) {
  log_->announcePlace(0);
  Watch sut({});
  sut.turn();
  log_ = std::make_unique<hand_made::Log>();
  log_->announcePlace(1);
  const Turn turn = sut.turn();
  EXPECT_TRUE(turn.isNewLog);
  EXPECT_THAT(namesOf(turn), ElementsAre("AppInfo"));
  EXPECT_THAT(turn.losses, IsEmpty());
}

TEST_F(Monitored, messages_have_time_place_kind_fields_sender_and_receivers_in_a_line) {
  Watch sut({});
  log_->announcePlace(0);
  announceBytes(kFromHU, 1, 0, "hello");
  const Turn turn = sut.turn();
  const std::string me = std::to_string(getpid()) + " " + sut.who(static_cast<std::uint32_t>(getpid())).name;
  const auto lines = linesOf(sut, turn, Form::kPlain);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[1], testing::MatchesRegex("..:..:..\\.......        1  FromHU                    device=1 app=1 "
                                              "appName=navi slot=0 size=5 text=hello  from " +
                                              me + " \\(navi\\) to " + me + " \\(navi\\)\n"));
  EXPECT_THAT(linesOf(sut, turn, Form::kColoured)[1], HasSubstr("\033[36mFromHU"));
}

TEST_F(Monitored, messages_are_objects_of_json) {
  Watch sut({});
  log_->announcePlace(0);
  announceBytes(kFromHU, 1, 0, std::string(100, '\x01'));
  log_->postForNobody();
  const auto lines = linesOf(sut, sut.turn(), Form::kJson);
  ASSERT_EQ(lines.size(), 3U);
  const json message = json::parse(lines[1]);
  EXPECT_EQ(message["event"], "message");
  EXPECT_EQ(message["sequence"], 1);
  EXPECT_EQ(message["kind"], "FromHU");
  EXPECT_EQ(message["id"], 2);
  EXPECT_EQ(message["sender"]["pid"], getpid());
  EXPECT_EQ(message["sender"]["apps"][0]["appName"], "navi");
  EXPECT_EQ(message["fields"], json::parse(R"({"device":1,"app":1,"appName":"navi","slot":0})"));
  EXPECT_EQ(message["content"],
            json::parse(R"({"state":"certain","size":100,"head":"01010101010101010101010101010101"})"));
  EXPECT_EQ(message["receivers"].size(), 1U);
  const json registrations = json::parse(lines[2]);
  EXPECT_EQ(registrations["kind"], "registrations");
  EXPECT_EQ(registrations["registered"].size(), 4U);
}

TEST_F(Monitored, names_cannot_write_on_the_terminal) {
  hand_made::registerApp(0, "\033[2Jnavi", "x");
  Watch sut({});
  announceBytes(kFromHU, 1, 0, "\033[2J");
  for (const Form form : {Form::kPlain, Form::kJson}) {
    EXPECT_THAT(linesOf(sut, sut.turn(), form), testing::Each(Not(HasSubstr("\033"))));
  }
}

TEST_F(Monitored, messages_are_filtered_by_app_kind_and_identifier) {
  Watch watch({});
  announceBytes(kFromHU, 1, 0, "a");
  announceBytes(kFromHU, 2, 1, "b");
  answer(2);
  log_->post(77, "foreign");
  log_->postForNobody();
  const Turn turn = watch.turn();
  const auto passing = [&](const Filter& sut) {
    std::string all;
    for (const Message& message : turn.messages) {
      all += sut.passes(message, watch) ? std::to_string(message.sequence) : "";
    }
    return all;
  };
  EXPECT_EQ(passing({}), "01234");
  EXPECT_EQ(passing({{"navi"}, {}, {}}), "0");
  EXPECT_EQ(passing({{"2"}, {}, {}}), "12");
  EXPECT_EQ(passing({{"2", "navi"}, {}, {}}), "012");
  EXPECT_EQ(passing({{}, {"SENDRESULT"}, {}}), "2");
  EXPECT_EQ(passing({{}, {"FromHU", "registrations"}, {}}), "014");
  EXPECT_EQ(passing({{}, {}, {77, 4}}), "23");
  EXPECT_EQ(passing({{"2"}, {"FromHU"}, {2}}), "1");
  EXPECT_EQ(passing({{"radio"}, {}, {}}), "");
}

TEST_F(Monitored, losses_of_other_apps_are_filtered) {
  Watch watch({});
  watch.turn();
  Loss loss;
  loss.app = 1;
  EXPECT_TRUE((Filter{}.passes(loss, watch)));
  EXPECT_TRUE((Filter{{"navi"}, {}, {}}.passes(loss, watch)));
  EXPECT_FALSE((Filter{{"music"}, {}, {}}.passes(loss, watch)));
  loss.app = 0;
  EXPECT_TRUE((Filter{{"music"}, {}, {}}.passes(loss, watch)));
}

TEST_F(Monitored, what_the_monitor_missed_itself_is_told_apart) {
  Watch sut({});
  log_->announcePlace(0);
  sut.turn();
  for (std::uint32_t i = 0; i < vqframework::kSlotCount + 500; ++i) {
    log_->announce(kFromHU, 1, i % 40);
  }
  const Turn turn = sut.turn();
  ASSERT_FALSE(turn.losses.empty());
  EXPECT_EQ(turn.losses.front().kind, LossKind::kMissedByOnlooker);
  EXPECT_EQ(turn.losses.front().count, sut.losses().missed);
  EXPECT_GE(sut.losses().missed, 500U);
  EXPECT_EQ(turn.messages.front().sequence, 1 + sut.losses().missed);
}

// This process is listed with a position that stands still.
TEST_F(Monitored, overwritten_slots_are_told_with_app_and_process) {
  Watch sut({});
  log_->announcePlace(0);
  auto link = hand_made::statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
  link.connectStatus = 1;
  log_->postStatus(link);
  for (std::uint32_t i = 0; i < 45; ++i) {
    announceBytes(kFromDevice, 1, i % 40, "x");
  }
  const Turn turn = sut.turn();
  ASSERT_EQ(turn.losses.size(), 5U);
  Bursts bursts;
  for (const Loss& loss : turn.losses) {
    bursts.add(loss, sut.now());
  }
  const auto all = bursts.takeAll();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_THAT(Lines(sut, Form::kPlain).ofBurst(all.front()),
              AllOf(HasSubstr("lost: 5 messages of app 1 (navi) overwritten in ring FromDevice before " +
                              std::to_string(getpid())),
                    HasSubstr("took them")));
  const json burst = json::parse(Lines(sut, Form::kJson).ofBurst(all.front()));
  EXPECT_EQ(burst["event"], "loss");
  EXPECT_EQ(burst["kind"], "overwritten");
  EXPECT_EQ(burst["count"], 5);
  EXPECT_EQ(burst["appName"], "navi");
  EXPECT_EQ(burst["process"]["pid"], getpid());
  EXPECT_EQ(burst["firstSequence"], 2);
  EXPECT_EQ(burst["lastSequence"], 6);
}

TEST_F(Monitored, every_kind_of_loss_has_words_of_its_own) {
  Watch watch({});
  watch.turn();
  Lines sut(watch, Form::kPlain);
  const auto words = [&](LossKind kind) {
    monitor::Burst burst;
    burst.first.kind = kind;
    burst.first.count = 2;
    burst.first.app = 2;
    burst.first.pid = static_cast<std::uint32_t>(getpid());
    burst.first.ring = inspect::RingId::kFromHU;
    return sut.ofBurst(burst);
  };
  EXPECT_THAT(words(LossKind::kSkipped),
              HasSubstr("lost: 2 slots of ring FromHU skipped before a message of app 2 (music)"));
  EXPECT_THAT(words(LossKind::kNotifications), HasSubstr("was too slow for 2 notifications"));
  EXPECT_THAT(words(LossKind::kWithoutResult), HasSubstr("lost: 2 messages of app 2 (music), sent by "));
  EXPECT_THAT(words(LossKind::kMissedByOnlooker), HasSubstr("the monitor itself missed 2 messages; no process did"));
}

constexpr std::uint64_t kStart = 1'000'000'000;

Loss lossOf(LossKind kind, std::uint32_t app, std::uint64_t count, std::uint64_t sequence) {
  Loss loss;
  loss.kind = kind;
  loss.app = app;
  loss.count = count;
  loss.sequence = sequence;
  return loss;
}

TEST(BurstsOfLosses, are_told_once_when_they_are_over) {
  Bursts sut;
  sut.add(lossOf(LossKind::kOverwritten, 1, 2, 10), kStart);
  EXPECT_THAT(sut.takeOver(kStart + 1), IsEmpty());
  sut.add(lossOf(LossKind::kOverwritten, 1, 3, 20), kStart + Bursts::kSilence - 1);
  EXPECT_THAT(sut.takeOver(kStart + Bursts::kSilence), IsEmpty());
  const auto over = sut.takeOver(kStart + 2 * Bursts::kSilence);
  ASSERT_EQ(over.size(), 1U);
  EXPECT_EQ(over.front().first.count, 5U);
  EXPECT_EQ(over.front().first.sequence, 10U);
  EXPECT_EQ(over.front().lastSequence, 20U);
  EXPECT_THAT(sut.takeOver(kStart + 10 * Bursts::kSilence), IsEmpty());
}

TEST(BurstsOfLosses, are_told_at_last_where_they_do_not_end) {
  Bursts sut;
  std::size_t told = 0;
  for (std::uint64_t now = kStart; now <= kStart + Bursts::kLongest + Bursts::kSilence; now += Bursts::kSilence / 2) {
    sut.add(lossOf(LossKind::kOverwritten, 1, 1, 10), now);
    told += sut.takeOver(now).size();
  }
  EXPECT_EQ(told, 1U);
}

TEST(BurstsOfLosses, are_kept_apart_by_kind_and_app) {
  Bursts sut;
  sut.add(lossOf(LossKind::kOverwritten, 1, 1, 10), kStart);
  sut.add(lossOf(LossKind::kOverwritten, 2, 1, 10), kStart);
  sut.add(lossOf(LossKind::kSkipped, 1, 1, 10), kStart);
  EXPECT_EQ(sut.takeAll().size(), 3U);
  EXPECT_THAT(sut.takeAll(), IsEmpty());
}

TEST_F(Monitored, rates_sizes_and_lags_are_counted_for_a_stretch_of_time) {
  Watch watch({});
  Stats sut;
  sut.look(watch);
  sut.take(watch.now());
  log_->announcePlace(0);
  log_->place(0).position.store(1);
  announceBytes(kFromHU, 1, 0, std::string(10, 'x'));
  announceBytes(kFromHU, 1, 1, std::string(30, 'x'));
  answer(1);
  announceBytes(kFromDevice, 2, 0, std::string(7, 'x'));
  const Turn turn = watch.turn();
  for (std::size_t i = 0; i < turn.messages.size(); ++i) {
    sut.add(turn.messages[i], turn.contents[i]);
  }
  sut.look(watch);
  const std::uint64_t begin = watch.now();
  const Figures figures = sut.take(begin);
  EXPECT_EQ(figures.messages, 5U);
  EXPECT_EQ(figures.kinds.at("FromHU"), 2U);
  EXPECT_EQ(figures.rings[0].bytes, 40U);
  EXPECT_EQ(figures.rings[0].least, 10U);
  EXPECT_EQ(figures.rings[0].mean(), 20U);
  EXPECT_EQ(figures.rings[0].most, 30U);
  EXPECT_EQ(figures.rings[0].unread, 0U);
  EXPECT_EQ(figures.apps.at(1).sent.messages, 2U);
  EXPECT_EQ(figures.apps.at(2).received.bytes, 7U);
  EXPECT_EQ(figures.apps.at(1).results, 1U);
  ASSERT_EQ(figures.apps.at(1).latency.count, 1U);
  EXPECT_EQ(figures.apps.at(1).latency.median, turn.messages[3].time - turn.messages[1].time);
  EXPECT_EQ(figures.receivers.at(static_cast<std::uint32_t>(getpid())).behind, 4U);
  const Figures next = sut.take(begin + 500'000'000);
  EXPECT_EQ(next.messages, 0U);
  EXPECT_EQ(next.duration, 500'000'000U);
  EXPECT_EQ(next.perSecond(3), 6U);
}

TEST_F(Monitored, stats_are_a_table_and_an_object) {
  Watch watch({});
  Stats stats;
  log_->announcePlace(0);
  announceBytes(kFromHU, 1, 0, std::string(10, 'x'));
  const Turn turn = watch.turn();
  stats.look(watch);
  for (std::size_t i = 0; i < turn.messages.size(); ++i) {
    stats.add(turn.messages[i], turn.contents[i]);
  }
  const Figures figures = stats.take(watch.now() + 1'000'000'000);
  EXPECT_THAT(statsText(figures, watch), AllOf(HasSubstr("2 messages in 1.0 s, 2/s; lost: 0 overwritten"),
                                               HasSubstr("  FromHU "), HasSubstr("10/10/10"), HasSubstr("1 (navi)")));
  const json all = json::parse(text::toJson(statsFields(figures, watch)));
  EXPECT_EQ(all["event"], "stats");
  EXPECT_EQ(all["durationMs"], 1000);
  EXPECT_EQ(all["rings"][0]["bytesPerSecond"], 10);
  EXPECT_EQ(all["apps"][0]["appName"], "navi");
  EXPECT_EQ(all["lost"]["overwritten"], 0);
  EXPECT_EQ(all["missed"], 0);
}

TEST(ShortNumbers, are_for_people) {
  EXPECT_EQ(monitor::shortNumber(9999), "9999");
  EXPECT_EQ(monitor::shortNumber(20480), "20.5k");
  EXPECT_EQ(monitor::shortNumber(20'480'000), "20.5M");
  EXPECT_EQ(monitor::latencyText(999'000), "999 us");
  EXPECT_EQ(monitor::latencyText(1'500'000), "1.5 ms");
  EXPECT_EQ(monitor::latencyText(2'000'000'000), "2.0 s");
}

TEST_F(Monitored, screen_shows_apps_rings_and_receivers_and_cuts_what_does_not_fit) {
  Watch watch({});
  log_->announcePlace(0);
  announceBytes(kFromHU, 1, 20, "hello");
  watch.turn();
  const auto textOf = [&](std::size_t width, std::size_t height) {
    std::string all;
    for (const monitor::Row& row : topPage({}, {"lost: 3 messages"}, "", watch, width, height)) {
      EXPECT_LE(inspect::widthOf(row.text), width);
      all += row.text + "\n";
    }
    EXPECT_LE(static_cast<std::size_t>(std::count(all.begin(), all.end(), '\n')), height);
    return all;
  };
  EXPECT_THAT(textOf(200, 50), AllOf(StartsWith("linkapp monitor  "), HasSubstr("1 (navi)"), HasSubstr("2 (music)"),
                                     HasSubstr("[..........#.........]  20"), HasSubstr("ConnectStatus"),
                                     HasSubstr("lost: 3 messages")));
  EXPECT_THAT(textOf(200, 6), HasSubstr("more rows do not fit"));
  for (std::size_t size = 0; size < 40; ++size) {
    textOf(size, 40 - size);
  }
}

}  // namespace
