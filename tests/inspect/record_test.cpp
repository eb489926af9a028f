// Recordings as files, and the recorder on objects made by hand.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

#include "record/file_layout.h"
#include "record/reader.h"
#include "record/recorder.h"
#include "record/show.h"
#include "record/writer.h"
#include "tests/inspect/inspect_fixture.h"
#include "tests/support/wait_until.h"

namespace {

using hand_made::statusOf;
using inspect::RingContent;
using record::Entry;
using record::MessageSeen;
using record::readRecording;
using record::Recording;
using record::Writer;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

MessageSeen messageOf(std::uint64_t sequence, std::size_t contentBytes = 0) {
  MessageSeen seen;
  seen.message.sequence = sequence;
  seen.message.time = 1000 * sequence;
  seen.message.number = static_cast<std::uint32_t>(sequence);
  seen.message.id = inspect::kIdFromDevice;
  seen.message.pid = 4711;
  seen.message.size = 12;
  seen.message.sizeWord = 12;
  seen.message.payload[0] = 1;
  seen.message.payload[4] = 3;
  if (contentBytes != 0) {
    seen.content.state = RingContent::State::kCertain;
    seen.content.size = static_cast<std::uint32_t>(contentBytes);
    seen.content.bytes.assign(contentBytes, static_cast<std::uint8_t>(sequence));
  }
  return seen;
}

class RecordingFile : public InspectTest {
 public:
  RecordingFile() {
    char path[] = "/tmp/recording-XXXXXX";
    close(mkstemp(path));
    path_ = path;
  }
  ~RecordingFile() override { EXPECT_EQ(unlink(path_.c_str()), 0) << path_ << " stays behind"; }

