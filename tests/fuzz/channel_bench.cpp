#include "tests/fuzz/channel_bench.h"

#include <algorithm>
#include <cstring>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/fake/FakeFramework.h"
#include "platform/fake/fake_state.h"
#include "tests/fuzz/require.h"

namespace fuzz {
namespace {

constexpr std::uint32_t kSlots = iOSAppCommonDataList::kSlotCount;
constexpr std::size_t kSizeWordBytes = 4;
constexpr std::size_t kZerosBehind = 512;

std::string textOf(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += text.empty() ? word : " " + word;
  }
  return text;
}

}  // namespace

void keepLogIn(Lines& observed) {
  VQDbgOutput::SetSink(
      [](const VQDbgRecord& record, void* context) {
        static_cast<Lines*>(context)->push_back(
            channel_model::logLine(record.file, record.function, record.line, record.tag, record.text));
      },
      &observed);
}

Lines takeLines(Lines& observed) {
  Lines lines;
  lines.swap(observed);
  for (const vqfake::Message& message : vqfake::posted()) {
    lines.push_back(channel_model::postLine(message.id, std::string(message.payload.begin(), message.payload.end()),
                                            textOf(message.locksHeld)));
  }
  vqfake::resetNotifier();
  return lines;
}

void beginExecution() {
  vqfake::resetNotifier();
  vqfake::resetLocks();
}

Payload::Payload(const std::string& bytes)
    : bytes_(new std::uint8_t[bytes.size() + kZerosBehind]()), size_(static_cast<unsigned int>(bytes.size())) {
  std::memcpy(bytes_.get(), bytes.data(), bytes.size());
}

RingPair::RingPair(iOSAppCommonLocalMem& endpoint, const char* segment)
    : copy_(new iOSAppCommonDataList()), endpoint_(endpoint), segment_(segment) {
  require(endpoint.mapping != MAP_FAILED, "the ring is there");
  void* const record = static_cast<char*>(endpoint.mapping) + kSizeWordBytes;
  record_ = static_cast<iOSAppCommonDataList*>(record);
}

channel_model::RingModel RingPair::model() {
  return {copy_.get(), endpoint_.deviceId, endpoint_.notifyId, segment_};
}

void RingPair::disturb(Input& input) {
  const std::uint32_t slot = input.below(kSlots);
  touched_.set(slot);
  switch (input.below(4)) {
    case 0:
      record_->writeIndex = copy_->writeIndex = input.number();
      break;
    case 1:
      record_->slot[slot].size = copy_->slot[slot].size = input.number();
      break;
    case 2: {
      const std::size_t begin = std::min<std::size_t>(input.number(), sizeof record_->slot[slot].data);
      const std::string bytes = input.text(std::min<std::size_t>(sizeof record_->slot[slot].data - begin, 255));
      std::memcpy(record_->slot[slot].data + begin, bytes.data(), bytes.size());
      std::memcpy(copy_->slot[slot].data + begin, bytes.data(), bytes.size());
      break;
    }
    default: {
      const std::uint8_t byte = input.byte();
      std::memset(&record_->slot[slot], byte, sizeof record_->slot[slot]);
      std::memset(&copy_->slot[slot], byte, sizeof copy_->slot[slot]);
      break;
    }
  }
}

void RingPair::disturbMeanwhile(Input& input, channel_model::RingModel& model) {
  model.changesMeanwhile = true;
  model.slotMeanwhile = input.below(kSlots);
  model.sizeMeanwhile = input.number();
  touched_.set(model.slotMeanwhile);
  vqfake::setAfterUnlock(
      [this, slot = model.slotMeanwhile, size = model.sizeMeanwhile, isDone = false](const std::string& name) mutable {
        if (!isDone && name == segment_) {
          isDone = true;
          record_->slot[slot].size = size;
        }
      });
}

void RingPair::endOfMeanwhile(channel_model::RingModel& model) {
  vqfake::setAfterUnlock({});
  if (record_->slot[model.slotMeanwhile].size != copy_->slot[model.slotMeanwhile].size || model.changesMeanwhile) {
    // One of the two has not read: the other must not have told anything, which the lines show.
    record_->slot[model.slotMeanwhile].size = copy_->slot[model.slotMeanwhile].size = model.sizeMeanwhile;
    model.changesMeanwhile = false;
  }
}

void RingPair::expectWrite() {
  touched_.set(copy_->writeIndex % kSlots);
  isWritten_ = true;
}

void RingPair::requireSame() const {
  if (isWritten_) {
    require(std::memcmp(record_, copy_.get(), sizeof *record_) == 0, "both have written the same into the ring");
  }
}

void RingPair::clear() {
  for (std::uint32_t slot = 0; slot < kSlots && touched_.any(); ++slot) {
    if (touched_.test(slot)) {
      touched_.reset(slot);
      std::memset(&record_->slot[slot], 0, sizeof record_->slot[slot]);
      std::memset(&copy_->slot[slot], 0, sizeof copy_->slot[slot]);
    }
  }
  record_->writeIndex = copy_->writeIndex = 0;
  isWritten_ = false;
}

std::string statusPayload(Input& input) {
  iosapp_def_::ConnectStatusNotify message = {};
  const std::uint8_t shape = input.byte();
  if (shape % 4 == 3) {
    return input.text();  // any bytes, of any length
  }
  message.notifyType = shape / 4 < 60 ? shape / 4 % 6 : input.number();
  message.deviceId = input.number();
  message.appId = input.number();
  message.connectStatus = input.number();
  message.connectType = input.number();
  message.iapType = input.number();
  message.status = input.number();
  message.sendResult = input.number();
  message.btConnected = input.number();
  message.launchMethod = input.number();
  if (shape % 4 == 2) {
    const std::string address = input.take(sizeof message.btAddress);
    std::memcpy(message.btAddress, address.data(), address.size());
    const std::string name = input.text();
    const bool isFull = input.flag();  // no NUL in it, nor behind it
    std::memset(message.playbackAppName, isFull ? 'x' : 0, sizeof message.playbackAppName + sizeof message.padding);
    std::memcpy(message.playbackAppName, name.data(), name.size());
  }
  return channel_model::bytesOf(message);
}

std::string announcementPayload(Input& input) {
  const std::uint8_t shape = input.byte();
  if (shape >= 240) {
    return input.text(16);
  }
  iOSAppCommonDataNotify announcement = {1, 1, shape % kSlots};
  if (shape >= 160) {
    announcement.deviceId = input.number();
    announcement.appId = input.number();
    announcement.slotIndex = input.number();
  }
  return channel_model::bytesOf(announcement);
}

unsigned int identifier(Input& input, unsigned int usual) {
  const std::uint8_t choice = input.byte();
  return choice < 240 ? usual : input.number();
}

}  // namespace fuzz
