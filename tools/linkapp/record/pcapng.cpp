#include "record/pcapng.h"

#include "record/bytes.h"
#include "record/present.h"

namespace record {
namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0AU;
constexpr std::uint32_t kByteOrder = 0x1A2B3C4DU;
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint16_t kUser0 = 147;  // LINKTYPE_USER0: free for whoever wants it
constexpr std::uint16_t kOptionEnd = 0;
constexpr std::uint16_t kOptionApplication = 4;
constexpr std::uint16_t kOptionInterfaceName = 2;
constexpr std::uint16_t kOptionResolution = 9;
constexpr std::uint8_t kNanoseconds = 9;  // ten to the power of minus nine

constexpr std::uint8_t kPacketVersion = 1;
constexpr std::uint8_t kMessagePacket = 1;
constexpr std::uint8_t kGapPacket = 2;
constexpr std::uint16_t kHeaderBytes = 48;
constexpr std::uint16_t kBefore = 1;
constexpr std::uint16_t kForNobody = 2;

void pad(ByteWriter& to) {
  to.bytes().resize((to.bytes().size() + 3) / 4 * 4);
}

void option(ByteWriter& to, std::uint16_t code, const std::string& value) {
  to.number(code).number(static_cast<std::uint16_t>(value.size())).raw(value.data(), value.size());
  pad(to);
}

void block(ByteWriter& file, std::uint32_t type, ByteWriter& body) {
  pad(body);
  const auto size = static_cast<std::uint32_t>(body.bytes().size() + 12);
  file.number(type).number(size).raw(body.bytes().data(), body.bytes().size()).number(size);
}

void packet(ByteWriter& file, std::uint64_t wall, const ByteWriter& data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  ByteWriter body;
  body.number(std::uint32_t{0});  // the interface
  body.number(static_cast<std::uint32_t>(wall >> 32U)).number(static_cast<std::uint32_t>(wall));
  body.number(size).number(size).raw(data.data(), data.size());
  block(file, kEnhancedPacket, body);
}

// What both kinds of packets begin with.
struct Header {
  std::uint8_t kind = kMessagePacket;
  std::uint16_t flags = 0;
  std::uint64_t sequence = 0;
  std::uint64_t time = 0;
  std::uint32_t id = 0;
  std::uint32_t pid = 0;
  std::uint32_t number = 0;
  std::uint16_t payloadBytes = 0;
  std::uint8_t contentState = 0;
  std::uint16_t contentSize = 0;
  std::uint16_t contentBytes = 0;
  std::string process;
};

ByteWriter packetOf(const Header& header) {
  ByteWriter to;
  to.number(kPacketVersion).number(header.kind).number(kHeaderBytes).number(header.flags).number(std::uint16_t{0});
  to.number(header.sequence).number(header.time).number(header.id).number(header.pid).number(header.number);
  to.number(header.payloadBytes).number(header.contentState).number(std::uint8_t{0});
  to.number(header.contentSize).number(header.contentBytes);
  to.number(static_cast<std::uint16_t>(header.process.size())).number(std::uint16_t{0});
  to.raw(header.process.data(), header.process.size());
  return to;
}

class Exporter {
 public:
  std::vector<std::uint8_t> write(const Recording& recording) {
    begin();
    for (const Recording::Item& item : recording.items) {
      present_.add(item.entry);
      if (const auto* const clock = std::get_if<Clock>(&item.entry)) {
        clock_ = *clock;
      } else if (const auto* const seen = std::get_if<MessageSeen>(&item.entry)) {
        add(*seen);
      } else if (const auto* const gap = std::get_if<Gap>(&item.entry)) {
        add(*gap);
      }
    }
    return std::move(file_.bytes());
  }

 private:
  void begin() {
    ByteWriter section;
    section.number(kByteOrder).number(std::uint16_t{1}).number(std::uint16_t{0}).number(~std::uint64_t{0});
    option(section, kOptionApplication, "linkapp record");
    option(section, kOptionEnd, "");
    block(file_, kSectionHeader, section);
    ByteWriter interface;
    interface.number(kUser0).number(std::uint16_t{0}).number(std::uint32_t{0});
    option(interface, kOptionInterfaceName, "linkapp");
    option(interface, kOptionResolution, std::string(1, static_cast<char>(kNanoseconds)));
    option(interface, kOptionEnd, "");
    block(file_, kInterface, interface);
  }

  std::uint64_t wallOf(std::uint64_t monotonic) const { return clock_.wall + (monotonic - clock_.monotonic); }

  void add(const MessageSeen& seen) {
    const inspect::Message& message = seen.message;
    const auto process = present_.processes().find(message.pid);
    Header header;
    header.flags = static_cast<std::uint16_t>((seen.isBefore ? kBefore : 0) | (message.isForNobody ? kForNobody : 0));
    header.sequence = message.sequence;
    header.time = message.time;
    header.id = message.id;
    header.pid = message.pid;
    header.number = message.number;
    header.payloadBytes = static_cast<std::uint16_t>(message.size);
    header.contentState = static_cast<std::uint8_t>(seen.content.state);
    header.contentSize = static_cast<std::uint16_t>(seen.content.size);
    header.contentBytes = static_cast<std::uint16_t>(seen.content.bytes.size());
    header.process = process == present_.processes().end() ? "" : process->second.name;
    ByteWriter data = packetOf(header);
    data.raw(message.payload.data(), message.size).raw(seen.content.bytes.data(), seen.content.bytes.size());
    packet(file_, wallOf(message.time), data);
  }

  void add(const Gap& gap) {
    Header header;
    header.kind = kGapPacket;
    header.sequence = gap.from;
    header.time = gap.time;
    ByteWriter payload;
    payload.number(static_cast<std::uint32_t>(gap.kind)).number(std::uint32_t{0}).number(gap.count);
    payload.raw(gap.reason.data(), gap.reason.size());
    header.payloadBytes = static_cast<std::uint16_t>(payload.size());
    ByteWriter data = packetOf(header);
    data.raw(payload.data(), payload.size());
    packet(file_, wallOf(gap.time), data);
  }

  ByteWriter file_;
  Present present_;
  Clock clock_;
};

}  // namespace

std::vector<std::uint8_t> toPcapng(const Recording& recording) {
  return Exporter().write(recording);
}

}  // namespace record