  std::string content() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  void setContent(const std::string& bytes) const {
    std::ofstream file(path_, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  void write(const std::vector<Entry>& entries) const {
    Writer writer(path_, Writer::kLeastLimit);
    for (const Entry& entry : entries) {
      writer.add(entry);
    }
    writer.flush();
  }
  void writeMessages(std::uint64_t count, std::size_t contentBytes = 0,
                     std::uint64_t limit = Writer::kLeastLimit) const {
    Writer writer(path_, limit);
    for (std::uint64_t i = 0; i < count; ++i) {
      writer.add(messageOf(i, contentBytes));
      writer.flush();
    }
  }
  static std::vector<std::uint64_t> sequencesOf(const Recording& recording) {
    std::vector<std::uint64_t> all;
    for (const Recording::Item& item : recording.items) {
      if (const auto* const seen = std::get_if<MessageSeen>(&item.entry)) {
        all.push_back(seen->message.sequence);
      }
    }
    return all;
  }
  // Reads whatever is there to its end, as every command does. Empty, or why it is refused.
  std::string look() const {
    try {
      const Recording recording = readRecording(path_);
      record::Reader reader(path_);
      const std::string info = infoText(reader, path_) + text::toJson(infoFields(reader, path_));
      record::Teller lines;
      record::Teller fields;
      for (const Recording::Item& item : recording.items) {
        EXPECT_THAT(lines.line(item.entry, item.where), testing::Not(IsEmpty()));
        EXPECT_THAT(text::toJson(fields.fields(item.entry, item.where)), HasSubstr("\"entry\":"));
      }
      EXPECT_THAT(info, HasSubstr("messages"));
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  std::string path_;
};

std::vector<Entry> oneOfEach() {
  record::ProcessSeen process{1, 4711, 99, 0, 'R', "exe", "linkapp app --name \"a b\""};
  record::AppSeen app{2, 3, 4711, true, "one", "navi", "com.example.navi"};
  record::ReceiverSeen receiver{3, 4711, false, 7, "navi", {2, 3, 4, 5}};
  record::Taken taken{4, {{4711, 100}, {4712, 99}}};
  record::Gap gap{5, record::Gap::Kind::kOverwritten, 100, 20, {{4, 11}}, "why"};
  return {record::Clock{100, 50}, process, app, receiver, taken, gap, messageOf(7, 4096), record::End{6, "over"}};
}

TEST_F(RecordingFile, gives_back_what_was_written) {
  const std::vector<Entry> entries = oneOfEach();
  write(entries);
  const Recording sut = readRecording(path_);
  EXPECT_THAT(sut.damages, IsEmpty());
  ASSERT_EQ(sut.items.size(), entries.size() + 1);  // the chunk's own clock comes first
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(record::typeOf(sut.items[i + 1].entry), record::typeOf(entries[i]));
    EXPECT_EQ(record::encode(sut.items[i + 1].entry), record::encode(entries[i]));
    EXPECT_EQ(sut.items[i + 1].where.ordinal, i + 1);
  }
  EXPECT_EQ(look(), "");
}

TEST_F(RecordingFile, gives_a_terminal_no_text_as_it_is) {
  write({record::ProcessSeen{1, 4711, 99, 0, 'R', "\x1b[1m", "linkapp app \x1b[2J"}, record::End{2, "over\n\x1b[2J"}});
  record::Reader reader(path_);
  const std::string sut = infoText(reader, "file");
  EXPECT_THAT(sut, testing::Not(HasSubstr("\x1b")));
  EXPECT_THAT(sut, AllOf(HasSubstr(R"(  end         "over\n\x1b[2J")"), HasSubstr(R"("linkapp app \x1b[2J")")));
}

TEST_F(RecordingFile, has_the_checksum_that_everybody_has) {
  const std::string text = "123456789";
  EXPECT_EQ(record::crc32(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), 0xCBF43926U);
}

TEST_F(RecordingFile, keeps_its_limit_and_drops_the_oldest) {
  constexpr std::uint64_t kLimit = 1000000;
  writeMessages(2000, 2000, kLimit);
  EXPECT_LE(content().size(), kLimit);
  EXPECT_GT(content().size(), kLimit / 2);
  const Recording sut = readRecording(path_);
  EXPECT_THAT(sut.damages, IsEmpty());
  EXPECT_GT(sut.facts.dropped, 1000U);
  const std::vector<std::uint64_t> sequences = sequencesOf(sut);
  EXPECT_EQ(sequences.back(), 1999U);
  EXPECT_GT(sequences.size(), 200U);
  for (std::size_t i = 1; i < sequences.size(); ++i) {
    ASSERT_EQ(sequences[i], sequences[i - 1] + 1);
  }
}

// What was said once, at the beginning, is known in what is left of the recording.
TEST_F(RecordingFile, begins_with_what_holds_where_its_beginning_is_gone) {
  {
    Writer writer(path_, Writer::kLeastLimit);
    for (const Entry& entry : oneOfEach()) {
      writer.add(entry);
    }
    MessageSeen link = messageOf(8);
    auto status = statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
    status.connectStatus = 1;
    link.message.id = inspect::kIdConnectStatus;
    link.message.size = sizeof status;
    std::memcpy(link.message.payload.data(), &status, sizeof status);
    writer.add(link);
    for (std::uint64_t i = 9; i < 1000; ++i) {
      writer.add(messageOf(i, 4000));
    }
    writer.flush();
  }
  const Recording sut = readRecording(path_);
  ASSERT_GT(sut.facts.dropped, 100U);
  record::Present present;
  std::size_t before = 0;
  for (const Recording::Item& item : sut.items) {
    present.add(item.entry);
    const auto* const seen = std::get_if<MessageSeen>(&item.entry);
    before += seen != nullptr && seen->isBefore ? 1U : 0U;
    EXPECT_TRUE(item.where.isRepeated || item.where.ordinal >= sut.facts.dropped);
  }
  EXPECT_EQ(before, 1U);
  EXPECT_EQ(present.apps().at(3).launchString, "com.example.navi");
  EXPECT_EQ(present.processes().at(4711).name, "exe");
  EXPECT_EQ(present.receivers().at(4711).identifiers.size(), 4U);
}

// As a writer leaves it that dies in the middle of a write.
TEST_F(RecordingFile, that_is_cut_off_anywhere_gives_what_is_whole_and_names_what_is_torn) {
  writeMessages(6, 20);
  const std::string whole = content();
  std::size_t seen = 0;
  for (std::size_t size = record::kFileHeaderBytes + record::kChunkHeaderBytes; size <= whole.size(); ++size) {
    setContent(whole.substr(0, size));
    const Recording sut = readRecording(path_);
    const std::vector<std::uint64_t> sequences = sequencesOf(sut);
    ASSERT_GE(sequences.size(), seen);
    seen = sequences.size();
    for (std::size_t i = 0; i < sequences.size(); ++i) {
      ASSERT_EQ(sequences[i], i);
    }
    ASSERT_FALSE(sut.isDamaged());
    ASSERT_EQ(sut.damages.empty(), size == whole.size()) << size;
  }
  EXPECT_EQ(seen, 6U);
}

// The new chunk lies over an old one then, whose entries must not be taken for its own.
TEST_F(RecordingFile, that_is_torn_in_the_second_round_shows_nothing_of_the_first) {
  writeMessages(200, 4000);  // more than the ring holds
  const std::string whole = content();
  const std::vector<std::uint64_t> all = sequencesOf(readRecording(path_));
  ASSERT_LT(all.size(), 200U);
  const std::string last(4000, static_cast<char>(all.back()));
  const std::size_t end = whole.find(last) + last.size();
  ASSERT_LT(end, whole.size() / 2);  // the first chunk's place, again
  // Without the end mark the entry of the first round that lies there is whole, but for what this chunk is.
  const std::size_t length = record::kEntryHeaderBytes + record::encode(messageOf(0, 4000)).size();
  std::string unmarked = whole;
  unmarked[end] = static_cast<char>(length & 0xFFU);
  unmarked[end + 1] = static_cast<char>(length >> 8U);
  setContent(unmarked);
  const Recording stale = readRecording(path_);
  EXPECT_EQ(sequencesOf(stale), all);
  ASSERT_EQ(stale.damages.size(), 1U);
  EXPECT_EQ(stale.damages[0].text, "an entry whose checksum does not fit");
  for (std::size_t torn = 1; torn < 9000; torn += 171) {
    std::string bytes = whole;
    bytes.replace(end - torn, 3, "XYZ");
    bytes.replace(end, 4, "old.");  // where the end mark would be
    setContent(bytes);
    const Recording sut = readRecording(path_);
    const std::vector<std::uint64_t> sequences = sequencesOf(sut);
    ASSERT_LT(sequences.size(), all.size());
    ASSERT_GE(sequences.size() + 4, all.size());
    for (std::size_t i = 0; i < sequences.size(); ++i) {
      ASSERT_EQ(sequences[i], all[i]);
    }
    ASSERT_EQ(sut.damages.size(), 1U);
    ASSERT_TRUE(sut.damages[0].isTornEnd);
  }
}

TEST_F(RecordingFile, that_is_none_is_refused_in_words) {
  setContent("");
  EXPECT_THAT(look(), HasSubstr("it is no recording"));
  setContent("LKRECOR");
  EXPECT_THAT(look(), HasSubstr("it is no recording"));
  setContent("LKRECORD");
  EXPECT_THAT(look(), HasSubstr("cut off within its header"));
  writeMessages(3);
  std::string bytes = content();
  bytes[8] = 2;
  setContent(bytes);
  EXPECT_THAT(look(), HasSubstr("version 2; this tool reads version 1"));
  bytes[8] = 1;
  bytes[20] = 77;
  setContent(bytes);
  EXPECT_THAT(look(), HasSubstr("whose header is damaged"));
  const std::string file = path_;  // the test removes it
  path_ = file + "-not-there";
  EXPECT_THAT(look(), HasSubstr("No such file"));
  path_ = "/tmp";
  EXPECT_THAT(look(), HasSubstr("it is no file"));
  path_ = file;
}

// LINKAPP_HOSTILE_SEEDS says how often.
TEST_F(RecordingFile, that_was_altered_anyhow_is_read_or_refused_and_breaks_nothing) {
  {
    Writer writer(path_, Writer::kLeastLimit);
    for (int round = 0; round < 60; ++round) {
      for (const Entry& entry : oneOfEach()) {
        writer.add(entry);
      }
    }
    writer.flush();
  }
  const std::string whole = content();
  const char* const wanted = std::getenv("LINKAPP_HOSTILE_SEEDS");
  const unsigned int seeds = wanted == nullptr ? 300 : static_cast<unsigned int>(std::strtoul(wanted, nullptr, 10));
  unsigned int refused = 0;
  for (unsigned int seed = 0; seed < seeds; ++seed) {
    std::mt19937 random(seed);
    std::string bytes = whole;
    const auto changes = 1 + random() % 40;
    for (unsigned int i = 0; i < changes; ++i) {
      const std::size_t near = random() % 3 == 0 ? 300 : bytes.size();
      bytes[random() % near] = static_cast<char>(random());
    }
    if (seed % 4 == 0) {
      bytes.resize(random() % bytes.size());
    }
    setContent(bytes);
    refused += look().empty() ? 0U : 1U;
  }
  EXPECT_GT(refused, 0U);
  EXPECT_LT(refused, seeds);
}

// The checksum does not help where somebody has made it anew: then the fields are looked at.
TEST_F(RecordingFile, entries_that_do_not_add_up_are_refused) {
  const std::vector<Entry> entries = oneOfEach();
  for (unsigned int seed = 0; seed < 3000; ++seed) {
    std::mt19937 random(seed);
    const Entry& entry = entries[seed % entries.size()];
    std::vector<std::uint8_t> bytes = record::encode(entry);
    bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
    bytes.resize(seed % 2 == 0 ? bytes.size() : random() % bytes.size());
    const auto type = static_cast<std::uint16_t>(seed % 5 == 0 ? random() : static_cast<std::uint64_t>(typeOf(entry)));
    Entry decoded;
    std::string mistake;
    const bool isGood = record::decode(type, bytes.data(), bytes.size(), decoded, mistake);
    EXPECT_EQ(isGood, mistake.empty());
    if (isGood) {
      record::Teller teller;
      EXPECT_THAT(text::toJson(teller.fields(decoded, {})), HasSubstr("entry"));
    }
  }
}

class RecorderByHand : public RecordingFile {
 public:
  RecorderByHand() { hand_made::makeFourSegments(); }
  Recording recorded(Writer& writer) const {
    writer.flush();
    return readRecording(path_);
  }
  // But for those that say the recorder stood still: on a busy machine it does.
  static std::vector<record::Gap> gapsOf(const Recording& recording) {
    std::vector<record::Gap> all;
    for (const Recording::Item& item : recording.items) {
      const auto* const gap = std::get_if<record::Gap>(&item.entry);
      if (gap != nullptr && gap->kind != record::Gap::Kind::kStoodStill) {
        all.push_back(*gap);
      }
    }
    return all;
  }
};

TEST_F(RecorderByHand, writes_down_messages_contents_apps_and_processes) {
  hand_made::Log log;
  hand_made::registerApp(0, "navi", "com.example.navi");
  log.announcePlace(0);
  auto connected = statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
  connected.connectStatus = 1;
  log.postStatus(connected);
  Writer writer(path_, Writer::kLeastLimit);
  record::Recorder sut(writer, {});
  hand_made::writeSlot(inspect::kFromHUSegment, 0, "hello");
  log.announce(inspect::kIdFromHU, 1, 0);
  const record::Recorder::Look look = sut.look();
  EXPECT_EQ(look.messages, 1U);
  EXPECT_EQ(look.contents, 0U);
  sut.end("over");
  const Recording recording = recorded(writer);
  record::Present present;
  std::vector<MessageSeen> messages;
  for (const Recording::Item& item : recording.items) {
    present.add(item.entry);
    if (const auto* const seen = std::get_if<MessageSeen>(&item.entry)) {
      messages.push_back(*seen);
    }
  }
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_TRUE(messages[0].isBefore);
  EXPECT_EQ(nameOf(messages[0].message), "NOTIFYID_CONNECTSTATUS");
  EXPECT_FALSE(messages[1].isBefore);
  EXPECT_EQ(messages[1].content.state, RingContent::State::kCertain);
  EXPECT_EQ(std::string(messages[1].content.bytes.begin(), messages[1].content.bytes.end()), "hello");
  EXPECT_EQ(present.apps().at(0).appName, "navi");
  EXPECT_EQ(present.apps().at(0).owner, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(present.processes().count(static_cast<std::uint32_t>(getpid())), 1U);
  record::Reader reader(path_);
  EXPECT_THAT(infoText(reader, path_), AllOf(HasSubstr("end         over"), HasSubstr("1:navi")));
}

TEST_F(RecorderByHand, tells_a_change_of_a_receiver_once_where_the_table_is_full) {
  constexpr std::uint32_t kPid = 5'000'000;  // nobody's
  hand_made::Log log;
  for (std::uint32_t i = 0; i < vqframework::kPlaceCount; ++i) {
    log.listReceiver(i, kPid + i, 0, {77});
  }
  Writer writer(path_, Writer::kLeastLimit);
  record::Recorder sut(writer, {});
  log.listReceiver(5, kPid + 5, 0, {77, 78});
  for (int i = 0; i < 10; ++i) {
    sut.look();
  }
  std::map<std::uint32_t, unsigned int> told;
  for (const Recording::Item& item : recorded(writer).items) {
    if (const auto* const receiver = std::get_if<record::ReceiverSeen>(&item.entry)) {
      ++told[receiver->pid];
    }
  }
  EXPECT_EQ(told.size(), vqframework::kPlaceCount);
  for (const auto& [pid, times] : told) {
    EXPECT_EQ(times, pid == kPid + 5 ? 2U : 1U) << pid;
  }
}

// A folder like /proc, with as many processes as a test wants.
class ManySenders : public RecorderByHand {
 public:
  ManySenders() {
    char folder[] = "/tmp/proc-XXXXXX";
    folder_ = mkdtemp(folder);
    for (std::uint32_t pid = 1; pid <= kSenders; ++pid) {
      std::filesystem::create_directory(folder_ + "/" + std::to_string(pid));
      std::ofstream(folder_ + "/" + std::to_string(pid) + "/cmdline") << std::string(1000, 'x') << '\0';
      setState(pid, 'S');
    }
  }
  ~ManySenders() override { std::filesystem::remove_all(folder_); }

  void setState(std::uint32_t pid, char state) const {
    std::ofstream(folder_ + "/" + std::to_string(pid) + "/stat")
        << pid << " (sender) " << state << " 1 1 1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 4711 0\n";
  }
  // What was told of processes, as "STATE" behind one another.
  std::map<std::uint32_t, std::string> statesIn(const Recording& recording) const {
    std::map<std::uint32_t, std::string> states;
    for (const Recording::Item& item : recording.items) {
      if (const auto* const process = std::get_if<record::ProcessSeen>(&item.entry)) {
        states[process->pid] += process->state;
      }
    }
    return states;
  }

  static constexpr std::uint32_t kSenders = 200;
  std::string folder_;
};

TEST_F(ManySenders, are_told_once_and_again_when_they_stop_or_end) {
  hand_made::Log log;
  Writer writer(path_, 64 * Writer::kLeastLimit);
  record::Recorder sut(writer, {inspect::kSharedMemory, folder_});
  for (int round = 0; round < 3; ++round) {
    for (std::uint32_t pid = 1; pid <= kSenders; ++pid) {
      log.post(77, "", 0, pid);
    }
    sut.look();
  }
  for (const auto& [pid, states] : statesIn(recorded(writer))) {
    EXPECT_EQ(states, "R") << pid;
  }
  setState(1, 'T');
  setState(2, 'Z');
  EXPECT_TRUE(test_support::waitUntil([&] {
    sut.look();
    const auto states = statesIn(recorded(writer));
    return states.size() == kSenders && states.at(1) == "RT" && states.at(2) == "RX";
  }));
}

// What a chunk repeats leaves room for what is new.
TEST_F(ManySenders, leave_room_in_every_chunk) {
  hand_made::Log log;
  Writer writer(path_, Writer::kLeastLimit);
  record::Recorder sut(writer, {inspect::kSharedMemory, folder_});
  for (int round = 0; round < 50; ++round) {
    for (std::uint32_t pid = 1; pid <= kSenders; ++pid) {
      log.post(77, "", 0, pid);
    }
    sut.look();
  }
  const Recording recording = recorded(writer);
  EXPECT_THAT(recording.damages, IsEmpty());
  EXPECT_LE(recording.facts.bytes, Writer::kLeastLimit);
  EXPECT_GT(recording.facts.dropped, 0U);
  const std::vector<std::uint64_t> sequences = sequencesOf(recording);
  ASSERT_THAT(sequences, testing::Not(IsEmpty()));
  EXPECT_EQ(sequences.back(), 50U * kSenders - 1);
  EXPECT_EQ(sequences.back() - sequences.front() + 1, sequences.size());
  EXPECT_GT(statesIn(recording).size(), 40U);
}

TEST_F(RecorderByHand, marks_what_was_overwritten_before_it_looked) {
  hand_made::Log log;
  log.post(77);
  Writer writer(path_, 64 * Writer::kLeastLimit);
  record::Recorder sut(writer, {});
  for (std::uint32_t i = 0; i < vqframework::kSlotCount + 10; ++i) {
    log.post(77);
  }
  record::Recorder::Look all;
  for (int i = 0; i < 10; ++i) {
    const record::Recorder::Look look = sut.look();
    all.messages += look.messages;
    all.missed += look.missed;
  }
  EXPECT_EQ(all.messages + all.missed, vqframework::kSlotCount + 10);
  EXPECT_GE(all.missed, 10U);
  const Recording recording = recorded(writer);
  const std::vector<record::Gap> gaps = gapsOf(recording);
  ASSERT_EQ(gaps.size(), 1U);
  EXPECT_EQ(gaps[0].kind, record::Gap::Kind::kOverwritten);
  EXPECT_EQ(gaps[0].from, 1U);
  EXPECT_EQ(gaps[0].count, all.missed);
  EXPECT_EQ(gaps[0].missed.at(77), all.missed);
}

TEST_F(RecorderByHand, marks_a_new_log_and_contents_that_were_overwritten) {
  auto log = std::make_unique<hand_made::Log>();
  log->post(77);
  Writer writer(path_, Writer::kLeastLimit);
  record::Recorder sut(writer, {});
  for (std::uint32_t i = 0; i < 41; ++i) {
    hand_made::writeSlot(inspect::kFromDeviceSegment, i % 40, std::to_string(i));
    log->announce(inspect::kIdFromDevice, 1, i % 40);
  }
  EXPECT_EQ(sut.look().contents, 2U);  // 0, and 1: its slot is the next to be written
  log.reset();
  log = std::make_unique<hand_made::Log>();
  log->post(78);
  EXPECT_EQ(sut.look().messages, 1U);
  const Recording recording = recorded(writer);
  ASSERT_EQ(gapsOf(recording).size(), 1U);
  EXPECT_EQ(gapsOf(recording)[0].kind, record::Gap::Kind::kNewLog);
  std::size_t overwritten = 0;
  for (const Recording::Item& item : recording.items) {
    const auto* const seen = std::get_if<MessageSeen>(&item.entry);
    overwritten += seen != nullptr && seen->content.state == RingContent::State::kOverwritten ? 1U : 0U;
  }
  EXPECT_EQ(overwritten, 1U);
}

}  // namespace
